#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "acquisition/transport/sampleUnpacking.h"

using transport::SampleLayout;
using transport::unpackSample;

namespace {

constexpr std::uint16_t kUnwritten = 0xEEEE;  // no 14-bit value
constexpr std::size_t kGuard = 2048;

/// A destination image between two guards.
struct GuardedImage {
  GuardedImage(std::uint32_t w, std::uint32_t h)
      : width(w), height(h), cells(kGuard * 2 + std::size_t{w} * h, kUnwritten) {}
  ImageView<std::uint16_t> view() { return {cells.data() + kGuard, width, height}; }

  std::uint32_t width;
  std::uint32_t height;
  std::vector<std::uint16_t> cells;
};

std::vector<std::uint8_t> randomBytes(std::size_t count) {
  std::mt19937 random(7);
  std::vector<std::uint8_t> bytes(count);
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
  return bytes;
}

/// Pixel by pixel, as the cameras define it; what falls outside the image is dropped.
void unpackPlainly(const std::vector<std::uint8_t>& bytes, const SampleLayout& layout, GuardedImage& out) {
  for (std::uint32_t y = 0; y < layout.height; ++y) {
    for (std::uint32_t x = 0; x < layout.width; ++x) {
      const std::size_t at = layout.rowBytes() * y + x * 2;
      std::int64_t column = x;
      if (layout.width != 320 && layout.width != 640) {
        const bool edge = x < 4 || x + 4 >= layout.width;
        if (layout.height == 1024 && edge) continue;
        if (layout.height == 1024) column = std::int64_t{x} - 4;
        if (layout.height == 1024 && column >= 1280) continue;
        if (layout.height == 480 && x >= 640) continue;
        if (layout.height != 1024 && layout.height != 480) continue;
      }
      if (column >= out.width || y >= out.height) continue;
      out.cells[kGuard + std::size_t{y} * out.width + static_cast<std::size_t>(column)] =
          static_cast<std::uint16_t>((bytes[at] << 6) | (bytes[at + 1] >> 2));
    }
  }
}

}  // namespace

TEST(SampleUnpacking, EverySizeMatchesThePlainRuleAndStaysInside) {
  const struct {
    SampleLayout layout;
    std::uint32_t width, height;  // of the image
  } cases[] = {
      {{320, 240, 0}, 320, 240},     {{640, 480, 0}, 640, 480},     {{640, 480, 1408}, 640, 480},
      {{640, 480, 100}, 640, 480},   {{1288, 1024, 0}, 1280, 1024}, {{1288, 1024, 2600}, 1280, 1024},
      {{1280, 1024, 0}, 1280, 1024}, {{1296, 1024, 0}, 1280, 1024}, {{648, 480, 0}, 640, 480},
      {{640, 512, 0}, 640, 480},     {{1288, 1024, 0}, 640, 480},   {{1296, 1024, 0}, 1284, 1024},
      {{320, 240, 0}, 1280, 1024},   {{1296, 1000, 0}, 1280, 1024}, {{8, 1024, 0}, 1280, 1024},
      {{9, 1024, 0}, 1280, 1024},    {{1, 1024, 0}, 1280, 1024},    {{1, 480, 0}, 640, 480},
      {{648, 480, 0}, 320, 240},     {{640, 480, 0}, 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.layout.width << "x" << c.layout.height << " pitch " << c.layout.pitch
                                    << " into " << c.width << "x" << c.height);
    const auto bytes = randomBytes(c.layout.sizeBytes());  // not one byte more: an overread shows
    GuardedImage expected(c.width, c.height), actual(c.width, c.height);
    unpackPlainly(bytes, c.layout, expected);
    float temperature = 0.0f;
    EXPECT_TRUE(unpackSample(bytes, c.layout, actual.view(), temperature));
    EXPECT_TRUE(actual.cells == expected.cells);
  }
}

