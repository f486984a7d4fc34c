#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace imageFiles {

/// What the levels of a picture mean.
enum class Content { thermal, cooked, color };

/// "thermal", "cooked" or "color": in file names and descriptions.
const char* nameOf(Content content);

/// What is told about a picture beside its pixels.
struct PictureInfo {
  Content content = Content::thermal;
  std::uint64_t frame = 0;  ///< the camera's frame number
  std::uint64_t index = 0;  ///< running number within the dump, or of the camera's snapshots, from 1
  float sensorTemperatureK = 0.0f;
  float rangeMinK = 0.0f;  ///< a thermal level p stands for rangeMinK + rangeSpanK * p / 65535
  float rangeSpanK = 0.0f;
};

/// "content=thermal frame=12 index=3 sensorTemperatureK=303.15 rangeMinK=233.15 rangeSpanK=262.14"
std::string describe(const PictureInfo& info);
/// Reads what `describe` wrote; nothing when a field is missing or no number. Foreign text may surround them.
std::optional<PictureInfo> readDescription(std::string_view text);

/// A picture that waits to be written.
struct Picture {
  PictureInfo info;
  std::uint16_t width = 0;
  std::uint16_t height = 0;
  /// Row by row without padding: 16-bit levels in the machine's byte order, or red, green, blue for colour.
  std::vector<std::uint8_t> pixels;

  bool colored() const { return info.content == Content::color; }
};

}  // namespace imageFiles
