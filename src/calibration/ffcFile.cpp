#include "calibration/ffcFile.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <exception>
#include <numeric>
#include <optional>
#include <vector>

#include "common/fileBytes.h"
#include "common/format.h"
#include "common/littleEndian.h"
#include "common/numerics.h"
#include "core/logger.h"

namespace {

constexpr std::array<std::uint8_t, 16> kSignature = {'G',  '6', ' ', ':', '_', ' ',  'S', ';',
                                                     '\\', ':', '+', 'P', '4', '\\', 'y', 0};
constexpr std::size_t kScalarBytes = 6;  // N, temperature

std::span<unsigned int> pixelsOf(image<unsigned int>& table) {
  return {table.data, table.empty() ? 0 : table.pixelCount()};
}
std::span<const unsigned int> pixelsOf(const image<unsigned int>& table) {
  return {table.data, table.empty() ? 0 : table.pixelCount()};
}

/// Takes the low `size` bytes of a number from the front of `bytes`. When they end within it, only its first
/// bytes change, as a short read from a stream would have it.
void take(std::span<const std::uint8_t>& bytes, std::size_t size, std::uint32_t& value) {
  const std::size_t taken = std::min(size, bytes.size());
  for (std::size_t i = 0; i < taken; ++i) {
    const std::size_t shift = 8 * i;
    value = (value & ~(0xFFu << shift)) | std::uint32_t{bytes[i]} << shift;
  }
  bytes = bytes.subspan(taken);
}

FileWrite writeTable(std::span<const unsigned int> pixels, unsigned short frameCount, float temperature,
                     const std::string& path) {
  try {
    std::vector<std::uint8_t> bytes(kSignature.size() + 4 * pixels.size() + kScalarBytes);
    std::uint8_t* at = std::copy(kSignature.begin(), kSignature.end(), bytes.data());
    for (std::size_t i = 0; i < pixels.size(); ++i) storeLittle32(at + 4 * i, pixels[i]);
    at += 4 * pixels.size();
    storeLittle16(at, frameCount);
    storeLittleFloat(at + 2, temperature);
    return writeFileBytes(path, bytes);
  } catch (const std::exception&) {  // no memory for it
    return FileWrite::notOpened;
  }
}

void takePixels(std::span<const std::uint8_t>& bytes, std::span<unsigned int> pixels) {
  const std::size_t whole = std::min(pixels.size(), bytes.size() / 4);
  for (std::size_t i = 0; i < whole; ++i) pixels[i] = loadLittle32(bytes.data() + 4 * i);
  bytes = bytes.subspan(4 * whole);
  if (whole == pixels.size()) return;
  std::uint32_t cut = pixels[whole];
  take(bytes, 4, cut);
  pixels[whole] = cut;
}

}  // namespace

bool saveFFC(const image<unsigned int>& table, const unsigned short& frameCount, const float& temperature,
             const std::string& path) {
  if (writeTable(pixelsOf(table), frameCount, temperature, path) == FileWrite::notOpened) {
    logger::error(format("Error while saving file '{:s}'", path), LOG_HERE);
    return false;
  }
  // A write that fails later, on a full disk for example, is not reported, on purpose: the size check finds
  // the stump.
  logger::info(format("File '{:s}' saved", path), LOG_HERE);
  return true;
}

bool loadFFC(image<unsigned int>* table, unsigned short& frameCount, float& temperature,
             const std::string& path) {
  const auto bytes =
      table ? readFileBytes(path, calibration::ffcFileSize(table->width, table->height)) : std::nullopt;
  if (!bytes) {
    logger::error(format("Error while loading file '{:s}'", path), LOG_HERE);
    return false;
  }
  if (!calibration::readFFC(*bytes, *table, frameCount, temperature)) {
    logger::error(format("Unrecognized file format '{:s}'", path), LOG_HERE);
    return false;
  }
  logger::info(format("File '{:s}' loaded", path), LOG_HERE);
  return true;
}

std::uint32_t getFFCMean(const image<unsigned int>& table, const unsigned short& frameCount) {
  const std::span<const unsigned int> pixels = pixelsOf(table);
  if (frameCount == 0 || pixels.empty()) return 0;
  const std::uint32_t frames = frameCount;
  float sum = 0.0f;  // one running float, in pixel order: the rounding is part of the result
  for (const unsigned int pixel : pixels) {
    const std::uint32_t level = pixel / frames;  // the fraction is dropped per pixel
    sum += static_cast<float>(level);
  }
  return truncateToU32(static_cast<double>(sum / static_cast<float>(pixels.size())));
}

namespace calibration {

std::uint32_t levelOfTheMiddle(const image<unsigned int>& table, std::uint16_t frameCount,
                               std::span<const std::pair<int, int>> defects) {
  if (frameCount == 0 || table.empty()) return 0;
  const ImageView<const unsigned int> sums = table.view();
  const auto levelWithin = [&](std::uint32_t left, std::uint32_t top) {
    const std::uint32_t right = sums.width - left, bottom = sums.height - top;
    std::uint64_t sum = 0;
    for (std::uint32_t y = top; y < bottom; ++y) {
      const unsigned int* const row = sums.row(y);
      sum = std::accumulate(row + left, row + right, sum);
    }
    std::uint64_t count = std::uint64_t{right - left} * (bottom - top);
    for (const auto& [column, line] : defects) {
      const auto x = static_cast<std::uint32_t>(column), y = static_cast<std::uint32_t>(line);
      if (x < left || x >= right || y < top || y >= bottom) continue;  // what is negative is large here
      sum -= sums.at(x, y);
      --count;
    }
    count *= frameCount;
    return count == 0 ? std::uint32_t{0} : static_cast<std::uint32_t>((sum + count / 2) / count);
  };
  const std::uint32_t level = levelWithin(table.width / 4, table.height / 4);
  return level != 0 ? level : levelWithin(0, 0);
}

bool isUsableFFC(std::uint16_t frameCount, float temperature) {
  return frameCount != 0 && std::isfinite(temperature);
}

bool readFFC(std::span<const std::uint8_t> bytes, image<unsigned int>& table, unsigned short& frameCount,
             float& temperature) {
  if (bytes.size() < kSignature.size() || !std::equal(kSignature.begin(), kSignature.end(), bytes.begin()))
    return false;
  bytes = bytes.subspan(kSignature.size());
  takePixels(bytes, pixelsOf(table));
  std::uint32_t frames = frameCount;
  take(bytes, 2, frames);
  frameCount = static_cast<unsigned short>(frames);
  auto temperatureBits = std::bit_cast<std::uint32_t>(temperature);
  take(bytes, 4, temperatureBits);
  temperature = std::bit_cast<float>(temperatureBits);
  return true;
}

bool peekFFC(const std::string& path, std::uint32_t width, std::uint32_t height, std::uint16_t& frameCount,
             float& temperature) {
  if (regularFileSize(path) != ffcFileSize(width, height)) return false;
  const auto tail = readFileTail(path, kScalarBytes);
  if (!tail) return false;
  const std::uint16_t frames = loadLittle16(tail->data());
  const float degrees = loadLittleFloat(tail->data() + 2);
  if (!isUsableFFC(frames, degrees)) return false;
  frameCount = frames;
  temperature = degrees;
  return true;
}

}  // namespace calibration
