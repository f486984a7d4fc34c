#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// How far beyond the temperatures of its tables a pair stays in force.
constexpr float kTableHysteresisC = 0.3f;

/// Where a camera's calibration files are looked for.
struct CalibrationPlaces {
  std::string directory;           ///< the data directory
  std::vector<std::string> names;  ///< the model's name, then the sensor's
  std::uint64_t serialNumber = 0;
  std::uint16_t width = 0;  ///< pixels, for the files' sizes
  std::uint16_t height = 0;

  /// "directory/NAME_SERIAL" + extension for the first name that has such a file, else for the first name.
  std::string file(const std::string& folder, const std::string& extension) const;
  /// Of the thermographic table for a scale of `spanK` kelvin from `minK` on.
  std::string thermographicFile(float minK, float spanK) const;
};

/// Two points of an index, by position; the same one twice when there is only one.
struct TablePair {
  std::size_t low = 0;
  std::size_t high = 0;
  friend bool operator==(const TablePair&, const TablePair&) = default;
};

/// The flat-field tables that a camera has on disk: sensor temperatures with the files taken there.
struct FlatFieldIndex {
  /// One sensor temperature. `slot1` is empty when one slot only is used.
  struct Point {
    float temperatureC = 0.0f;
    std::string slot0;
    std::string slot1;
  };

  std::vector<Point> points;        ///< coldest first
  std::vector<float> temperatures;  ///< of the points, for `chooseTables`, which frames may ask one by one
  std::optional<TablePair> loaded;  ///< the pair in memory; a calibration may have replaced a low table of it
  std::int64_t failedUs = 0;        ///< monotonic time at which the folders were last found wanting

  bool twoReferences() const { return !points.empty() && !points.front().slot1.empty(); }
};

/// Looks through the folders "025" and "050" of the data directory, then of the working directory's "data".
/// Reads sizes and last bytes only; files of another size, with N 0 or without a temperature do not count.
/// With tables in both folders the points are those that both have.
FlatFieldIndex scanFlatFieldTables(const CalibrationPlaces& places);

/// The tables for a sensor temperature: the warmest at or below it and the coldest above; outside of all, the
/// two nearest. The current pair stays while the temperature is within 0.3 degC of its range.
/// temperatures: ascending, degrees Celsius.
std::optional<TablePair> chooseTables(std::span<const float> temperatures, float temperature,
                                      std::optional<TablePair> current);
