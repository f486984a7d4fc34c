#include "presentation/palette.h"

#include <cmath>
#include <string>
#include <vector>

#include "common/format.h"

namespace {

/// Copies preset `index` of the process-wide list; false when there is none.
bool fetchPreset(int index, ColorPreset& preset) {
  ColorPresetList& list = colorPresets();
  MutexLock lock(list.mutex);
  if (index < 0 || static_cast<std::size_t>(index) >= list.presets.size()) return false;
  copyColorPreset(list.presets[static_cast<std::size_t>(index)], preset);
  return true;
}

rgb_24b complement(rgb_24b color) {
  return {static_cast<std::uint8_t>(255 - color.r), static_cast<std::uint8_t>(255 - color.g),
          static_cast<std::uint8_t>(255 - color.b)};
}

}  // namespace

bool Palette::select(int index, const LogContext& caller) {
  ColorPreset preset;
  if (!fetchPreset(index, preset)) {
    logger::error(format("color preset index #{:d} is out of range", index), caller);
    return false;
  }
  MutexLock lock(buildMutex);
  applyPreset(preset, index);
  publish();
  return true;
}

void Palette::applyPreset(const ColorPreset& preset, int index) {
  building.index = index;
  building.curve = preset.curve;
  building.invert = preset.invert;
  toneCurve.select(preset.curve);
  std::vector<std::string> names;
  map.combineColorMaps(preset, names);
  const std::vector<subMap>& maps = *preset.subMaps;
  if (!maps.empty()) {
    building.firstMap = static_cast<std::uint8_t>(maps[0].index & 0xFF);
    building.singleMap = true;
  }
  if (maps.size() >= 2) {
    building.secondMap = static_cast<std::uint8_t>(maps[1].index & 0xFF);
    building.singleMap = false;
  }
}

void Palette::publish() {
  for (std::size_t level = 0; level < ColorTable::kLevels; level++) {
    std::uint16_t v = toneCurve.apply(static_cast<std::uint16_t>(level));
    if (building.invert) v = static_cast<std::uint16_t>(65535 - v);
    const rgb_24b color = map.lookup[v];
    (*spare)[level] = negation ? complement(color) : color;
  }
  Colors withoutInversion;
  for (std::size_t i = 0; i < withoutInversion.size(); i++) {
    withoutInversion[i] = map.lookup[toneCurve.apply(static_cast<std::uint16_t>(i * kColorStep))];
  }
  MutexLock lock(colourMutex);
  live.swap(spare);
  plain = withoutInversion;
  current = building;
  filled = map.ready;
}

PaletteSelection Palette::selection() const {
  MutexLock lock(colourMutex);
  return current;
}

void Palette::setNegation(bool on) {
  MutexLock lock(buildMutex);
  negation = on;
  publish();
}

void Palette::setAdjustment(float saturation, float brightness) {
  if (!std::isfinite(saturation) || !std::isfinite(brightness)) return;
  MutexLock lock(buildMutex);
  map.saturation = saturation;
  map.brightness = brightness;
  if (!map.ready) return;
  std::vector<std::string> names;
  map.combineColorMaps(map.preset, names);
  publish();
}
