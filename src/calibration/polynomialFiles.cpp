#include "calibration/polynomialFiles.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "common/fileBytes.h"
#include "common/format.h"
#include "common/littleEndian.h"
#include "common/numberText.h"
#include "core/logger.h"

namespace {

using calibration::CoefficientGroup;
using calibration::CoefficientLine;
using calibration::CoefficientProgress;

constexpr std::uint64_t kLongestMetadata = 4096;
constexpr std::size_t kLongestFormula = 255;
constexpr std::uint64_t kLongestLine = 256;  // on average; ours have less than 70 characters

std::size_t pixelCount(unsigned short width, unsigned short height) { return std::size_t{width} * height; }

bool openError(const std::string& path, const LogContext& caller) {
  logger::error(format("Error while opening file '{:s}'", path), caller);
  return false;
}

bool lineError(const CoefficientProgress& at, CoefficientLine lineFormat, const std::string& path,
               const LogContext& caller) {
  const auto& [number, sign] = at.values;
  if (lineFormat == CoefficientLine::firstOrder) {
    logger::error(format("Error while opening file '{:s}' at line {:d} ({:f} {:c} {:f}, i={:d} j={:d})", path,
                         at.line, number[0], sign[0], number[1], at.x, at.y),
                  caller);
  } else {
    logger::error(
        format("Error while opening file '{:s}' at line {:d} ({:f} {:c} {:f} {:c} {:f}, i={:d} j={:d})", path,
               at.line, number[0], sign[0], number[1], sign[1], number[2], at.x, at.y),
        caller);
  }
  return false;
}

/// Where a text or binary file goes.
struct Target {
  ffcPixelPolyfit* table;
  unsigned short width;
  unsigned short height;

  std::span<ffcPixelPolyfit> records() const { return {table, pixelCount(width, height)}; }
};

bool loadText(const Target& target, CoefficientGroup group, CoefficientLine lineFormat,
              const std::string& path, const LogContext& caller) {
  if (path.empty()) return false;
  const std::uint64_t limit = kLongestMetadata + kLongestLine * pixelCount(target.width, target.height);
  const auto bytes = readFileBytes(path, limit + 1);
  if (!target.table || !bytes || bytes->size() > limit) return openError(path, caller);
  CoefficientProgress progress;
  if (!calibration::readCoefficientText(*bytes, group, lineFormat, target.records(), target.width,
                                        target.height, progress))
    return lineError(progress, lineFormat, path, caller);
  logger::info(format("File '{:s}' loaded \033[2;37m({:d} lines)\033[0;0m", path, progress.line), caller);
  return true;
}

std::uint64_t binarySize(CoefficientGroup group, std::size_t pixels) {
  return std::uint64_t{4} * calibration::binaryFields(group).size() * pixels;
}

bool loadBinary(const Target& target, CoefficientGroup group, const std::string& path,
                const LogContext& caller) {
  if (path.empty()) return false;
  // One byte more than belongs there, so that a longer file shows.
  const auto bytes = readFileBytes(path, binarySize(group, pixelCount(target.width, target.height)) + 1);
  if (!target.table || !bytes || !calibration::readBinaryCoefficients(*bytes, group, target.records()))
    return openError(path, caller);
  logger::info(format("File '{:s}' loaded \033[2;37m({:d} values)\033[0;0m", path, bytes->size() / 4),
               caller);
  return true;
}

bool isPrintableWord(std::string_view word) {
  for (const char c : word) {
    if (c <= ' ' || c > '~') return false;
  }
  return !word.empty() && word.size() <= kLongestFormula;
}

}  // namespace

bool loadPFFCMetadata(float& tMin, float& tMax, std::string& formula, const std::string& path) {
  if (path.empty()) return false;
  const auto bytes = readFileBytes(path, kLongestMetadata);
  if (!bytes || !calibration::readPFFCMetadata(*bytes, tMin, tMax, formula)) return openError(path, LOG_HERE);
  logger::info(format("File '{:s}' loaded \033[2;37m({:s})\033[0;0m", path, formula), LOG_HERE);
  return true;
}

bool loadPFFCP1GainData(ffcPixelPolyfit* table, const unsigned short& width, const unsigned short& height,
                        const std::string& path) {
  return loadText({table, width, height}, CoefficientGroup::gain, CoefficientLine::firstOrder, path,
                  LOG_HERE);
}

