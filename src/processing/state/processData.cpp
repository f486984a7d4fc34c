#include "processing/state/processData.h"

#include "core/logger.h"

processData<unsigned short>::processData() { restart(); }

void processData<unsigned short>::allocate(std::uint16_t width, std::uint16_t height) {
  // The other images belong to rarely used switches; their stages allocate them at first use.
  release();
  for (auto* picture : {&rawImage, &correctedCopy, &temporalState, &outputImage}) {
    picture->allocate(width, height);
  }
  for (auto* table : {&ffcAccumulator, &kept.slot0Low, &manual.sums}) table->allocate(width, height);
  colorImage.allocate(width, height);
  destriping.columns.allocate(width, height);
  destriping.rows.allocate(width, height);
  restart();
}

void processData<unsigned short>::release() {
  for (auto* picture :
       {&rawImage, &rotatedImage, &correctedCopy, &temporalState, &zoomImage, &outputImage, &splitImage}) {
    picture->release();
  }
  for (auto* table : {&ffcAccumulator, &kept.slot0Low, &manual.sums}) table->release();
  flatField.ffcTables = {};
  polynomials = {};
  resampling = {};
  colorImage.release();
}

bool processData<unsigned short>::selectColorPreset(const int& index) {
  return palette.select(index, LOG_HERE);
}

void processData<unsigned short>::borrowAccumulator() {
  if (!kept.borrowed) {
    ffcAccumulator.swap(kept.slot0Low);
    kept.frames = calibration.ffcFramesToTake;
    kept.borrowed = true;
  }
  ffcAccumulator.clear();
}

void processData<unsigned short>::returnAccumulator() {
  if (!kept.borrowed) return;
  ffcAccumulator.swap(kept.slot0Low);
  calibration.ffcFramesToTake = kept.frames;
  kept.borrowed = false;
}

void processData<unsigned short>::restart() {
  lastProcessedFrame = kNoFrame;
  kept.borrowed = false;
  manual.frames = 0;
  tableStage = {};
  defects.defectNeighbourTable = {};
  output.temporalStateValid = false;
  dump.lastFrameDumped = false;
  statistics.statsMinF = statistics.statsMaxF = statistics.statsMeanF = kNotInitialised;
  resampling.noiseSigma = kNotInitialised;
  target.temperatureHistory.fill(radiometry.rangeMinK);
  target.noiseHistory.fill(kNotInitialised);
}
