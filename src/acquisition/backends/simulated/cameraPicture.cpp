// The picture side of a simulated camera: one frame in the layout of the stream.
#include <algorithm>
#include <cstddef>

#include "acquisition/backends/simulated/SimulatedCamera.h"
#include "acquisition/backends/simulated/radiance.h"

namespace simulation {
namespace {

constexpr std::uint32_t kReferenceMargin = 4;  // columns beside the picture: two of reference, two of junk
constexpr std::uint8_t kJunk[2] = {0xA5, 0x5A};
constexpr double kShutterGradientK = 0.05;  // from the left to the right edge

void putPixel(std::span<std::uint8_t> row, std::uint32_t x, std::uint16_t count, std::uint8_t noiseBits) {
  row[2 * std::size_t{x}] = static_cast<std::uint8_t>(count >> 6);
  row[2 * std::size_t{x} + 1] = static_cast<std::uint8_t>((count & 63) << 2 | noiseBits);
}

}  // namespace

RadianceView SimulatedCamera::look() {
  if (shutterClosed()) {
    for (std::size_t x = 0; x < shutterRow.size(); ++x) {
      const double part = static_cast<double>(x) / static_cast<double>(shutterRow.size() - 1);
      shutterRow[x] = static_cast<float>(radianceOf(shownHousingK + kShutterGradientK * part));
    }
    return {shutterRow.data(), 0};
  }
  return scene->at(shownFrame);
}

void SimulatedCamera::render(std::span<std::uint8_t> buffer, const Layout& current) {
  const std::size_t rowBytes = 2 * std::size_t{current.width};
  if (sceneSpec.kind == SceneKind::Coded && !shutterClosed()) {
    renderCoded(buffer, current);
  } else if (raw) {
    renderRaw(buffer, current);
  } else {
    const auto radiance = look();
    const bool references = spec.model->temperature == TemperatureFormat::ReferenceColumns;
    const std::uint32_t left = references ? kReferenceMargin : 0;
    const std::size_t room = rowBytes > 2 * left ? rowBytes - 2 * left : 0;
    for (std::uint32_t y = 0; y < current.height; ++y) {
      const auto row = buffer.subspan(y * rowBytes, rowBytes);
      if (y >= spec.model->height || room < scratchRow.size()) {
        std::fill(row.begin(), row.end(), kJunk[0]);
      } else if (room > scratchRow.size()) {
        std::fill(row.begin() + 2 * left, row.end(), kJunk[0]);
      }
      if (y >= spec.model->height) continue;
      if (room >= scratchRow.size()) {
        detector->readRow(y, radiance, row.subspan(2 * left, scratchRow.size()));
      } else {
        detector->readRow(y, radiance, scratchRow);
        std::copy_n(scratchRow.begin(), room, row.begin() + 2 * left);
      }
    }
  }
  writeTemperature(buffer, current);
}

void SimulatedCamera::renderRaw(std::span<std::uint8_t> buffer, const Layout& current) {
  const auto& model = *spec.model;
  const bool references = model.temperature == TemperatureFormat::ReferenceColumns;
  const std::uint32_t left = references ? kReferenceMargin : 0;
  const auto counts = raw->at(shownFrame, shutterClosed());
  std::fill(buffer.begin(), buffer.begin() + 2 * std::ptrdiff_t{current.width} * current.height, kJunk[0]);
  for (std::uint32_t y = 0; y < std::min(current.height, model.height); ++y) {
    const auto row = buffer.subspan(2 * std::size_t{current.width} * y, 2 * std::size_t{current.width});
    for (std::uint32_t x = left; x < std::min(current.width, model.width + left); ++x) {
      putPixel(row, x, counts[std::size_t{y} * model.width + x - left],
               static_cast<std::uint8_t>((x + y) & 3));
    }
  }
}

void SimulatedCamera::renderCoded(std::span<std::uint8_t> buffer, const Layout& current) {
  const bool references = spec.model->temperature == TemperatureFormat::ReferenceColumns;
  const std::uint32_t left = references ? kReferenceMargin : 0;
  for (std::uint32_t y = 0; y < current.height; ++y) {
    const auto row = buffer.subspan(2 * std::size_t{current.width} * y, 2 * std::size_t{current.width});
    for (std::uint32_t x = 0; x < left; ++x) putPixel(row, x, 0, 0);
    for (std::uint32_t x = left; x < current.width; ++x) {
      // Two arbitrary low bits: a reader must drop them.
      putPixel(row, x, codedCount(x - left, y, shownFrame), static_cast<std::uint8_t>((x + y) & 3));
    }
  }
}

void SimulatedCamera::writeTemperature(std::span<std::uint8_t> buffer, const Layout& current) {
  const auto word = temperatureWord(spec.model->temperature, shownCelsius);
  const std::size_t rowBytes = 2 * std::size_t{current.width};
  if (spec.model->temperature != TemperatureFormat::ReferenceColumns) {
    const std::size_t last = rowBytes * current.height - 2;
    buffer[last] = static_cast<std::uint8_t>(word & 0xFF);
    buffer[last + 1] = static_cast<std::uint8_t>(word >> 8);
    return;
  }
  if (current.width < 2 * kReferenceMargin) return;
  for (std::uint32_t y = 0; y < current.height; ++y) {
    const auto row = buffer.subspan(y * rowBytes, rowBytes);
    for (const std::uint32_t x : {0u, 1u, current.width - 2, current.width - 1}) putPixel(row, x, word, 0);
    for (const std::uint32_t x : {2u, 3u, current.width - 4, current.width - 3}) {
      row[2 * std::size_t{x}] = kJunk[0];
      row[2 * std::size_t{x} + 1] = kJunk[1];
    }
  }
}

}  // namespace simulation