bool loadPFFCP1OffsetData(ffcPixelPolyfit* table, const unsigned short& width, const unsigned short& height,
                          const std::string& path) {
  return loadText({table, width, height}, CoefficientGroup::offset, CoefficientLine::firstOrder, path,
                  LOG_HERE);
}

bool loadPFFCP2GainData(ffcPixelPolyfit* table, std::string& formula, const unsigned short& width,
                        const unsigned short& height, const std::string& path) {
  return loadText({table, width, height}, CoefficientGroup::gain,
                  calibration::secondOrderLine(CoefficientGroup::gain, formula), path, LOG_HERE);
}

bool loadPFFCP2OffsetData(ffcPixelPolyfit* table, std::string& formula, const unsigned short& width,
                          const unsigned short& height, const std::string& path) {
  return loadText({table, width, height}, CoefficientGroup::offset,
                  calibration::secondOrderLine(CoefficientGroup::offset, formula), path, LOG_HERE);
}

bool loadBinaryPFFCP2GainData(ffcPixelPolyfit* table, std::string&, const unsigned short& width,
                              const unsigned short& height, const std::string& path) {
  return loadBinary({table, width, height}, CoefficientGroup::gain, path, LOG_HERE);
}

bool loadBinaryPFFCP3OffsetData(ffcPixelPolyfit* table, std::string&, const unsigned short& width,
                                const unsigned short& height, const std::string& path) {
  return loadBinary({table, width, height}, CoefficientGroup::offset, path, LOG_HERE);
}

namespace calibration {

bool readPFFCMetadata(std::span<const std::uint8_t> bytes, float& tMin, float& tMax, std::string& formula) {
  constexpr std::string_view kBlanks = " \t\n\v\f\r";
  std::string_view text = asText(bytes);
  const std::optional<float> low = takeFloat(text);
  const std::optional<float> high = low ? takeFloat(text) : std::nullopt;
  if (!high || !std::isfinite(*low) || !std::isfinite(*high)) return false;
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  const std::string_view word = text.substr(0, text.find_first_of(kBlanks));
  if (!isPrintableWord(word)) return false;
  tMin = *low;
  tMax = *high;
  formula = word;
  for (char& c : formula) {
    if (c == '_' || c == ',' || c == ';') c = ' ';
  }
  return true;
}

bool readBinaryCoefficients(std::span<const std::uint8_t> bytes, CoefficientGroup group,
                            std::span<ffcPixelPolyfit> table) {
  if (bytes.size() != binarySize(group, table.size())) return false;
  const std::uint8_t* at = bytes.data();
  for (ffcPixelPolyfit& record : table) {
    for (float ffcPixelPolyfit::*const field : calibration::binaryFields(group)) {
      record.*field = loadLittleFloat(at);
      at += 4;
    }
  }
  return true;
}

bool loadPFFCGain(ffcPixelPolyfit* table, std::string& formula, const unsigned short& width,
                  const unsigned short& height, const std::string& path) {
  if (regularFileSize(path) == binarySize(CoefficientGroup::gain, pixelCount(width, height)))
    return loadBinaryPFFCP2GainData(table, formula, width, height, path);
  switch (polynomialModel(formula)) {
    case PolynomialModel::linear:
    case PolynomialModel::quadraticOffset:
      return loadPFFCP1GainData(table, width, height, path);
    case PolynomialModel::cubic:
    case PolynomialModel::logarithmic:
      return loadPFFCP2GainData(table, formula, width, height, path);
    case PolynomialModel::unknown:
      break;
  }
  logger::error(format("Unrecognized file format '{:s}'", path), LOG_HERE);
  return false;
}

bool loadPFFCOffset(ffcPixelPolyfit* table, std::string& formula, const unsigned short& width,
                    const unsigned short& height, const std::string& path) {
  if (regularFileSize(path) == binarySize(CoefficientGroup::offset, pixelCount(width, height)))
    return loadBinaryPFFCP3OffsetData(table, formula, width, height, path);
  switch (polynomialModel(formula)) {
    case PolynomialModel::linear:
      return loadPFFCP1OffsetData(table, width, height, path);
    case PolynomialModel::quadraticOffset:
    case PolynomialModel::logarithmic:
      return loadPFFCP2OffsetData(table, formula, width, height, path);
    case PolynomialModel::cubic:
      return loadBinaryPFFCP3OffsetData(table, formula, width, height, path);  // says what is wrong
    case PolynomialModel::unknown:
      break;
  }
  logger::error(format("Unrecognized file format '{:s}'", path), LOG_HERE);
  return false;
}

}  // namespace calibration
