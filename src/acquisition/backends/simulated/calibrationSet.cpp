#include "acquisition/backends/simulated/calibrationSet.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <span>
#include <system_error>
#include <vector>

#include "acquisition/backends/simulated/calibrationFields.h"
#include "calibration/badPixels.h"
#include "calibration/ffcFile.h"
#include "calibration/polynomialFiles.h"
#include "calibration/thermographicFile.h"
#include "common/filePath.h"
#include "common/format.h"
#include "core/logger.h"

namespace simulation {
namespace {

constexpr double kBenchCelsius[] = {5.0, 15.0, 25.0, 35.0, 45.0};  // of the detector
constexpr float kBenchMinK = 278.15f, kBenchMaxK = 318.15f;        // the same as a range

struct Reference {
  const char* folder;
  double blackBodyK;
};
constexpr Reference kReferences[] = {{"025", kLowBlackBodyK}, {"050", kHighBlackBodyK}};

/// Where the files of one camera lie.
struct CalibrationPaths {
  CalibrationPaths(const CameraSpec& camera, const std::string& dataDirectory)
      : directory(dataDirectory), name(camera.model->name), serial(camera.serialNumber) {}

  std::string table(const Reference& reference, double celsius) const {
    return format("{:s}/{:s}/{:s}_{:d}_{:02.0f}.ffc", directory, reference.folder, name, serial, celsius);
  }
  std::string defects() const { return format("{:s}/dpc/{:s}_{:d}.dpc", directory, name, serial); }
  std::string thermographic() const {
    return format("{:s}/{:s}_{:03.2f}_{:03.2f}_{:03d}_{:03d}.tco", directory, name, kRangeMinK, kRangeSpanK,
                  25, 50);
  }
  std::string polynomial(const char* extension) const {
    return format("{:s}/pffc/{:s}_{:d}{:s}", directory, name, serial, extension);
  }

  std::string directory, name;
  std::uint32_t serial = 0;
};

bool createDirectories(const std::string& directory, const CalibrationSetOptions& options) {
  std::vector<std::string> folders{"dpc"};
  if (options.tables) folders.insert(folders.end(), {"025", "050"});
  if (options.polynomial != PolynomialFiles::None) folders.push_back("pffc");
  for (const auto& folder : folders) {
    std::error_code failure;
    std::filesystem::create_directories(filePath(directory) / folder, failure);
    if (!failure) continue;
    logger::error(format("Cannot create directory '{:s}/{:s}': {:s}", directory, folder, failure.message()),
                  LOG_HERE);
    return false;
  }
  return true;
}

bool writeTables(const CameraSpec& camera, const FixedPattern& fixed, std::span<const Defect> defects,
                 const CalibrationPaths& paths) {
  for (const auto& reference : kReferences) {
    for (const double celsius : kBenchCelsius) {
      const auto table = benchTable(*camera.model, fixed, defects, reference.blackBodyK, celsius);
      if (!saveFFC(table, kBenchFrames, static_cast<float>(celsius), paths.table(reference, celsius)))
        return false;
    }
  }
  return true;
}

bool writePolynomials(const CameraSpec& camera, const FixedPattern& fixed, PolynomialFiles form,
                      const CalibrationPaths& paths) {
  const auto table = benchPolynomials(*camera.model, fixed);
  const auto width = static_cast<unsigned short>(camera.model->width);
  const auto height = static_cast<unsigned short>(camera.model->height);
  const auto gain = paths.polynomial(".gpffc"), offset = paths.polynomial(".opffc");
  if (form == PolynomialFiles::CubicBinary) {
    return saveBinaryPFFCP2GainData(table.data(), width, height, gain) &&
           saveBinaryPFFCP3OffsetData(table.data(), width, height, offset) &&
           savePFFCMetadata(kBenchMinK, kBenchMaxK, std::string(kCubicFormula), paths.polynomial(".pffc"));
  }
  const std::string formula(kQuadraticOffsetFormula);
  return savePFFCP1GainData(table.data(), width, height, gain) &&
         savePFFCP2OffsetData(table.data(), formula, width, height, offset) &&
         savePFFCMetadata(kBenchMinK, kBenchMaxK, formula, paths.polynomial(".pffc"));
}

/// Whether a file has so many bytes; 0 stands for any number but none.
bool hasBytes(const std::string& path, std::uint64_t bytes) {
  std::error_code failure;
  const auto size = std::filesystem::file_size(filePath(path), failure);
  return !failure && (bytes == 0 ? size > 0 : size == bytes);
}

}  // namespace

bool hasCalibrationSet(const CameraSpec& camera, const std::string& directory,
                       const CalibrationSetOptions& options) {
  const CalibrationPaths paths(camera, directory);
  const std::uint32_t width = camera.model->width, height = camera.model->height;
  const std::uint64_t pixels = std::uint64_t{width} * height;
  if (!hasBytes(paths.defects(), pixels)) return false;
  if (camera.scene.isRaw()) return true;
  if (!hasBytes(paths.thermographic(), 0)) return false;
  if (options.tables) {
    for (const auto& reference : kReferences) {
      for (const double celsius : kBenchCelsius) {
        const auto bytes = calibration::ffcFileSize(width, height);
        if (!hasBytes(paths.table(reference, celsius), bytes)) return false;
      }
    }
  }
  if (options.polynomial == PolynomialFiles::None) return true;
  const bool binary = options.polynomial == PolynomialFiles::CubicBinary;
  return hasBytes(paths.polynomial(".gpffc"), binary ? 12 * pixels : 0) &&
         hasBytes(paths.polynomial(".opffc"), binary ? 16 * pixels : 0) &&
         hasBytes(paths.polynomial(".pffc"), 0);
}

bool writeCalibrationSet(const CameraSpec& camera, const std::string& directory,
                         const CalibrationSetOptions& options) {
  // Nobody put the detector of a raw scene before black bodies.
  const bool raw = camera.scene.isRaw();
  if (!createDirectories(directory, raw ? CalibrationSetOptions{.tables = false} : options)) return false;
  const CalibrationPaths paths(camera, directory);
  const auto defects = camera.defectivePixels();
  if (!saveBadPixelsMap(benchDefects(*camera.model, defects),
                        static_cast<unsigned short>(camera.model->width),
                        static_cast<unsigned short>(camera.model->height), paths.defects()))
    return false;
  if (raw) return true;
  const auto fixed = makeFixedPattern(*camera.model, camera.detectorOptions());
  const auto thermographic = benchThermographicTable();
  if (!calibration::saveThermographicTable(
          std::span(thermographic).first<calibration::kThermographicEntries>(), paths.thermographic()))
    return false;
  if (options.tables && !writeTables(camera, fixed, defects, paths)) return false;
  if (options.polynomial != PolynomialFiles::None &&
      !writePolynomials(camera, fixed, options.polynomial, paths))
    return false;
  // A table's writer only says that the file could be opened: a full disk shows here.
  if (hasCalibrationSet(camera, directory, options)) return true;
  logger::error(format("Calibration files in '{:s}' are incomplete", directory), LOG_HERE);
  return false;
}

bool writeCalibrationSet(const SimulatedCamera& camera, const std::string& directory,
                         const CalibrationSetOptions& options) {
  return writeCalibrationSet(camera.description(), directory, options);
}

}  // namespace simulation
