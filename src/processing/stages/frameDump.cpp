// The file writer of frame dumps.

#include "processing/stages/stages.h"

void dumpFrame(FrameContext& frame) {
  auto& files = frame.acquisition.pictures;
  if (!frame.dumping) {
    files.dump.close();
    return;
  }
  FrameDump& dump = frame.data.dump;
  if (dump.writerState == FrameDump::writerStopped) return;
  const deviceInfo& device = frame.acquisition.device;
  const Radiometry& radiometry = frame.data.radiometry;
  const auto& picture = frame.data.correctedCopy;
  ++dump.tiffDumpIndex;
  copyImage(picture, files.dump.page(picture.width, picture.height));
  dump.writerState = FrameDump::writerWriting;
  files.dump.start(files.pool(), imageFiles::dumpName(frame.acquisition.name(), device.serialNumber),
                   {imageFiles::Content::thermal, frame.number, dump.tiffDumpIndex, device.sensorTemperatureK,
                    radiometry.rangeMinK, radiometry.rangeSpanK});
}

void finishDump(FrameContext& frame) {
  FrameDump& dump = frame.data.dump;
  if (dump.writerState != FrameDump::writerWriting) return;
  auto& files = frame.acquisition.pictures;
  if (files.dump.finish(files.pool())) {
    dump.writerState = FrameDump::writerIdle;
    return;
  }
  // The camera leaves its dump, so that colour frames come again.
  dump.writerState = FrameDump::writerStopped;
  frame.acquisition.dumpFrames = false;
}
