#include "processing/process.h"

#include "core/logger.h"
#include "processing/FrameContext.h"
#include "processing/StageClock.h"
#include "processing/stages/stages.h"

namespace {

void correctFrame(FrameContext& frame, StageClock& clock) {
  StageTimes& times = frame.data.stageTimes;
  float rawPassMs = 0.0f;

  clock.restart();
  repairDefects(frame);
  clock.lap(rawPassMs);
  reportRawRange(frame);

  clock.restart();
  triggerCalibration(frame);
  accumulateCalibration(frame);
  refreshFlatField(frame);
  applyFlatField(frame);
  clock.lap(times.flatFieldMs);
  removeColumnStripes(frame);
  clock.lap(times.columnDestripingMs);
  removeRowStripes(frame);
  applyManualFlatField(frame);
  clock.lap(times.rowDestripingMs);
  correctTemperatures(frame);
  clock.lap(times.thermographicMs);
  repairDefects(frame);
  clock.lap(times.defectivePixelsMs);
  times.defectivePixelsMs += rawPassMs;
}

void mapFrame(FrameContext& frame, StageClock& clock) {
  StageTimes& times = frame.data.stageTimes;

  clock.restart();
  rotateFrame(frame);
  measureStatistics(frame);
  clock.lap(times.statisticsMs);
  compensateLevel(frame);
  clock.lap(times.levelCompensationMs);
  mapLevels(frame);
  leaveCorrectedCopy(frame);
  clock.lap(times.gainControlMs);
}

void prepareOutput(FrameContext& frame, StageClock& clock) {
  StageTimes& times = frame.data.stageTimes;

  clock.restart();
  filterTemporally(frame);
  clock.lap(times.temporalFilterMs);
  resampleFrame(frame);
  clock.lap(times.resamplingMs);
  filterSpatially(frame);
  clock.lap(times.filteringMs);
  showDemonstrations(frame);
}

}  // namespace

bool process(imageAcquisition* acquisition) {
  const auto start = StageClock::Clock::now();
  if (acquisition == nullptr || acquisition->processing.rawImage.empty()) {
    logger::error("process: acquisition image is NULL", LOG_HERE);
    return false;
  }
  FrameContext frame(*acquisition);
  if (frame.number == frame.data.lastProcessedFrame) return false;
  StageClock clock(frame.options.profiling);

  noteFrameNumber(frame);
  correctFrame(frame, clock);
  keepCorrectedCopy(frame);
  dumpFrame(frame);
  mapFrame(frame, clock);
  measureTarget(frame);
  prepareOutput(frame, clock);

  frame.data.stageTimes.processingMs = StageClock::elapsedMs(start, StageClock::Clock::now());
  finishDump(frame);
  return true;
}
