#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "common/rgb.h"
#include "common/views.h"

/// A plain image buffer that owns its pixels: width x height elements, row-major, no padding;
/// pixel (x, y) is element y * width + x. An empty image, such as one that was moved from, has a null `data`
/// and the size 0 x 0.
template <typename T>
struct image {
  T* data = nullptr;  ///< the pixels, owned by `storage`
  std::uint16_t width = 0;
  std::uint16_t height = 0;
  std::unique_ptr<T[]> storage;
  std::uint32_t sizeBytes = 0;  ///< width * height * sizeof(T)

  image() = default;
  image(image&& other) noexcept { swap(other); }
  image& operator=(image&& other) noexcept {
    image(std::move(other)).swap(*this);
    return *this;
  }
  image(std::uint16_t imageWidth, std::uint16_t imageHeight) { allocate(imageWidth, imageHeight); }

  /// Gives the image width x height zeroed pixels; the earlier ones are freed.
  void allocate(std::uint16_t imageWidth, std::uint16_t imageHeight) {
    storage = std::make_unique<T[]>(std::size_t{imageWidth} * imageHeight);
    data = storage.get();
    width = imageWidth;
    height = imageHeight;
    sizeBytes = static_cast<std::uint32_t>(pixelCount() * sizeof(T));
  }
  void release() { *this = image(); }
  void swap(image& other) noexcept {
    std::swap(data, other.data);
    std::swap(width, other.width);
    std::swap(height, other.height);
    std::swap(storage, other.storage);
    std::swap(sizeBytes, other.sizeBytes);
  }

  std::size_t pixelCount() const { return std::size_t{width} * height; }
  bool empty() const { return pixelCount() == 0; }
  void clear() { std::fill_n(data, pixelCount(), T{}); }
  ImageView<T> view() { return {data, width, height}; }
  ImageView<const T> view() const { return {data, width, height}; }
};

/// Copies the pixels of `in` when both images hold the same number of pixels; otherwise logs
/// "Input and output images mismatch" and leaves `out` as it is. Allocates nothing.
template <typename T>
void copyImage(const image<T>& in, image<T>& out);

extern template void copyImage<unsigned short>(const image<unsigned short>&, image<unsigned short>&);
