#pragma once

#include <algorithm>
#include <cstdint>

namespace kernels {

/// Rows [first, end) of an image that one task works on; first == end is nothing to do.
struct RowBand {
  std::uint32_t first = 0;
  std::uint32_t end = 0;

  constexpr bool empty() const { return first >= end; }
  friend constexpr bool operator==(const RowBand&, const RowBand&) = default;
};

/// The correction stages' split: task `task` of `tasks` gets ceil(height / tasks) rows, the last ones fewer
/// or none. 0 tasks count as one that takes up to 65535 rows.
constexpr RowBand rowBand(std::uint32_t task, std::uint32_t tasks, std::uint32_t height) {
  const std::uint64_t rows = tasks == 0 ? 65535 : (std::uint64_t{height} + tasks - 1) / tasks;
  const auto within = [height](std::uint64_t row) {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(row, height));
  };
  return {within(task * rows), within((task + std::uint64_t{1}) * rows)};
}

/// The colour frame's split: every stripe gets height / stripes rows, fraction dropped. The remaining rows
/// belong to no stripe and keep their colours, on purpose. 0 stripes give nothing.
constexpr RowBand stripeBand(std::uint32_t stripe, std::uint32_t stripes, std::uint32_t height) {
  if (stripe >= stripes) return {};
  const std::uint32_t rows = height / stripes;
  return {stripe * rows, (stripe + 1) * rows};
}

}  // namespace kernels
