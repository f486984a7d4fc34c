#include "imageFiles/pngFile.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

namespace imageFiles {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::array<std::uint8_t, 8> kSignature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
constexpr std::size_t kLargestBlock = 65535;  // of stored data, as deflate has it

constexpr std::array<std::uint32_t, 256> crcTable() {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t value = 0; value < 256; ++value) {
    std::uint32_t crc = value;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1u) != 0 ? 0xEDB88320u ^ (crc >> 1) : crc >> 1;
    table[value] = crc;
  }
  return table;
}

std::uint32_t crcOf(std::span<const std::uint8_t> bytes) {
  static constexpr auto kTable = crcTable();
  std::uint32_t crc = 0xFFFFFFFFu;
  for (const std::uint8_t byte : bytes) crc = kTable[(crc ^ byte) & 0xFFu] ^ (crc >> 8);
  return ~crc;
}

/// Adler-32, the sum that ends a zlib stream.
std::uint32_t adlerOf(std::span<const std::uint8_t> bytes) {
  constexpr std::uint32_t kModulus = 65521;
  constexpr std::size_t kBeforeOverflow = 5552;
  std::uint32_t low = 1, high = 0;
  while (!bytes.empty()) {
    const auto part = bytes.first(std::min(bytes.size(), kBeforeOverflow));
    for (const std::uint8_t byte : part) high += low += byte;
    low %= kModulus;
    high %= kModulus;
    bytes = bytes.subspan(part.size());
  }
  return high << 16 | low;
}

void append(Bytes& out, std::span<const std::uint8_t> bytes) {
  out.insert(out.end(), bytes.begin(), bytes.end());
}

void appendBigEndian(Bytes& out, std::uint32_t value) {
  for (const int shift : {24, 16, 8, 0}) out.push_back(static_cast<std::uint8_t>(value >> shift));
}

void appendChunk(Bytes& out, std::string_view type, std::span<const std::uint8_t> data) {
  appendBigEndian(out, static_cast<std::uint32_t>(data.size()));
  const std::size_t begin = out.size();
  out.insert(out.end(), type.begin(), type.end());
  append(out, data);
  appendBigEndian(out, crcOf(std::span(out).subspan(begin)));
}

Bytes headerOf(const Picture& picture) {
  Bytes header;
  appendBigEndian(header, picture.width);
  appendBigEndian(header, picture.height);
  const std::uint8_t depth = picture.colored() ? 8 : 16;
  const std::uint8_t colorType = picture.colored() ? 2 : 0;
  append(header, std::array<std::uint8_t, 5>{depth, colorType, 0, 0, 0});
  return header;
}

/// The rows as PNG wants them: a filter type (none) before each, levels with the high byte first.
Bytes rowsOf(const Picture& picture) {
  const std::size_t rowBytes = std::size_t{picture.width} * (picture.colored() ? 3 : 2);
  Bytes rows;
  rows.reserve((rowBytes + 1) * picture.height);
  for (std::size_t y = 0; y < picture.height; ++y) {
    const auto row = std::span(picture.pixels).subspan(y * rowBytes, rowBytes);
    rows.push_back(0);
    if (picture.colored()) {
      append(rows, row);
      continue;
    }
    for (std::size_t at = 0; at < rowBytes; at += 2) {
      std::uint16_t level = 0;
      std::memcpy(&level, &row[at], sizeof level);
      rows.push_back(static_cast<std::uint8_t>(level >> 8));
      rows.push_back(static_cast<std::uint8_t>(level));
    }
  }
  return rows;
}

/// A zlib stream of stored blocks.
Bytes storedStream(std::span<const std::uint8_t> data) {
  const std::uint32_t sum = adlerOf(data);
  Bytes stream = {0x78, 0x01};
  stream.reserve(data.size() + data.size() / kLargestBlock * 5 + 16);
  do {
    const auto block = data.first(std::min(data.size(), kLargestBlock));
    data = data.subspan(block.size());
    const auto size = static_cast<std::uint16_t>(block.size());
    stream.push_back(data.empty() ? 1 : 0);
    for (const int word : {int{size}, ~int{size}}) {
      stream.push_back(static_cast<std::uint8_t>(word));
      stream.push_back(static_cast<std::uint8_t>(word >> 8));
    }
    append(stream, block);
  } while (!data.empty());
  appendBigEndian(stream, sum);
  return stream;
}

}  // namespace

Bytes encodePng(const Picture& picture) {
  const std::string text = std::string("Description") + '\0' + describe(picture.info);
  Bytes file(kSignature.begin(), kSignature.end());
  appendChunk(file, "IHDR", headerOf(picture));
  appendChunk(file, "tEXt", {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  appendChunk(file, "IDAT", storedStream(rowsOf(picture)));
  appendChunk(file, "IEND", {});
  return file;
}

}  // namespace imageFiles
