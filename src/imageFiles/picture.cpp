#include "imageFiles/picture.h"

#include <charconv>

#include "common/format.h"
#include "common/numberText.h"

namespace imageFiles {
namespace {

constexpr Content kContents[] = {Content::thermal, Content::cooked, Content::color};

/// The text behind "key=", up to its end.
std::optional<std::string_view> valueOf(std::string_view text, std::string_view key) {
  for (std::size_t at = text.find(key); at != std::string_view::npos; at = text.find(key, at + 1)) {
    const bool wordBegins = at == 0 || text[at - 1] == ' ';
    const std::string_view rest = text.substr(at + key.size());
    if (wordBegins && rest.starts_with('=')) return rest.substr(1);
  }
  return std::nullopt;
}

bool readNumber(std::string_view text, std::string_view key, std::uint64_t& number) {
  const auto value = valueOf(text, key);
  return value && std::from_chars(value->data(), value->data() + value->size(), number).ec == std::errc{};
}

bool readNumber(std::string_view text, std::string_view key, float& number) {
  const auto value = valueOf(text, key);
  const auto read = value ? readFloat(*value) : std::nullopt;
  if (read) number = *read;
  return read.has_value();
}

bool readContent(std::string_view text, Content& content) {
  const auto value = valueOf(text, "content");
  if (!value) return false;
  for (const Content known : kContents) {
    if (value->substr(0, value->find(' ')) != nameOf(known)) continue;
    content = known;
    return true;
  }
  return false;
}

}  // namespace

const char* nameOf(Content content) {
  switch (content) {
    case Content::thermal:
      return "thermal";
    case Content::cooked:
      return "cooked";
    case Content::color:
      break;
  }
  return "color";
}

std::string describe(const PictureInfo& info) {
  return format("content={:s} frame={} index={} sensorTemperatureK={} rangeMinK={} rangeSpanK={}",
                nameOf(info.content), info.frame, info.index, info.sensorTemperatureK, info.rangeMinK,
                info.rangeSpanK);
}

std::optional<PictureInfo> readDescription(std::string_view text) {
  PictureInfo info;
  const bool complete = readContent(text, info.content) && readNumber(text, "frame", info.frame) &&
                        readNumber(text, "index", info.index) &&
                        readNumber(text, "sensorTemperatureK", info.sensorTemperatureK) &&
                        readNumber(text, "rangeMinK", info.rangeMinK) &&
                        readNumber(text, "rangeSpanK", info.rangeSpanK);
  return complete ? std::optional(info) : std::nullopt;
}

}  // namespace imageFiles
