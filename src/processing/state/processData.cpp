#include "processing/state/processData.h"

#include "core/logger.h"

processData<unsigned short>::processData() { restart(); }

void processData<unsigned short>::allocate(std::uint16_t width, std::uint16_t height) {
  // rotatedImage and splitImage belong to rarely used switches; their stages allocate them at first use.
  release();
  for (auto* picture : {&rawImage, &correctedCopy, &temporalState, &zoomImage, &outputImage}) {
    picture->allocate(width, height);
  }
  resampling.filteredImage.allocate(width, height);
  ffcAccumulator.allocate(width, height);
  colorImage.allocate(width, height);
  restart();
}

void processData<unsigned short>::release() {
  for (auto* picture :
       {&rawImage, &rotatedImage, &correctedCopy, &temporalState, &zoomImage, &outputImage, &splitImage}) {
    picture->release();
  }
  resampling = {};
  ffcAccumulator.release();
  colorImage.release();
}

bool processData<unsigned short>::selectColorPreset(const int& index) {
  return palette.select(index, LOG_HERE);
}

void processData<unsigned short>::restart() {
  lastProcessedFrame = kNoFrame;
  dump.lastFrameDumped = false;
  statistics.statsMinF = statistics.statsMaxF = statistics.statsMeanF = kNotInitialised;
  resampling.noiseSigma = kNotInitialised;
  target.temperatureHistory.fill(radiometry.rangeMinK);
  target.noiseHistory.fill(kNotInitialised);
}
