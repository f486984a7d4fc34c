#pragma once

#include <cstdint>
#include <span>

namespace tools {

/// Extremes and mean of a frame.
struct FrameFigures {
  unsigned min = 0;
  double mean = 0.0;
  unsigned max = 0;
};

/// Of its values; all zero for an empty frame.
template <typename T>
FrameFigures figuresOf(std::span<const T> values) {
  if (values.empty()) return {};
  FrameFigures figures{values[0], 0.0, values[0]};
  std::uint64_t sum = 0;
  for (const T value : values) {
    if (value < figures.min) figures.min = value;
    if (value > figures.max) figures.max = value;
    sum += value;
  }
  figures.mean = static_cast<double>(sum) / static_cast<double>(values.size());
  return figures;
}

}  // namespace tools
