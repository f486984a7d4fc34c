#include "tools/common/calibrationAudit.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "calibration/badPixels.h"
#include "calibration/ffcFile.h"
#include "calibration/polynomialFiles.h"
#include "calibration/thermographicFile.h"
#include "common/fileBytes.h"
#include "common/filePath.h"
#include "common/format.h"

namespace tools {
namespace {

namespace fs = std::filesystem;
using State = FileFinding::State;

constexpr double kManyDefects = 0.02;  // of the pixels; sensors are sold with far fewer
constexpr unsigned kRawLevels = 16383, kCorrectedLevels = 65535;  // the largest

std::string sizeText(const std::string& path) {
  const auto size = regularFileSize(path);
  return size ? format("{:d} bytes", *size) : std::string("no file");
}

FileFinding auditDefects(const CalibrationPlaces& places) {
  const std::string path = places.file("dpc", ".dpc");
  if (!regularFileSize(path)) return {State::Absent, path, ""};
  const std::size_t pixels = std::size_t{places.width} * places.height;
  std::vector<std::pair<int, int>> list;
  if (!loadBadPixelsList(&list, places.width, places.height, path))
    return {State::Bad, path, format("{:s} where the map has {:d}", sizeText(path), pixels)};
  const bool many = static_cast<double>(list.size()) > kManyDefects * static_cast<double>(pixels);
  return {many ? State::Odd : State::Good, path,
          format("{:d} of {:d} pixels defective", list.size(), pixels)};
}

/// What is wrong with a flat-field table; empty when nothing is. largestLevel: that a frame can hold.
std::string faultOfTable(const std::string& path, const CalibrationPlaces& places, unsigned largestLevel) {
  const auto expected = calibration::ffcFileSize(places.width, places.height);
  if (regularFileSize(path) != expected)
    return format("{:s} where a table of this camera has {:d}", sizeText(path), expected);
  std::uint16_t frames = 0;
  float celsius = 0.0f;
  if (!calibration::peekFFC(path, places.width, places.height, frames, celsius))
    return "it counts no frames or no sensor temperature";
  image<unsigned int> sums(places.width, places.height);
  if (!loadFFC(&sums, frames, celsius, path)) return "it lacks the signature of a flat-field table";
  if (!calibration::isUsableFFC(frames, celsius)) return "it counts no frames or no sensor temperature";
  const auto largest = *std::max_element(sums.data, sums.data + sums.pixelCount());
  if (largest == 0) return "every pixel is 0";
  if (largest > std::uint64_t{frames} * largestLevel)
    return format("a level of {:d} in it, where {:d} is the largest", largest / frames, largestLevel);
  return {};
}

FileFinding auditManualTable(const CalibrationPlaces& places) {
  const std::string path = places.file("ffc", ".ffc");
  if (!regularFileSize(path)) return {State::Absent, path, ""};
  const std::string fault = faultOfTable(path, places, kCorrectedLevels);
  return {fault.empty() ? State::Good : State::Bad, path, fault.empty() ? "of a shutter run" : fault};
}

/// Files in a folder of tables that bear this camera's name.
std::vector<std::string> tableFiles(const std::string& folder, const CalibrationPlaces& places) {
  std::vector<std::string> found;
  std::error_code failure;
  for (fs::directory_iterator entry(filePath(folder), failure), end; !failure && entry != end;
       entry.increment(failure)) {
    if (entry->path().extension() != ".ffc") continue;
    const std::string file = entry->path().filename().string();
    const bool ours = std::any_of(places.names.begin(), places.names.end(), [&](const std::string& name) {
      return file.rfind(format("{:s}_{:d}_", name, places.serialNumber), 0) == 0;
    });
    if (ours) found.push_back(entry->path().string());
  }
  std::sort(found.begin(), found.end());
  return found;
}

FileFinding auditTables(const CalibrationPlaces& places) {
  const std::string folders = format("{:s}/025 and 050", places.directory);
  for (const char* reference : {"025", "050"}) {
    for (const auto& path :
         tableFiles(format("{:s}/{:s}", places.directory, std::string(reference)), places)) {
      const auto fault = faultOfTable(path, places, kRawLevels);
      if (!fault.empty()) return {State::Bad, path, fault};
    }
  }
  const auto index = scanFlatFieldTables(places);
  if (index.points.empty()) return {State::Absent, folders, ""};
  const std::string range =
      format("{:d} sensor temperature{:s}, {:.1f} to {:.1f} C", index.points.size(),
             index.points.size() == 1 ? "" : "s", index.temperatures.front(), index.temperatures.back());
  if (!index.twoReferences())
    return {State::Odd, folders, "of one reference only, so no temperatures: " + range};
  return {State::Good, folders, range};
}

bool finite(std::span<const ffcPixelPolyfit> table) {
  return std::all_of(table.begin(), table.end(), [](const ffcPixelPolyfit& pixel) {
    const float sum = pixel.g0 + pixel.g1 + pixel.g2 + pixel.o0 + pixel.o1 + pixel.o2 + pixel.o3;
    return std::isfinite(sum);  // no coefficient is so large that the sum alone would overflow
  });
}

FileFinding auditPolynomials(const CalibrationPlaces& places) {
  const std::string metadata = places.file("pffc", ".pffc");
  const std::string gain = places.file("pffc", ".gpffc"), offset = places.file("pffc", ".opffc");
  if (!regularFileSize(metadata)) {
    for (const auto& path : {gain, offset}) {
      if (regularFileSize(path)) return {State::Bad, path, "there is no .pffc file to go with it"};
    }
    return {State::Absent, metadata, ""};
  }
  float lowK = 0.0f, highK = 0.0f;
  std::string formula;
  if (!loadPFFCMetadata(lowK, highK, formula, metadata))
    return {State::Bad, metadata, "no two temperatures and a formula"};
  if (polynomialModel(formula) == PolynomialModel::unknown)
    return {State::Bad, metadata, format("it names no known formula: {:s}", formula)};
  std::vector<ffcPixelPolyfit> table(std::size_t{places.width} * places.height);
  for (const auto& [load, path] :
       {std::pair{&calibration::loadPFFCGain, gain}, std::pair{&calibration::loadPFFCOffset, offset}}) {
    if (!load(table.data(), formula, places.width, places.height, path))
      return {State::Bad, path, format("not readable as coefficients of this camera ({:s})", sizeText(path))};
    if (!finite(table)) return {State::Bad, path, "a coefficient in it is no finite number"};
  }
  const std::string range = format("{:.1f} to {:.1f} C, {:s}", static_cast<double>(lowK) - 273.15,
                                   static_cast<double>(highK) - 273.15, formula);
  return {lowK < highK ? State::Good : State::Odd, metadata, range};
}

FileFinding auditThermographic(const CalibrationPlaces& places, float rangeMinK, float rangeSpanK) {
  const std::string path = places.thermographicFile(rangeMinK, rangeSpanK);
  if (!regularFileSize(path)) return {State::Absent, path, ""};
  std::vector<std::uint16_t> levels(calibration::kThermographicEntries);
  if (!calibration::loadThermographicTable(
          std::span<std::uint16_t, calibration::kThermographicEntries>(levels.data(), levels.size()), path,
          LOG_HERE))
    return {State::Bad, path, format("not {:d} levels ({:s})", levels.size(), sizeText(path))};
  if (!std::is_sorted(levels.begin(), levels.end()))
    return {State::Odd, path, "its levels fall somewhere, where they should rise"};
  return {State::Good, path, format("{:d} levels", levels.size())};
}

}  // namespace

CalibrationAudit auditCalibration(const CalibrationPlaces& places, float rangeMinK, float rangeSpanK) {
  CalibrationAudit audit;
  audit.defects = auditDefects(places);
  audit.manualTable = auditManualTable(places);
  audit.tables = auditTables(places);
  audit.polynomials = auditPolynomials(places);
  audit.thermographic = auditThermographic(places, rangeMinK, rangeSpanK);
  return audit;
}

}  // namespace tools
