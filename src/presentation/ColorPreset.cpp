#include "presentation/ColorPreset.h"

#include <initializer_list>
#include <new>

#include "core/logger.h"

namespace {

struct PresetRow {
  float curve;
  bool invert;
  std::initializer_list<subMap> maps;
};

constexpr bool kForwards = false;
constexpr bool kBackwards = true;

void append(std::vector<ColorPreset>& presets, const PresetRow& row) {
  ColorPreset preset;
  preset.curve = row.curve;
  preset.subMaps = std::make_unique<std::vector<subMap>>(row.maps);
  preset.invert = row.invert;
  presets.push_back(std::move(preset));
}

}  // namespace

void loadColorPresets(std::vector<ColorPreset>& presets) {
  logger::debug("loadColorPresets()", LOG_HERE);
  if (!presets.empty()) {
    logger::warning("color presets are already initialized", LOG_HERE);
    presets.clear();
  }
  append(presets, {1.0f, false, {{0, kForwards}}});                    // grayscale
  append(presets, {1.0f, true, {{0, kForwards}}});                     // grayscale, inverted
  append(presets, {1.25f, false, {{3, kForwards}}});                   // hot
  append(presets, {1.25f, false, {{22, kForwards}}});                  // avocado
  append(presets, {1.25f, false, {{14, kForwards}}});                  // fire
  append(presets, {1.25f, false, {{39, kForwards}}});                  // sunset
  append(presets, {0.85f, false, {{0, kBackwards}, {3, kForwards}}});  // grayscale, then hot
  append(presets, {0.85f, false, {{0, kBackwards}, {22, kForwards}}});
  append(presets, {0.85f, false, {{0, kBackwards}, {9, kForwards}}});
  append(presets, {0.85f, false, {{9, kBackwards}, {3, kForwards}}});
  append(presets, {0.85f, false, {{0, kBackwards}, {39, kForwards}}});
}

void copyColorPreset(const ColorPreset& from, ColorPreset& to) {
  if (!from.subMaps) {
    logger::error("empty input vector", LOG_HERE);
    return;
  }
  if (!to.subMaps) to.subMaps.reset(new (std::nothrow) std::vector<subMap>);
  if (!to.subMaps) {
    logger::error("empty output vector", LOG_HERE);
    throw std::bad_alloc();  // callers go on to use the vector
  }
  to.curve = from.curve;
  *to.subMaps = *from.subMaps;
  to.invert = from.invert;
}

ColorPresetList& colorPresets() {
  // Never destroyed: a camera's thread may still select while the process ends.
  static auto* const list = new ColorPresetList;
  return *list;
}

void loadColorPresets() {
  ColorPresetList& list = colorPresets();
  MutexLock lock(list.mutex);
  try {
    loadColorPresets(list.presets);
  } catch (...) {  // no memory: whoever finds the list empty loads it anew
    list.presets.clear();
    throw;
  }
}

int colorPresetCount() {
  ColorPresetList& list = colorPresets();
  MutexLock lock(list.mutex);
  return static_cast<int>(list.presets.size());
}
