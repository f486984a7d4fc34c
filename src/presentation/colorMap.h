#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "common/rgb.h"
#include "presentation/ColorPreset.h"
#include "presentation/hsvAdjustment.h"

/// The colours of one preset, one per 16-bit level, and the catalogue of maps that presets are made of.
/// Not locked: belongs to whoever builds it.
class colorMap {
 public:
  static constexpr int kSubMapEntries = 256;
  static constexpr std::size_t kEntries = 65536;
  static constexpr int kSubMapCount = 52;

  colorMap() : lookup(kEntries), hsv(kEntries) {}

  /// Writes the 256 entries of map `index` of the catalogue to `out`, back to front when `negative`, and sets
  /// `name` to the map's name with a coloured suffix that tells the direction. An unknown index logs
  /// "unknown colormap index {:d}", leaves `out` as it is and appends the suffix to what
  /// `name` holds.
  void getSubColorMap(int index, bool negative, rgb_24b* out, std::string& name) const;

  /// Builds `lookup` and `hsv` from the preset and appends the name of every sub-map fetched to `names`. A
  /// preset without sub-maps logs "combineColorMaps called with empty indexes" and changes nothing.
  /// `preset` may be this object's own.
  void combineColorMaps(const ColorPreset& preset, std::vector<std::string>& names);

  std::vector<rgb_24b> lookup;  ///< indexed by the level after the tone curve
  std::vector<HsvColor> hsv;    ///< one per lookup entry
  ColorPreset preset;           ///< what the tables were built from
  std::string name;             ///< cleared by each build
  bool ready = false;           ///< a build has finished
  float saturation = 1.0f;      ///< factor on every entry's saturation, used by the next build
  float brightness = 1.0f;      ///< exponent on every entry's value, used by the next build

 private:
  void layMapsSideBySide(std::vector<std::string>& names);
  void adjustColors();
};