TEST(SampleUnpacking, TakesNothingFromSamplesThatAreTooShort) {
  const SampleLayout layouts[] = {{320, 240, 0},
                                  {640, 480, 1408},
                                  {1288, 1024, 0},
                                  {0, 480, 0},
                                  {640, 0, 0},
                                  {0, 0xFFFFFFFF, 0},
                                  {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}};
  for (const SampleLayout& layout : layouts) {
    const std::size_t size = layout.width > 5000 || layout.height > 5000 ? 100 : layout.sizeBytes();
    std::vector<std::uint8_t> bytes(size == 0 ? 64 : size - 1, 0x55);
    GuardedImage image(640, 480);
    float temperature = -1.0f;
    EXPECT_FALSE(unpackSample(bytes, layout, image.view(), temperature)) << layout.width;
    EXPECT_FALSE(unpackSample({}, layout, image.view(), temperature));
    EXPECT_TRUE(image.cells == GuardedImage(640, 480).cells);
    EXPECT_EQ(temperature, -1.0f);
  }
}

// Expected values computed step by step in single precision by a separate script.
TEST(SampleUnpacking, TemperatureTravelsInTheLastPixelOrTheReferenceColumns) {
  const auto lastPixel = [](SampleLayout layout, std::uint8_t b0, std::uint8_t b1) {
    std::vector<std::uint8_t> bytes(layout.sizeBytes(), 0x33);
    const std::size_t at = layout.rowBytes() * (layout.height - 1) + (layout.width - 1) * 2;
    bytes[at] = b0;
    bytes[at + 1] = b1;
    GuardedImage image(640, 480);
    float temperature = 0.0f;
    EXPECT_TRUE(unpackSample(bytes, layout, image.view(), temperature));
    return temperature;
  };
  EXPECT_EQ(lastPixel({320, 240, 0}, 0x05, 0x2F), 0x1.902580p+4f);     // 25.009 degrees
  EXPECT_EQ(lastPixel({320, 240, 0}, 0xE0, 0x2E), 0x1.a09780p+4f);     // in double it would end in ...8ep+4
  EXPECT_EQ(lastPixel({640, 480, 0}, 0x36, 0x8F), 0x1.8ff6a0p+4f);     // 24.998 degrees
  EXPECT_EQ(lastPixel({640, 480, 1408}, 0xFB, 0x8E), 0x1.9a0460p+4f);  // other orders give ...48 and ...466
  EXPECT_EQ(lastPixel({640, 480, 0}, 0xFF, 0xFF), -0x1.1a8666p+8f);

  const SampleLayout layout{1288, 1024, 0};
  std::vector<std::uint8_t> bytes(layout.sizeBytes(), 0xFF);
  for (std::uint32_t y = 0; y < 1024; ++y) {
    for (const std::uint32_t x : {0u, 1u, 1286u, 1287u}) {
      const int value = (x < 2 ? 12767 : 12700) << 2 | 3;  // the lowest two bits are noise
      bytes[(y * 1288 + x) * 2] = static_cast<std::uint8_t>(value >> 8);
      bytes[(y * 1288 + x) * 2 + 1] = static_cast<std::uint8_t>(value);
    }
  }
  GuardedImage image(1280, 1024);
  float temperature = 0.0f;
  ASSERT_TRUE(unpackSample(bytes, layout, image.view(), temperature));
  EXPECT_EQ(temperature, 0x1.2ae88ap+8f);  // 298.908 K
}

TEST(SampleUnpacking, AStreamWithoutReferenceLeavesTheTemperature) {
  for (const SampleLayout& layout :
       {SampleLayout{648, 480, 0}, SampleLayout{1288, 1000, 0}, SampleLayout{3, 1024, 0}}) {
    GuardedImage image(640, 480);
    float temperature = 17.0f;
    ASSERT_TRUE(unpackSample(randomBytes(layout.sizeBytes()), layout, image.view(), temperature));
    EXPECT_EQ(temperature, 17.0f) << layout.width;
  }
}
