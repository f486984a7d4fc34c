// Application of flat-field tables and polynomials, and of the table behind them.

#include <algorithm>
#include <initializer_list>

#include "calibration/ffcFile.h"
#include "core/logger.h"
#include "processing/kernels/flatFieldTables.h"
#include "processing/runBands.h"
#include "processing/splitCorrections.h"
#include "processing/stages/stages.h"

namespace {

using Table = image<unsigned int>;

enum FlatFieldMode : std::int32_t { modeOffset = 0, modeReferences = 1, modePolynomials = 2 };

template <typename T>
bool fits(const image<T>& table, const FrameContext& frame) {
  return !table.empty() && table.width == frame.working->width && table.height == frame.working->height;
}

/// True when all tables are there and N is one to divide by.
bool usable(std::initializer_list<const Table*> tables, FrameContext& frame) {
  const auto isThere = [&frame](const Table* table) { return fits(*table, frame); };
  return frame.data.tableFrames() != 0 && std::all_of(tables.begin(), tables.end(), isThere);
}

const Table& lowTable(FrameContext& frame) {
  return frame.data.flatField.ffcSlot == 0 ? frame.data.slot0Low() : frame.data.flatField.ffcTables.slot1Low;
}
const Table& highTable(FrameContext& frame) {
  const FlatFieldTables& tables = frame.data.flatField.ffcTables;
  return frame.data.flatField.ffcSlot == 0 ? tables.slot0High : tables.slot1High;
}

/// 0 to 1; NaN gives the low tables.
float tableWeight(const FrameContext& frame) {
  const float weight = frame.data.flatField.ffcWeight;
  return weight > 0.0f ? std::min(weight, 1.0f) : 0.0f;
}

void correctWithTable(FrameContext& frame) {
  const Table& table = lowTable(frame);
  KeptShifts& kept = frame.data.tableStage.shifts;
  if (!usable({&table}, frame)) return kept.forget();
  const KeptShifts::Origin origin{table.data, frame.data.tableFrames(), frame.data.flatField.ffcMean};
  if (kept.origin != origin) {
    kept.levels.resize(table.pixelCount());
    kept.usable = kernels::tabulateShifts(table.view(), origin.target, origin.frames, kept.levels);
    kept.origin = origin;
  }
  if (kept.usable) return kernels::shiftPixels(frame.working->view().pixels(), kept.levels);
  kernels::correctOffset(frame.working->view(), table.view(), origin.target, origin.frames);
}

std::uint32_t pairLevel(const Table& low, const Table& high, std::uint16_t frames, PairTarget& kept) {
  if (kept.low == low.data && kept.high == high.data && kept.frames == frames) return kept.level;
  const std::uint64_t both = std::uint64_t{getFFCMean(low, frames)} + getFFCMean(high, frames);
  kept = {low.data, high.data, frames, static_cast<std::uint32_t>(both >> 1)};
  return kept.level;
}

void correctWithPair(FrameContext& frame) {
  const Table& low = lowTable(frame);
  const Table& high = highTable(frame);
  if (!usable({&low, &high}, frame)) return;
  const std::uint16_t frames = frame.data.tableFrames();
  const std::uint32_t target = pairLevel(low, high, frames, frame.data.tableStage.pairTarget);
  kernels::correctOffset(frame.working->view(), low.view(), high.view(), target, frames, tableWeight(frame));
}

void correctRadiometrically(FrameContext& frame) {
  const Table& low25 = frame.data.slot0Low();
  const FlatFieldTables& others = frame.data.flatField.ffcTables;
  KeptReferences& kept = frame.data.tableStage.references;
  if (!usable({&low25, &others.slot0High, &others.slot1Low, &others.slot1High}, frame)) return kept.forget();
  const Radiometry& range = frame.data.radiometry;
  const KeptReferences::Origin origin{
      {low25.data, others.slot0High.data, others.slot1Low.data, others.slot1High.data},
      frame.data.tableFrames(),
      tableWeight(frame),
      range.rangeMinK};
  kept.levelAtMin.resize(frame.working->pixelCount());
  kept.kelvinPerCount.resize(frame.working->pixelCount());
  const kernels::PixelReferences references{kept.levelAtMin, kept.kelvinPerCount};
  if (kept.origin == origin)
    return kernels::correctWithReferences(frame.working->view(), references, range.rangeSpanK);
  const kernels::ReferenceTables tables{low25.view(), others.slot0High.view(), others.slot1Low.view(),
                                        others.slot1High.view()};
  kernels::correctWithReferences(frame.working->view(), tables, origin.frames, origin.weight, range.rangeMinK,
                                 range.rangeSpanK, references);
  kept.origin = origin;
}

void correctWithPolynomials(FrameContext& frame) {
  const FlatFieldTables& tables = frame.data.flatField.ffcTables;
  if (!fits(tables.polynomialGain, frame) || !fits(tables.polynomialOffset, frame)) return;
  applyFFC(*frame.working, tables.polynomialGain, tables.polynomialOffset, frame.data.radiometry.rangeMinK,
           frame.data.radiometry.rangeSpanK, bandTaskCountOf(frame.working->pixelCount()));
}

void showTable(FrameContext& frame) {
  const Table& table = lowTable(frame);
  if (!usable({&table}, frame)) return;
  kernels::showTable(table.view(), frame.data.tableFrames(), frame.working->view());
}

/// Slot 0 shows the gains, slot 1 the offsets.
void showPolynomials(FrameContext& frame) {
  const FlatFieldTables& tables = frame.data.flatField.ffcTables;
  const bool gains = frame.data.flatField.ffcSlot == 0;
  const image<float>& map = gains ? tables.polynomialGain : tables.polynomialOffset;
  if (!fits(map, frame)) return;
  kernels::ValueRange range = gains ? frame.data.tableStage.gainRange : frame.data.tableStage.offsetRange;
  if (!range.known()) range.add(map.view().pixels());
  kernels::showValues(map.view(), range.low, range.high, frame.working->view());
}

using Application = void (*)(FrameContext&);

/// What the switches ask for; null for nothing. Offset correction has no display of its own and goes on.
Application chosenApplication(const FrameContext& frame) {
  const FlatFieldState& flatField = frame.data.flatField;
  if (!flatField.twoTableFFC) return flatField.ffcMode == modeOffset ? correctWithTable : nullptr;
  const bool show = frame.options.displayFFCData;
  switch (flatField.ffcMode) {
    case modeOffset:
      return correctWithPair;
    case modeReferences:
      return show ? showTable : correctRadiometrically;
    case modePolynomials:
      return show ? showPolynomials : correctWithPolynomials;
    default:
      return nullptr;
  }
}

}  // namespace

void applyFlatField(FrameContext& frame) {
  const FlatFieldState& flatField = frame.data.flatField;
  const bool on = flatField.shutterlessCorrection && !frame.calibrating();
  const Application apply = on ? chosenApplication(frame) : nullptr;
  // Tables may be made anew in place while nothing is corrected with them.
  if (apply != correctWithTable) frame.data.tableStage.shifts.forget();
  if (apply != correctWithPair) frame.data.tableStage.pairTarget = {};
  if (apply != correctRadiometrically) frame.data.tableStage.references.forget();
  if (!apply) return;
  if (flatField.ffcSlot > 1) {
    logger::error("FFC slot out of range!", LOG_HERE);
    return;
  }
  apply(frame);
}

void correctTemperatures(FrameContext& frame) {
  const Radiometry& radiometry = frame.data.radiometry;
  if (!radiometry.radiometricCorrection || !frame.data.flatField.shutterlessCorrection) return;
  if (frame.calibrating()) return;
  applyThermographicCorrection(*frame.working, radiometry.thermographicTable,
                               bandTaskCountOf(frame.working->pixelCount()));
}
