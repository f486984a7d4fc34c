// A camera's dump, replay and snapshots.

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <string_view>

#include "acquisition/imageAcquisition.h"
#include "common/filePath.h"
#include "common/format.h"
#include "core/logger.h"
#include "core/settings.h"

namespace {

using namespace std::chrono_literals;

/// How long `takeSnapshot` waits for its frame and file.
constexpr auto kSnapshotPatience = 5s;

/// The pages were corrected before they were dumped.
void switchCorrectionsOff(processData<unsigned short>& data) REQUIRES(frameMutex) {
  data.defects.defectivePixelsCorrection = false;
  data.flatField.flatFieldCorrection = false;
  data.flatField.shutterlessCorrection = false;
  data.radiometry.radiometricCorrection = false;
  data.calibration.autoFFC = false;
  data.destriping.columnDestripingPasses = 0;
  data.destriping.rowDestripingPasses = 0;
}

bool usableRange(const imageFiles::PictureInfo& info) {
  return std::isfinite(info.rangeMinK) && std::isfinite(info.rangeSpanK) && info.rangeSpanK > 0.0f;
}

}  // namespace

void imageAcquisition::prepareReplay() {
  if (!settings::current().tiffFrameReplay) return;
  const auto path = imageFiles::dumpName(name(), device.serialNumber);
  const std::string_view shown(path.data());
  std::error_code failure;
  if (!std::filesystem::exists(filePath(path.data()), failure)) return;
  std::string problem;
  auto pages = imageFiles::TiffPageReader::openFile(path.data(), device.width, device.height, problem);
  if (!pages) {
    logger::error(format("'{:s}' cannot be replayed: {:s}", shown, problem), LOG_HERE);
    return;
  }
  if (!pages->damage().empty()) {
    logger::warning(
        format("Of '{:s}' only {:d} pages are replayed: {:s}", shown, pages->pageCount(), pages->damage()),
        LOG_HERE);
  }
  logger::info(format("Replaying {:d} pages of '{:s}'", pages->pageCount(), shown), LOG_HERE);
  auto opened = std::make_unique<imageFiles::FrameReplay>(std::move(pages), device.frameRate);
  FairLock lock(frameMutex);
  imageFiles::PictureInfo first;
  if (!opened->peek(processing.rawImage, first)) return;
  switchCorrectionsOff(processing);
  if (usableRange(first)) {
    processing.radiometry.rangeMinK = first.rangeMinK;
    processing.radiometry.rangeSpanK = first.rangeSpanK;
    processing.target.temperatureHistory.fill(first.rangeMinK);  // the earlier one would pass for measured
  }
  replay = std::move(opened);
  replaying = true;
}

std::chrono::microseconds imageAcquisition::untilNextPage() const {
  return replay ? replay->untilNext(imageFiles::FrameReplay::Clock::now()) : std::chrono::microseconds::max();
}

bool imageAcquisition::replayImage(image<unsigned short>& out) {
  const auto now = imageFiles::FrameReplay::Clock::now();
  imageFiles::PictureInfo info;
  if (replay->untilNext(now) > 0us || !replay->next(now, out, info)) return false;
  const auto nowUs = std::chrono::duration_cast<std::chrono::microseconds>(now.time_since_epoch()).count();
  delivered.intervalUs = nowUs - delivered.timeUs;
  delivered.timeUs = nowUs;
  lastFrameUs = nowUs;
  // Counted anew: the numbers in the file repeat, and a number that was processed already is no new frame.
  ++delivered.number;
  delivered.fromFilledSlot = true;
  if (std::isfinite(info.sensorTemperatureK)) {
    device.sensorTemperatureK = info.sensorTemperatureK;
    device.temperatureMeasured = true;
  }
  return true;
}

void imageAcquisition::followDumpSetting() {
  const std::uint32_t parsed = settings::current().tiffFrameDumpCount;
  if (parsed == dumpWordsSeen) return;
  dumpWordsSeen = parsed;
  if (parsed == 0 || replaying) return;
  processing.dump.writerState = FrameDump::writerIdle;
  dumpFrames = true;
}

bool imageAcquisition::switchFrameDump(bool on) {
  if (on && replaying) {
    logger::error(format("{:s} replays a dump and cannot be dumped", name()), LOG_HERE);
    return false;
  }
  FairLock lock(frameMutex);
  dumpWordsSeen = settings::current().tiffFrameDumpCount;  // what was parsed before is overruled
  if (on) processing.dump.writerState = FrameDump::writerIdle;
  dumpFrames = on;
  return true;
}

void imageAcquisition::offerSnapshots(bool colored) {
  if (!delivered.fromFilledSlot) return;  // the zeros that a stream begins with are no picture
  pictures.snapshots.offer(
      {processing, colored, delivered.number, device.sensorTemperatureK, name(), device.serialNumber},
      [this] { return pictures.pool(); });
}

bool imageAcquisition::takeSnapshot(const std::string& path, imageFiles::Content content) {
  return pictures.snapshots.take(path, content, kSnapshotPatience,
                                 [this] { return !ready || leaving() || isLost(); });
}
