#include "calibration/coefficientText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <optional>

#include "common/fileBytes.h"
#include "common/numberText.h"

namespace {

using calibration::CoefficientLine;
using calibration::CoefficientValues;

/// What follows each number of a line, and what the first and the last are multiplied by.
struct Layout {
  std::size_t count;
  std::array<std::string_view, 3> suffix;
  float outerScale;
};

constexpr float kMillion = 1e6f;

constexpr Layout layoutOf(CoefficientLine format) {
  switch (format) {
    case CoefficientLine::firstOrder:
      return {2, {"", "*Tk", ""}, 1.0f};
    case CoefficientLine::quadratic:
      return {3, {"", "*Tk", "*Tk^2"}, 1.0f};
    case CoefficientLine::logarithmicGain:
      return {3, {"", "*Tk", "*Log[Tk]"}, 1.0f};
    case CoefficientLine::logarithmicOffset:
      break;
  }
  return {3, {"*^6", "*Tk", "*^6*Log[Tk]"}, kMillion};
}

constexpr std::array<float ffcPixelPolyfit::*, 3> kGainFields = {&ffcPixelPolyfit::g0, &ffcPixelPolyfit::g1,
                                                                 &ffcPixelPolyfit::g2};
constexpr std::array<float ffcPixelPolyfit::*, 4> kOffsetFields = {
    &ffcPixelPolyfit::o0, &ffcPixelPolyfit::o1, &ffcPixelPolyfit::o2, &ffcPixelPolyfit::o3};

using Fields = std::span<float ffcPixelPolyfit::*const>;

constexpr std::string_view kBlanks = " \t\v\f\r";

void skipBlanks(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
}

bool takeLiteral(std::string_view& text, std::string_view literal) {
  if (!text.starts_with(literal)) return false;
  text.remove_prefix(literal.size());
  return true;
}

bool takeSign(std::string_view& text, char& sign) {
  skipBlanks(text);
  if (text.empty()) return false;
  if (text.front() > ' ' && text.front() <= '~') sign = text.front();  // shown in a log line: printable only
  if (sign != '+' && sign != '-') return false;
  text.remove_prefix(1);
  return true;
}

/// The next line that is not empty, without its end; nothing when the text is used up.
std::optional<std::string_view> takeLine(std::string_view& text) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.find_first_not_of(kBlanks) != std::string_view::npos) return line;
  }
  return std::nullopt;
}

/// Shortest digits that read back as the same float.
void appendNumber(std::string& text, float value) {
  char digits[24];
  text.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

void store(const CoefficientValues& values, const Layout& layout, Fields fields, ffcPixelPolyfit& record) {
  for (std::size_t i = 0; i < layout.count; ++i) {
    float value = values.number[i];
    if (i > 0 && values.sign[i - 1] == '-') value = -value;
    record.*fields[i] = i == 1 ? value : value * layout.outerScale;
  }
}

}  // namespace

namespace calibration {

CoefficientLine secondOrderLine(CoefficientGroup group, std::string_view formula) {
  if (polynomialModel(formula) != PolynomialModel::logarithmic) return CoefficientLine::quadratic;
  return group == CoefficientGroup::gain ? CoefficientLine::logarithmicGain
                                         : CoefficientLine::logarithmicOffset;
}

std::span<float ffcPixelPolyfit::*const> binaryFields(CoefficientGroup group) {
  if (group == CoefficientGroup::gain) return kGainFields;
  return kOffsetFields;
}

bool parseCoefficientLine(std::string_view text, CoefficientLine format, CoefficientValues& values) {
  const Layout layout = layoutOf(format);
  values = {};
  for (std::size_t i = 0; i < layout.count; ++i) {
    if (i > 0 && !takeSign(text, values.sign[i - 1])) return false;
    const std::optional<float> number = takeFloat(text);
    if (!number) return false;
    values.number[i] = *number;
    if (!takeLiteral(text, layout.suffix[i])) return false;
  }
  skipBlanks(text);
  return text.empty();
}

bool readCoefficientText(std::span<const std::uint8_t> bytes, CoefficientGroup group, CoefficientLine format,
                         std::span<ffcPixelPolyfit> table, std::uint32_t width, std::uint32_t height,
                         CoefficientProgress& progress) {
  const Layout layout = layoutOf(format);
  const Fields fields = binaryFields(group);
  std::string_view text = asText(bytes);
  progress = {};
  for (std::uint32_t x = 0; x < width; ++x) {
    for (std::uint32_t y = 0; y < height; ++y) {
      progress.line++;
      progress.x = x;
      progress.y = y;
      const std::optional<std::string_view> line = takeLine(text);
      // Without a line, an empty one fails and clears the values.
      if (!parseCoefficientLine(line.value_or(""), format, progress.values)) return false;
      store(progress.values, layout, fields, table[std::size_t{y} * width + x]);
    }
  }
  return true;
}

std::string writeCoefficientText(CoefficientGroup group, CoefficientLine format,
                                 std::span<const ffcPixelPolyfit> table, std::uint32_t width,
                                 std::uint32_t height) {
  const Layout layout = layoutOf(format);
  const Fields fields = binaryFields(group);
  std::string text;
  for (std::uint32_t x = 0; x < width; ++x) {
    for (std::uint32_t y = 0; y < height; ++y) {
      const ffcPixelPolyfit& record = table[std::size_t{y} * width + x];
      for (std::size_t i = 0; i < layout.count; ++i) {
        float value = record.*fields[i];
        if (i != 1) value /= layout.outerScale;
        if (i > 0) {
          text += std::signbit(value) ? " - " : " + ";
          value = std::fabs(value);
        }
        appendNumber(text, value);
        text += layout.suffix[i];
      }
      text += '\n';
    }
  }
  return text;
}

}  // namespace calibration
