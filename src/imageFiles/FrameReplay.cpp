#include "imageFiles/FrameReplay.h"

#include "common/format.h"
#include "core/logger.h"

namespace imageFiles {
namespace {

constexpr double kUsualRate = 30.0;  // of a model whose rate is not known

FrameReplay::Clock::duration periodOf(float framesPerSecond) {
  const double rate = framesPerSecond >= 1.0f ? static_cast<double>(framesPerSecond) : kUsualRate;
  return std::chrono::duration_cast<FrameReplay::Clock::duration>(std::chrono::duration<double>(1.0 / rate));
}

}  // namespace

FrameReplay::FrameReplay(std::unique_ptr<TiffPageReader> reader, float framesPerSecond)
    : pages(std::move(reader)), period(periodOf(framesPerSecond)) {}

std::chrono::microseconds FrameReplay::untilNext(Clock::time_point now) const {
  if (over) return std::chrono::microseconds::max();
  if (now >= due) return std::chrono::microseconds(0);
  return std::chrono::ceil<std::chrono::microseconds>(due - now);
}

bool FrameReplay::next(Clock::time_point now, image<unsigned short>& out, PictureInfo& info) {
  if (over) return false;
  // Kept as a schedule, so that pauses do not add up; one that was missed altogether begins anew.
  due = due + period < now ? now + period : due + period;
  over = !read(page, out, info);
  page = (page + 1) % pages->pageCount();
  return !over;
}

bool FrameReplay::peek(image<unsigned short>& scratch, PictureInfo& info) { return read(0, scratch, info); }

bool FrameReplay::read(std::size_t wanted, image<unsigned short>& out, PictureInfo& info) {
  std::string problem;
  if (pages->readPage(wanted, out, info, problem)) return true;
  logger::error(format("Replay ends at page {:d}: {:s}", wanted + 1, problem), LOG_HERE);
  return false;
}

}  // namespace imageFiles
