#include "acquisition/backends/simulated/fileScene.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <string>

#include "acquisition/backends/simulated/optics.h"
#include "acquisition/backends/simulated/radiance.h"
#include "common/filePath.h"
#include "common/format.h"

namespace simulation {
namespace {

constexpr std::size_t kMostPictures = 256;
constexpr std::size_t kMostBytes = std::size_t{512}
                                   << 20;  // of resampled pictures; later ones are not played
constexpr std::size_t kValues = 65536;

/// The values below which 0.1 and 99.9 % of all pixels lie: dead pixels must not set the range.
std::array<double, 2> usualRange(const std::vector<GreyPicture>& pictures) {
  std::vector<std::uint64_t> histogram(kValues, 0);
  std::uint64_t total = 0;
  for (const auto& picture : pictures) {
    for (const auto value : picture.values) ++histogram[value];
    total += picture.values.size();
  }
  const auto percentile = [&](double share) {
    const double wanted = share * static_cast<double>(total);
    double sum = 0.0;
    for (std::size_t value = 0; value < kValues; ++value) {
      sum += static_cast<double>(histogram[value]);
      if (sum > wanted) return static_cast<double>(value);
    }
    return static_cast<double>(kValues - 1);
  };
  return {percentile(0.001), percentile(0.999)};
}

/// The radiance that each of the 65,536 values stands for.
std::vector<float> radianceTable(const SceneSpec& spec, const CameraModel& model) {
  std::array<double, 2> range{};
  if (spec.values == FileValues::Fit) range = usualRange(*spec.pictures);
  const double span = std::max(1.0, range[1] - range[0]);
  std::vector<float> table(kValues);
  for (std::size_t value = 0; value < kValues; ++value) {
    const double scaled = static_cast<double>(value) * spec.scale + spec.offset;
    double result = 0.0;
    if (spec.values == FileValues::Counts) {
      result = (scaled - model.baseCounts) / model.responsivity;
    } else if (spec.values == FileValues::Kelvin) {
      result = radianceOf(scaled);
    } else {
      const double part = std::clamp((static_cast<double>(value) - range[0]) / span, 0.0, 1.0);
      const double celsius = spec.fitLowCelsius + part * (spec.fitHighCelsius - spec.fitLowCelsius);
      result = radianceOf(celsius + 273.15);
    }
    table[value] = static_cast<float>(result);
  }
  return table;
}

/// Where a sensor position lies in a picture: two neighbouring samples and the second one's share.
struct Tap {
  std::uint32_t first = 0, second = 0;
  float share = 0.0f;
};

/// Pixel centres are aligned, the middle of the sensor sees the middle of the picture.
std::vector<Tap> makeTaps(std::uint32_t sensor, std::uint32_t picture, double step) {
  std::vector<Tap> taps(sensor);
  for (std::uint32_t i = 0; i < sensor; ++i) {
    const double centred = (i + 0.5 - 0.5 * sensor) * step + 0.5 * picture - 0.5;
    const double position = std::clamp(centred, 0.0, static_cast<double>(picture - 1));
    const double whole = std::floor(position);
    taps[i].first = static_cast<std::uint32_t>(whole);
    taps[i].second = std::min(taps[i].first + 1, picture - 1);
    taps[i].share = static_cast<float>(position - whole);
  }
  return taps;
}

}  // namespace

FileScene::FileScene(const SceneSpec& spec, const CameraModel& model)
    : width(model.width), holdFrames(std::max(1u, spec.holdFrames)) {
  const auto table = radianceTable(spec, model);
  pictures.reserve(spec.pictures->size());
  std::vector<float> sharp(std::size_t{model.width} * model.height);
  const std::size_t most = std::max<std::size_t>(1, kMostBytes / (sharp.size() * sizeof(float)));
  for (const auto& picture : *spec.pictures) {
    if (pictures.size() == most) break;
    // The smaller of the two ratios fills the sensor.
    const double step = std::min(static_cast<double>(picture.width) / model.width,
                                 static_cast<double>(picture.height) / model.height);
    const auto columns = makeTaps(model.width, picture.width, step);
    const auto rows = makeTaps(model.height, picture.height, step);
    for (std::uint32_t y = 0; y < model.height; ++y) {
      const auto* upper = &picture.values[std::size_t{rows[y].first} * picture.width];
      const auto* lower = &picture.values[std::size_t{rows[y].second} * picture.width];
      for (std::uint32_t x = 0; x < model.width; ++x) {
        const auto& tap = columns[x];
        const float top =
            table[upper[tap.first]] + tap.share * (table[upper[tap.second]] - table[upper[tap.first]]);
        const float bottom =
            table[lower[tap.first]] + tap.share * (table[lower[tap.second]] - table[lower[tap.first]]);
        sharp[std::size_t{y} * model.width + x] = top + rows[y].share * (bottom - top);
      }
    }
    auto& seen = pictures.emplace_back(sharp.size());
    blur({sharp.data(), model.width, model.height}, {seen.data(), model.width, model.height},
         {0, 0, model.width, model.height});
  }
}

RadianceView FileScene::at(std::uint64_t frame) {
  return {pictures[frame / holdFrames % pictures.size()].data(), width};
}

std::string loadPictures(const std::string& path, std::shared_ptr<const std::vector<GreyPicture>>& pictures) {
  std::vector<std::string> files;
  std::error_code error;
  if (std::filesystem::is_directory(filePath(path), error)) {
    for (std::filesystem::directory_iterator entry(filePath(path), error), end; !error && entry != end;
         entry.increment(error)) {
      if (entry->path().extension() == ".pgm") files.push_back(pathText(entry->path()));
    }
    if (files.empty()) return format("scene folder '{:s}' holds no PGM file", path);
    if (files.size() > kMostPictures)
      return format("scene folder '{:s}' holds more than {:d} files", path, kMostPictures);
    std::sort(files.begin(), files.end());
  } else {
    files.push_back(path);
  }
  auto loaded = std::make_shared<std::vector<GreyPicture>>();
  for (const auto& file : files) {
    if (const auto reason = readPgm(file, loaded->emplace_back()); !reason.empty()) {
      return format("scene file '{:s}': {:s}", file, reason);
    }
  }
  pictures = std::move(loaded);
  return {};
}

}  // namespace simulation
