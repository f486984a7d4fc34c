#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "common/mutex.h"

/// One colour map of a preset.
struct subMap {
  std::int32_t index = 0;  ///< in the catalogue of `colorMap::getSubColorMap`
  bool negative = false;   ///< used back to front
};

/// How 16-bit levels become colours.
struct ColorPreset {
  float curve = 1.0f;                            ///< tone-curve exponent; 1 = no curve
  std::unique_ptr<std::vector<subMap>> subMaps;  ///< laid side by side, from low to high levels
  bool invert = false;                           ///< levels are mirrored before the lookup
};

/// Fills `presets` with the eleven built-in presets. A list that is not empty is emptied first, with the
/// warning "color presets are already initialized".
void loadColorPresets(std::vector<ColorPreset>& presets);

/// Deep copy: `to` gets its own vector of sub-maps if it has none. Without a vector in `from` it logs
/// "empty input vector" and leaves `to` as it is. std::bad_alloc, after a line, when there is no memory for
/// it.
void copyColorPreset(const ColorPreset& from, ColorPreset& to);

/// The process-wide list. Written at start-up; the mutex lets a second start-up rebuild it while cameras of
/// the first one select presets. Innermost lock but for the logger's.
struct ColorPresetList {
  Mutex mutex{LockRank::colorPresets};
  std::vector<ColorPreset> presets GUARDED_BY(mutex);
};
ColorPresetList& colorPresets();

/// Runs `loadColorPresets` on the process-wide list.
void loadColorPresets();
/// Number of presets in the process-wide list; 0 before it is loaded.
int colorPresetCount();
