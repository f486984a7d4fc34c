#include "presentation/colorMap.h"

#include <algorithm>
#include <optional>

#include "common/format.h"
#include "common/numerics.h"
#include "core/logger.h"
#include "presentation/colorMapTables.h"

namespace {

constexpr int kFirstLines = kLiteralColorMapCount + 1;

/// What the library's tables hold between 0 and 1, as a byte. Truncated: 0.5 gives 127.
std::uint8_t channelByte(float channel) { return truncateToU8(static_cast<double>(channel * 255.0f)); }

rgb_24b tableColor(const float* channels) {
  return {channelByte(channels[0]), channelByte(channels[1]), channelByte(channels[2])};
}

void writeGrayscale(rgb_24b* out) {
  for (int i = 0; i < colorMap::kSubMapEntries; i++) {
    const auto level = static_cast<std::uint8_t>(i);
    out[i] = {level, level, level};
  }
}

void writeTable(const LiteralColorMap& map, rgb_24b* out) {
  for (int i = 0; i < colorMap::kSubMapEntries; i++) out[i] = tableColor(map.channels + 3 * i);
}

/// Bands of equal width in a cycle of seven colours.
void writeLines(int bandCount, rgb_24b* out) {
  static constexpr float kCycle[7][3] = {{0.0f, 0.0f, 1.0f},   {0.0f, 0.5f, 0.0f},   {1.0f, 0.0f, 0.0f},
                                         {0.0f, 0.75f, 0.75f}, {0.75f, 0.0f, 0.75f}, {0.75f, 0.75f, 0.0f},
                                         {0.25f, 0.25f, 0.25f}};
  for (int i = 0; i < colorMap::kSubMapEntries; i++) {
    const int band = truncateToI32(i * (bandCount / 256.0));
    out[i] = tableColor(kCycle[band % 7]);
  }
}

}  // namespace

void colorMap::getSubColorMap(int index, bool negative, rgb_24b* out, std::string& mapName) const {
  const bool known = index >= 0 && index < kSubMapCount;
  if (index == 0) {
    writeGrayscale(out);
    mapName = "grayscale";
  } else if (known && index < kFirstLines) {
    const LiteralColorMap& map = kLiteralColorMaps[index - 1];
    writeTable(map, out);
    mapName = map.name;
  } else if (known) {
    const int bandCount = 2 << (index - kFirstLines);
    writeLines(bandCount, out);
    mapName = format("lines ({:d})", bandCount);
  } else {
    logger::error(format("unknown colormap index {:d}", index), LOG_HERE);
  }
  if (known && negative) std::reverse(out, out + kSubMapEntries);
  mapName += negative ? " \033[0;37m(negative)\033[0;0m" : " \033[0;37m(positive)\033[0;0m";
}

void colorMap::combineColorMaps(const ColorPreset& source, std::vector<std::string>& names) {
  if (!source.subMaps || source.subMaps->empty()) {
    logger::error("combineColorMaps called with empty indexes", LOG_HERE);
    return;
  }
  copyColorPreset(source, preset);
  layMapsSideBySide(names);
  adjustColors();
  name.clear();
  ready = true;
}

void colorMap::layMapsSideBySide(std::vector<std::string>& names) {
  const std::vector<subMap>& maps = *preset.subMaps;
  rgb_24b entries[kSubMapEntries];
  std::string mapName;
  std::optional<int> fetched;
  for (std::size_t i = 0; i < kEntries; i++) {
    const std::size_t position = maps.size() * i * kSubMapEntries / kEntries;
    const subMap& map = maps[position / kSubMapEntries];
    // Only the index is compared: of two neighbours with the same map, the second keeps the first one's
    // direction.
    if (fetched != map.index) {
      getSubColorMap(map.index, map.negative, entries, mapName);
      names.push_back(mapName);
      fetched = map.index;
    }
    lookup[i] = entries[position % kSubMapEntries];
  }
}

void colorMap::adjustColors() {
  AdjustedColor adjusted;
  std::optional<rgb_24b> before;
  for (std::size_t i = 0; i < kEntries; i++) {
    // A map's entry is repeated for 256 levels or a fraction of that: one adjustment serves the whole run.
    if (before != lookup[i]) {
      before = lookup[i];
      adjusted = adjustColor(lookup[i], saturation, brightness);
    }
    lookup[i] = adjusted.color;
    hsv[i] = adjusted.hsv;
  }
}
