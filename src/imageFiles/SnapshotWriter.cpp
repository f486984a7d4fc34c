#include "imageFiles/SnapshotWriter.h"

#include <cstring>
#include <exception>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "common/format.h"
#include "core/logger.h"
#include "imageFiles/writePicture.h"

namespace imageFiles {
namespace {

using namespace std::chrono_literals;

constexpr const char* kFolder = "data/pictures";

/// "20240131T142501.123Z": sorts by time, and no two frames of a camera share it.
std::string timeStamp() {
  const auto now = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
  const auto day = std::chrono::floor<std::chrono::days>(now);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss time(now - day);
  return format("{:04d}{:02d}{:02d}T{:02d}{:02d}{:02d}.{:03d}Z", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), time.hours().count(),
                time.minutes().count(), time.seconds().count(), time.subseconds().count());
}

template <typename T>
void copyPixels(const image<T>& from, Picture& to) {
  to.width = from.width;
  to.height = from.height;
  to.pixels.resize(from.sizeBytes);  // allocates for the first picture of a size
  std::memcpy(to.pixels.data(), from.data, from.sizeBytes);
}

const image<unsigned short>& levelsOf(const processData<unsigned short>& data, Content content) {
  return content == Content::cooked ? data.outputImage : data.correctedCopy;
}

bool available(const SnapshotSource& source, Content content) {
  if (content == Content::color) return source.colored && !source.data.colorImage.empty();
  return !levelsOf(source.data, content).empty();
}

}  // namespace

const std::array<SnapshotWriter::Word, 4> SnapshotWriter::kWords = {{
    {&settings::cookedSnapshotCount, Content::cooked, "png"},
    {&settings::colorSnapshotCount, Content::color, "png"},
    {&settings::cookedTiffSnapshotCount, Content::cooked, "tiff"},
    {&settings::thermalTiffSnapshotCount, Content::thermal, "tiff"},
}};

void SnapshotWriter::offer(const SnapshotSource& source, const std::function<WorkerPool*()>& pool) {
  try {
    if (asked) offerRequest(source, pool);
    offerWords(source, pool);
  } catch (const std::exception& failure) {  // no memory; the frame itself is good
    logger::error(format("Snapshot not written: {:s}", failure.what()), LOG_HERE);
  }
}

bool SnapshotWriter::pending(std::size_t word) {
  const std::uint32_t parsed = settings::current().*kWords[word].parsed;
  // Of what was asked for before this camera came, one picture is enough. The count also begins anew with
  // another settings record.
  if (parsed < taken[word]) taken[word] = parsed;
  if (!begun && parsed > 0) taken[word] = parsed - 1;
  return parsed != taken[word];
}

void SnapshotWriter::offerWords(const SnapshotSource& source, const std::function<WorkerPool*()>& pool) {
  std::string stamp;
  for (std::size_t word = 0; word < kWords.size(); ++word) {
    const auto& [count, content, ending] = kWords[word];
    Slot& slot = wordSlots[word];
    if (!pending(word) || slot.busy || !available(source, content)) continue;
    ++taken[word];
    if (stamp.empty()) stamp = timeStamp();
    fill(slot, source, content);
    slot.path = format("{:s}/{:s}_{:d}_{:s}_{:s}_{:d}.{:s}", kFolder, source.cameraName, source.serialNumber,
                       nameOf(content), stamp, source.frame, ending);
    start(slot, pool());
  }
  begun = true;
}

void SnapshotWriter::offerRequest(const SnapshotSource& source, const std::function<WorkerPool*()>& pool) {
  Content content{};
  {
    MutexLock lock(requestMutex);
    content = request.content;
    if (request.state != RequestState::asked || requestSlot.busy || !available(source, content)) return;
    requestSlot.path = request.path;
    request.state = RequestState::writing;
    asked = false;
  }
  try {
    requestSlot.requested = true;
    fill(requestSlot, source, content);
    start(requestSlot, pool());
  } catch (...) {
    finishRequest(false);
    throw;
  }
}

void SnapshotWriter::fill(Slot& slot, const SnapshotSource& source, Content content) {
  slot.picture.info = {content,
                       source.frame,
                       ++pictures,
                       source.sensorTemperatureK,
                       source.data.radiometry.rangeMinK,
                       source.data.radiometry.rangeSpanK};
  if (content == Content::color) {
    copyPixels(source.data.colorImage, slot.picture);
  } else {
    copyPixels(levelsOf(source.data, content), slot.picture);
  }
}

void SnapshotWriter::start(Slot& slot, WorkerPool* pool) {
  slot.busy = true;
  try {
    multithreading::startWorkerThread(
        pool,
        [this, &slot] {
          write(slot);
          return multithreading::kTaskDone;
        },
        "writeSnapshot");
  } catch (...) {
    slot.busy = false;
    throw;
  }
}

void SnapshotWriter::write(Slot& slot) {
  std::string problem;
  bool written = false;
  try {
    std::error_code ignored;  // what cannot be made cannot be written to either
    if (!slot.requested) std::filesystem::create_directories(kFolder, ignored);
    written = writePicture(slot.path, slot.picture, problem);
  } catch (const std::exception& failure) {  // no memory for the file; the slot must come free all the same
    problem = failure.what();
  }
  if (written) {
    logger::info(format("Snapshot written: '{:s}'", slot.path), LOG_HERE);
  } else {
    logger::error(format("Snapshot '{:s}' not written: {:s}", slot.path, problem), LOG_HERE);
  }
  const bool requested = slot.requested;
  slot.busy = false;
  if (requested) finishRequest(written);
}

void SnapshotWriter::finishRequest(bool written) {
  MutexLock lock(requestMutex);
  request.state = request.abandoned ? RequestState::none
                  : written         ? RequestState::written
                                    : RequestState::failed;
  request.abandoned = false;
  requestChanged.notify_all();
}

bool SnapshotWriter::take(const std::string& path, Content content, std::chrono::milliseconds patience,
                          const std::function<bool()>& leaving) {
  if (!isPicturePath(path)) {
    logger::error(format("Snapshot '{:s}' not written: its ending is none of .tiff, .tif and .png", path),
                  LOG_HERE);
    return false;
  }
  const auto deadline = std::chrono::steady_clock::now() + patience;
  const auto givenUp = [&] { return leaving() || std::chrono::steady_clock::now() >= deadline; };
  MutexLock lock(requestMutex);
  // In slices, because what ends the wait is set without the mutex.
  while (request.state != RequestState::none && !givenUp()) requestChanged.wait_for(lock.native(), 50ms);
  bool mine = false;
  if (request.state == RequestState::none) {
    mine = true;
    request = {RequestState::asked, path, content, false};
    asked = true;
    while ((request.state == RequestState::asked || request.state == RequestState::writing) && !givenUp()) {
      requestChanged.wait_for(lock.native(), 50ms);
    }
  }
  const RequestState outcome = mine ? request.state : RequestState::asked;
  if (mine) {
    request.abandoned = outcome == RequestState::writing;
    if (outcome != RequestState::writing) request.state = RequestState::none;
    if (outcome == RequestState::asked) asked = false;
    requestChanged.notify_all();
  }
  lock.unlock();
  if (outcome == RequestState::asked || outcome == RequestState::writing) {
    const char* const reason =
        outcome == RequestState::asked ? "no frame came for it" : "writing takes too long";
    logger::error(format("Snapshot '{:s}' not written: {:s}", path, reason), LOG_HERE);
  }
  return outcome == RequestState::written;
}

}  // namespace imageFiles
