#include "tools/common/stageFigures.h"

#include <algorithm>
#include <cmath>

namespace tools {
namespace {

constexpr std::size_t kHalfWindow = 8;  // 17 columns

struct Spread {
  double count = 0.0, sum = 0.0, squares = 0.0;
  void add(double value) { count += 1.0, sum += value, squares += value * value; }
  double mean() const { return count > 0.0 ? sum / count : 0.0; }
  double sigma() const {
    return count > 0.0 ? std::sqrt(std::max(squares / count - mean() * mean(), 0.0)) : 0.0;
  }
};

}  // namespace

double columnSpread(std::span<const double> means) {
  Spread result;
  for (std::size_t column = 0; column < means.size(); ++column) {
    if (std::isnan(means[column])) continue;
    const std::size_t low = column < kHalfWindow ? 0 : column - kHalfWindow;
    const std::size_t high = std::min(column + kHalfWindow + 1, means.size());
    Spread window;
    for (std::size_t other = low; other < high; ++other) {
      if (!std::isnan(means[other])) window.add(means[other]);
    }
    result.add(means[column] - window.mean());
  }
  return result.sigma();
}

void StageRecorder::add(std::span<const std::uint16_t> levels) {
  if (frames++ == 0) {
    std::copy(levels.begin(), levels.end(), first.begin());
    std::fill(sums.begin(), sums.end(), 0);
    std::fill(squares.begin(), squares.end(), 0.0f);
    return;
  }
  for (std::size_t i = 0; i < first.size(); ++i) {
    const std::int32_t difference = std::int32_t{levels[i]} - first[i];
    sums[i] += difference;
    squares[i] += static_cast<float>(difference) * static_cast<float>(difference);
  }
}

StageFigures StageRecorder::figures(std::span<const PixelKind> kinds, std::size_t width,
                                    double mkPerLevel) const {
  const double count = frames;
  Spread good, all;
  double variances = 0.0;
  std::vector<Spread> columns(width);
  for (std::size_t i = 0; i < first.size(); ++i) {
    if (kinds[i] == PixelKind::NoPicture) continue;
    const double sum = sums[i];
    const double level = first[i] + sum / count;
    all.add(level);
    if (kinds[i] != PixelKind::Good) continue;
    good.add(level);
    columns[i % width].add(level);
    variances += (static_cast<double>(squares[i]) - sum * sum / count) / (count - 1.0);
  }
  std::vector<double> means(width, std::nan(""));
  for (std::size_t column = 0; column < width; ++column) {
    if (columns[column].count > 0.0) means[column] = columns[column].mean();
  }
  // The mean of n frames keeps an n-th of the noise's variance, which is no pattern of the detector's.
  const double variance = good.count > 0.0 ? variances / good.count : 0.0;
  const double pattern = std::sqrt(std::max(good.sigma() * good.sigma() - variance / count, 0.0));
  return {.spatialMk = pattern * mkPerLevel,
          .spatialAllMk = all.sigma() * mkPerLevel,
          .columnMk = columnSpread(means) * mkPerLevel,
          .temporalMk = std::sqrt(variance) * mkPerLevel,
          .meanLevel = good.mean()};
}

}  // namespace tools
