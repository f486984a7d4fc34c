// Each kernel, through the stage that picks its buffers and, where it does that, splits it.

#include <algorithm>
#include <optional>
#include <string>

#include "bench/CameraRig.h"
#include "bench/Timings.h"
#include "presentation/colorize.h"
#include "processing/FrameContext.h"
#include "processing/stages/stages.h"

namespace bench {

namespace {

void nothing(CameraRig&) {}

struct Kernel {
  const char* name;
  bool split;  ///< into tasks
  void (*setUp)(CameraRig& rig);
  void (*run)(CameraRig& rig, FrameContext& frame);
};

/// Two tables per slot, all four like the one that is there.
void useTables(CameraRig& rig, int mode) {
  auto& data = rig.data();
  FlatFieldTables& tables = data.flatField.ffcTables;
  for (auto* table : {&tables.slot0High, &tables.slot1Low, &tables.slot1High}) {
    table->allocate(data.rawImage.width, data.rawImage.height);
    for (std::size_t i = 0; i < rig.pixelCount(); ++i) {
      const unsigned warmer = table == &tables.slot0High ? 0u : 400u * SyntheticCamera::kTableFrames;
      table->data[i] = data.ffcAccumulator.data[i] + warmer;
    }
  }
  data.flatField.twoTableFFC = true;
  data.flatField.ffcMode = mode;
  data.flatField.ffcWeight = 0.5f;
}

void usePolynomials(CameraRig& rig) {
  auto& data = rig.data();
  FlatFieldTables& tables = data.flatField.ffcTables;
  for (auto* map : {&tables.polynomialGain, &tables.polynomialOffset}) {
    map->allocate(data.rawImage.width, data.rawImage.height);
    std::fill_n(map->data, rig.pixelCount(), map == &tables.polynomialGain ? 0.02f : 150.0f);
  }
  data.flatField.twoTableFFC = true;
  data.flatField.ffcMode = 2;
}

void useThermographicTable(CameraRig& rig) {
  auto& radiometry = rig.data().radiometry;
  radiometry.radiometricCorrection = true;
  radiometry.thermographicTable.resize(kLevels);
  for (std::size_t i = 0; i < kLevels; ++i)
    radiometry.thermographicTable[i] = static_cast<std::uint16_t>(i - i / 64);
}

void zoomBy(CameraRig& rig, float zoom, int method) {
  rig.data().output.secondZoomFactor = zoom;
  rig.data().output.secondInterpolation = static_cast<std::uint8_t>(method);
}

const Kernel kKernels[] = {
    {"copy", false, nothing,
     [](CameraRig& rig, FrameContext&) { copyImage(rig.data().rawImage, rig.data().correctedCopy); }},
    {"unpack", false, nothing, [](CameraRig& rig, FrameContext&) { rig.unpackSample(); }},
    {"defects", false, nothing, [](CameraRig&, FrameContext& frame) { repairDefects(frame); }},
    {"flatField", false, nothing, [](CameraRig&, FrameContext& frame) { applyFlatField(frame); }},
    {"flatFieldPair", false, [](CameraRig& rig) { useTables(rig, 0); },
     [](CameraRig&, FrameContext& frame) { applyFlatField(frame); }},
    {"flatFieldReferences", false, [](CameraRig& rig) { useTables(rig, 1); },
     [](CameraRig&, FrameContext& frame) { applyFlatField(frame); }},
    {"flatFieldPolynomials", true, usePolynomials,
     [](CameraRig&, FrameContext& frame) { applyFlatField(frame); }},
    {"columnStripes", true, [](CameraRig& rig) { rig.data().destriping.columnDestripingPasses = 4; },
     [](CameraRig&, FrameContext& frame) { removeColumnStripes(frame); }},
    {"rowStripes", true, [](CameraRig& rig) { rig.data().destriping.rowDestripingPasses = 2; },
     [](CameraRig&, FrameContext& frame) { removeRowStripes(frame); }},
    {"thermographicTable", true, useThermographicTable,
     [](CameraRig&, FrameContext& frame) { correctTemperatures(frame); }},
    {"rotation", true, [](CameraRig& rig) { rig.data().output.rotationDegrees = 3.0f; },
     [](CameraRig&, FrameContext& frame) { rotateFrame(frame); }},
    {"statistics", false, nothing, [](CameraRig&, FrameContext& frame) { measureStatistics(frame); }},
    {"gainLinear", false, nothing, [](CameraRig&, FrameContext& frame) { mapLevels(frame); }},
    {"gainEqualized", false, [](CameraRig& rig) { rig.data().mapping.mappingMode = 3; },
     [](CameraRig&, FrameContext& frame) { mapLevels(frame); }},
    {"targetMeasurement", false, nothing, [](CameraRig&, FrameContext& frame) { measureTarget(frame); }},
    {"temporalFilter", true, nothing, [](CameraRig&, FrameContext& frame) { filterTemporally(frame); }},
    {"interpolationLinear", true, [](CameraRig& rig) { zoomBy(rig, 1.25f, 1); },
     [](CameraRig&, FrameContext& frame) { resampleFrame(frame); }},
    {"interpolationLanczos", true, [](CameraRig& rig) { rig.data().output.zoomFactor = 1.25f; },
     [](CameraRig&, FrameContext& frame) { resampleFrame(frame); }},
    {"spatialFilter", true, [](CameraRig& rig) { rig.data().output.spatialFiltering = true; },
     [](CameraRig& rig, FrameContext& frame) {
       rig.data().resampling.filterInput = &rig.data().rawImage;
       filterSpatially(frame);
     }},
    {"colourise", true, nothing,
     [](CameraRig& rig, FrameContext&) {
       const image<unsigned short>& output = rig.data().outputImage;
       FairLock lock(frameMutex);
       colorize(&rig.acquisition, output.width, output.height);
     }},
};

void runKernel(benchmark::State& state, const Kernel& kernel, const FrameSize& size, int units) {
  const ProcessingUnits processingUnits(units);
  CameraRig rig(static_cast<std::uint16_t>(size.width), static_cast<std::uint16_t>(size.height));
  kernel.setUp(rig);
  std::optional<FrameContext> frame;
  measure(
      state, rig.pixelCount(), units,
      [&] {
        rig.fetchCorrected();
        frame.emplace(rig.acquisition);
      },
      [&] { kernel.run(rig, *frame); });
}

}  // namespace

void registerKernels() {
  for (const Kernel& kernel : kKernels) {
    for (const FrameSize& size : kFrameSizes) {
      for (int units = 1; units <= (kernel.split ? 2 : 1); ++units) {
        const std::string name = std::string("kernel/") + kernel.name + "/" + size.name;
        add(name + "/units:" + std::to_string(units), size,
            [&kernel, &size, units](benchmark::State& state) { runKernel(state, kernel, size, units); });
      }
    }
  }
}

}  // namespace bench
