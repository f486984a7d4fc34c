#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <utility>

#include "common/image.h"

// Flat-field tables: per pixel the sum of N raw frames of a uniform scene, with N and the mean sensor
// temperature in degrees Celsius. A file (".ffc", little-endian) holds a signature of 16 bytes, the sums row
// by row, N and the temperature. It names no size: the reader fills the image that it is given. No locking:
// nobody else may write the table meanwhile.

/// Writes a table; the directory must exist. The result says only whether the file could be opened.
bool saveFFC(const image<unsigned int>& table, const unsigned short& frameCount, const float& temperature,
             const std::string& path);

/// Fills `table`, which has its final size already, and both scalars. False, with nothing changed, when the
/// file cannot be opened or lacks the signature. A file of another size is not noticed: what lies behind its
/// end stays as it was. Callers check `ffcFileSize` and `isUsableFFC`.
bool loadFFC(image<unsigned int>* table, unsigned short& frameCount, float& temperature,
             const std::string& path);

/// Mean level of one frame, truncated: pixel sums are divided by N in integers first, as the correction does.
/// 0 when N is 0 or the table has no pixels.
std::uint32_t getFFCMean(const image<unsigned int>& table, const unsigned short& frameCount);

namespace calibration {

/// Bytes of the file of a width x height table.
constexpr std::uint64_t ffcFileSize(std::uint32_t width, std::uint32_t height) {
  return 22 + std::uint64_t{4} * width * height;
}

/// Mean level per frame over the middle of the table, half as wide and high as all of it, rounded: the light
/// of the housing, which no correction knows, is weakest there. Pixels in `defects` (x, y, each once; entries
/// outside the table are ignored) do not count: what they hold after table correction says nothing about the
/// scene, and a thousandth of them would shift a mean by half a kelvin. Over the whole table where the middle
/// has no good pixel or nothing but zeros. 0 for a count of 0 and for a table without good pixels.
std::uint32_t levelOfTheMiddle(const image<unsigned int>& table, std::uint16_t frameCount,
                               std::span<const std::pair<int, int>> defects);

/// True for the scalars of a table that can correct: some frames, a finite temperature.
bool isUsableFFC(std::uint16_t frameCount, float temperature);

/// `loadFFC` on bytes; false, with nothing changed, without the signature.
bool readFFC(std::span<const std::uint8_t> bytes, image<unsigned int>& table, unsigned short& frameCount,
             float& temperature);

/// The scalars of a table file without its pixels. False, without a log line, when the file is missing, has
/// not exactly the size of a width x height table, or is unusable (`isUsableFFC`).
bool peekFFC(const std::string& path, std::uint32_t width, std::uint32_t height, std::uint16_t& frameCount,
             float& temperature);

}  // namespace calibration
