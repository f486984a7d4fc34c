#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "common/mutex.h"
#include "core/logger.h"
#include "presentation/ColorPreset.h"
#include "presentation/ColorTable.h"
#include "presentation/colorMap.h"
#include "presentation/toneCurve.h"

/// What the selected preset left in a camera's state.
struct PaletteSelection {
  int index = 0;               ///< of the preset; 0 before the first selection, too
  float curve = 1.0f;          ///< tone-curve exponent
  bool invert = false;         ///< levels are mirrored before the lookup
  std::uint8_t firstMap = 0;   ///< low byte of the first sub-map's index
  std::uint8_t secondMap = 0;  ///< of the second one's; kept from earlier while `singleMap`
  bool singleMap = true;
};

/// The colours of one camera. Application threads select presets while the camera's frames are painted: a
/// selection computes everything on the side, composes tone curve, inversion, lookup and negation into a
/// spare table, and holds the painters up only for the exchange of two pointers.
class Palette {
 public:
  /// One colour for every `kColorStep`-th level: 0, 257, 514, ..., 65535.
  static constexpr std::size_t kColorStep = 257;
  using Colors = std::array<rgb_24b, 256>;

  Palette() : live(std::make_unique<ColorTable>()), spare(std::make_unique<ColorTable>()) {}
  Palette(const Palette&) = delete;
  Palette& operator=(const Palette&) = delete;

  /// Makes preset `index` of the process-wide list the current one. Out of range: logs
  /// "color preset index #{:d} is out of range" under `caller`, changes nothing, returns false.
  /// Any thread; takes a few milliseconds. Not under `colourMutex`.
  bool select(int index, const LogContext& caller) EXCLUDES(buildMutex, colourMutex);
  bool select(int index) { return select(index, LOG_HERE); }

  /// Index of the selected preset, 0 before the first selection.
  int index() const { return selection().index; }
  PaletteSelection selection() const EXCLUDES(colourMutex);

  /// Complements the three bytes of every colour, after everything else.
  void setNegation(bool on) EXCLUDES(buildMutex, colourMutex);
  /// Factor on the colours' saturation, exponent on their value (`adjustColor`); 1 and 1 at first. Values
  /// that are not finite are ignored.
  void setAdjustment(float saturation, float brightness) EXCLUDES(buildMutex, colourMutex);

  /// Held while a frame is painted; taken inside the frame mutex.
  mutable Mutex colourMutex{LockRank::colour};
  /// False until the first selection: there are no colours to paint with.
  bool ready() const REQUIRES(colourMutex) { return filled; }
  /// The colour of every level. Valid while the mutex is held.
  const ColorTable& table() const REQUIRES(colourMutex) { return *live; }
  /// Colours after tone curve and lookup alone, without inversion and negation.
  const Colors& plainColors() const REQUIRES(colourMutex) { return plain; }

 private:
  void applyPreset(const ColorPreset& preset, int index) REQUIRES(buildMutex);
  void publish() REQUIRES(buildMutex) EXCLUDES(colourMutex);

  Mutex buildMutex{LockRank::paletteBuild};  ///< one selection at a time; outside colourMutex
  colorMap map GUARDED_BY(buildMutex);
  ToneCurve toneCurve GUARDED_BY(buildMutex);
  PaletteSelection building GUARDED_BY(buildMutex);
  bool negation GUARDED_BY(buildMutex) = false;

  PaletteSelection current GUARDED_BY(colourMutex);
  bool filled GUARDED_BY(colourMutex) = false;
  Colors plain GUARDED_BY(colourMutex){};
  std::unique_ptr<ColorTable> live GUARDED_BY(colourMutex);
  std::unique_ptr<ColorTable> spare GUARDED_BY(buildMutex);  ///< no painter reads it
};
