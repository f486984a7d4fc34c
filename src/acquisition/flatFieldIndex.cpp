#include "acquisition/flatFieldIndex.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "calibration/ffcFile.h"
#include "common/fileBytes.h"
#include "common/filePath.h"
#include "common/format.h"

namespace fs = std::filesystem;

namespace {

/// Tables of both references count as taken at one sensor temperature when they differ by no more.
constexpr float kSameTemperatureC = 0.5f;
/// The two references of the tables, in degrees Celsius; part of the thermographic table's name.
constexpr int kReferencesC[] = {25, 50};

struct TableFile {
  float temperatureC;
  std::string path;
};

void sortByTemperature(std::vector<TableFile>& files) {
  std::sort(files.begin(), files.end(), [](const TableFile& a, const TableFile& b) {
    return a.temperatureC != b.temperatureC ? a.temperatureC < b.temperatureC : a.path < b.path;
  });
  const auto sameTemperature = [](const TableFile& a, const TableFile& b) {
    return a.temperatureC == b.temperatureC;
  };
  files.erase(std::unique(files.begin(), files.end(), sameTemperature), files.end());
}

std::vector<TableFile> tablesIn(const std::string& folder, const std::string& prefix,
                                const CalibrationPlaces& places) {
  std::vector<TableFile> found;
  std::error_code failure;
  fs::directory_iterator entry(filePath(folder), failure);
  for (; !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
    const std::string name = pathText(entry->path().filename());
    if (name.compare(0, prefix.size(), prefix) != 0 || entry->path().extension() != ".ffc") continue;
    const std::string path = format("{:s}/{:s}", folder, name);
    std::uint16_t frames = 0;
    float temperature = 0.0f;
    if (calibration::peekFFC(path, places.width, places.height, frames, temperature))
      found.push_back({temperature, path});
  }
  sortByTemperature(found);
  return found;
}

/// The tables of one reference, from the first place that has any.
std::vector<TableFile> findTables(const char* reference, const CalibrationPlaces& places) {
  std::vector<std::string> directories{places.directory};
  if (places.directory != "data") directories.emplace_back("data");
  for (const std::string& directory : directories) {
    for (const std::string& name : places.names) {
      auto found = tablesIn(format("{:s}/{:s}", directory, std::string(reference)),
                            format("{:s}_{:d}_", name, places.serialNumber), places);
      if (!found.empty()) return found;
    }
  }
  return {};
}

/// Every table of slot 0 with the nearest one of slot 1, where that is near enough.
std::vector<FlatFieldIndex::Point> commonPoints(const std::vector<TableFile>& slot0,
                                                const std::vector<TableFile>& slot1) {
  std::vector<FlatFieldIndex::Point> points;
  for (const TableFile& first : slot0) {
    const auto distance = [&](const TableFile& file) {
      return std::fabs(file.temperatureC - first.temperatureC);
    };
    const auto nearest =
        std::min_element(slot1.begin(), slot1.end(),
                         [&](const TableFile& a, const TableFile& b) { return distance(a) < distance(b); });
    if (nearest != slot1.end() && distance(*nearest) <= kSameTemperatureC)
      points.push_back({first.temperatureC, first.path, nearest->path});
  }
  return points;
}

}  // namespace

std::string CalibrationPlaces::file(const std::string& folder, const std::string& extension) const {
  const auto pathFor = [&](const std::string& name) {
    return format("{:s}/{:s}/{:s}_{:d}{:s}", directory, folder, name, serialNumber, extension);
  };
  for (const std::string& name : names) {
    const std::string path = pathFor(name);
    if (regularFileSize(path)) return path;
  }
  return pathFor(names.empty() ? std::string() : names.front());
}

std::string CalibrationPlaces::thermographicFile(float minK, float spanK) const {
  return format("{:s}/{:s}_{:03.2f}_{:03.2f}_{:03d}_{:03d}.tco", directory,
                names.empty() ? std::string() : names.front(), minK, spanK, kReferencesC[0], kReferencesC[1]);
}

FlatFieldIndex scanFlatFieldTables(const CalibrationPlaces& places) {
  const auto at25 = findTables("025", places);
  const auto at50 = findTables("050", places);
  FlatFieldIndex index;
  index.points = commonPoints(at25, at50);
  if (index.points.empty()) {
    for (const TableFile& file : at25.empty() ? at50 : at25)
      index.points.push_back({file.temperatureC, file.path, ""});
  }
  for (const auto& point : index.points) index.temperatures.push_back(point.temperatureC);
  return index;
}

std::optional<TablePair> chooseTables(std::span<const float> temperatures, float temperature,
                                      std::optional<TablePair> current) {
  const std::size_t count = temperatures.size();
  if (count == 0 || std::isnan(temperature)) return std::nullopt;
  if (current && current->low < count && current->high < count &&
      temperature >= temperatures[current->low] - kTableHysteresisC &&
      temperature <= temperatures[current->high] + kTableHysteresisC) {
    return current;
  }
  if (count == 1) return TablePair{0, 0};
  const auto above = std::upper_bound(temperatures.begin(), temperatures.end(), temperature);
  const auto high =
      std::clamp<std::ptrdiff_t>(above - temperatures.begin(), 1, static_cast<std::ptrdiff_t>(count) - 1);
  return TablePair{static_cast<std::size_t>(high) - 1, static_cast<std::size_t>(high)};
}
