#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

/// Pixels of an image, borrowed: what kernels work on. Row-major without padding.
template <typename T>
struct ImageView {
  T* data = nullptr;
  std::uint32_t width = 0;
  std::uint32_t height = 0;

  std::size_t pixelCount() const { return std::size_t{width} * height; }
  T* row(std::uint32_t y) const { return data + std::size_t{y} * width; }
  T& at(std::uint32_t x, std::uint32_t y) const { return row(y)[x]; }
  std::span<T> pixels() const { return {data, pixelCount()}; }
  operator ImageView<const T>() const { return {data, width, height}; }
};
