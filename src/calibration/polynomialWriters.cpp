#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string_view>
#include <vector>

#include "calibration/polynomialFiles.h"
#include "common/fileBytes.h"
#include "common/format.h"
#include "common/littleEndian.h"
#include "core/logger.h"

namespace {

using calibration::CoefficientGroup;
using calibration::CoefficientLine;

bool report(FileWrite outcome, const std::string& path, const LogContext& caller) {
  if (outcome != FileWrite::written) {
    logger::error(format("Error while saving file '{:s}'", path), caller);
    return false;
  }
  logger::info(format("File '{:s}' saved", path), caller);
  return true;
}

/// What is to be written; nothing is without a table.
struct Source {
  const ffcPixelPolyfit* table;
  unsigned short width;
  unsigned short height;

  std::span<const ffcPixelPolyfit> records() const { return {table, std::size_t{width} * height}; }
};

bool saveText(const Source& source, CoefficientGroup group, CoefficientLine lineFormat,
              const std::string& path, const LogContext& caller) {
  if (!source.table) return report(FileWrite::failed, path, caller);
  const std::string text =
      calibration::writeCoefficientText(group, lineFormat, source.records(), source.width, source.height);
  return report(writeFileText(path, text), path, caller);
}

bool saveBinary(const Source& source, CoefficientGroup group, const std::string& path,
                const LogContext& caller) {
  if (!source.table) return report(FileWrite::failed, path, caller);
  const auto fields = calibration::binaryFields(group);
  std::vector<std::uint8_t> bytes(4 * fields.size() * source.records().size());
  std::uint8_t* at = bytes.data();
  for (const ffcPixelPolyfit& record : source.records()) {
    for (float ffcPixelPolyfit::*const field : fields) {
      storeLittleFloat(at, record.*field);
      at += 4;
    }
  }
  return report(writeFileBytes(path, bytes), path, caller);
}

std::string shortest(float value) {
  char digits[24];
  return {digits, std::to_chars(digits, digits + sizeof digits, value).ptr};
}

}  // namespace

bool savePFFCMetadata(const float& tMin, const float& tMax, const std::string& formula,
                      const std::string& path) {
  std::string word = formula;
  std::replace(word.begin(), word.end(), ' ', '_');
  const std::string line = shortest(tMin) + " " + shortest(tMax) + " " + word + "\n";
  return report(writeFileText(path, line), path, LOG_HERE);
}

bool savePFFCP1GainData(const ffcPixelPolyfit* table, const unsigned short& width,
                        const unsigned short& height, const std::string& path) {
  return saveText({table, width, height}, CoefficientGroup::gain, CoefficientLine::firstOrder, path,
                  LOG_HERE);
}

bool savePFFCP1OffsetData(const ffcPixelPolyfit* table, const unsigned short& width,
                          const unsigned short& height, const std::string& path) {
  return saveText({table, width, height}, CoefficientGroup::offset, CoefficientLine::firstOrder, path,
                  LOG_HERE);
}

bool savePFFCP2GainData(const ffcPixelPolyfit* table, const std::string& formula, const unsigned short& width,
                        const unsigned short& height, const std::string& path) {
  return saveText({table, width, height}, CoefficientGroup::gain,
                  calibration::secondOrderLine(CoefficientGroup::gain, formula), path, LOG_HERE);
}

bool savePFFCP2OffsetData(const ffcPixelPolyfit* table, const std::string& formula,
                          const unsigned short& width, const unsigned short& height,
                          const std::string& path) {
  return saveText({table, width, height}, CoefficientGroup::offset,
                  calibration::secondOrderLine(CoefficientGroup::offset, formula), path, LOG_HERE);
}

bool saveBinaryPFFCP2GainData(const ffcPixelPolyfit* table, const unsigned short& width,
                              const unsigned short& height, const std::string& path) {
  return saveBinary({table, width, height}, CoefficientGroup::gain, path, LOG_HERE);
}

bool saveBinaryPFFCP3OffsetData(const ffcPixelPolyfit* table, const unsigned short& width,
                                const unsigned short& height, const std::string& path) {
  return saveBinary({table, width, height}, CoefficientGroup::offset, path, LOG_HERE);
}
