#include "presentation/colorStripes.h"

#include <gtest/gtest.h>

#include <memory>

#include "common/image.h"
#include "core/multithreading.h"
#include "core/settings.h"
#include "presentation/kernels/colorizeRows.h"
#include "support/LogCapture.h"

namespace {

constexpr rgb_24b kBefore{1, 2, 3};  // no colour of the table

/// A table in which every level has its own colour.
std::unique_ptr<ColorTable> distinctColors() {
  auto table = std::make_unique<ColorTable>();
  for (std::size_t v = 0; v < ColorTable::kLevels; v++) {
    (*table)[v] = {static_cast<std::uint8_t>(v >> 8), static_cast<std::uint8_t>(v), 77};
  }
  return table;
}

struct Pictures {
  Pictures(std::uint16_t width, std::uint16_t height) : levels(width, height), colors(width, height) {
    for (std::size_t i = 0; i < levels.pixelCount(); i++) {
      levels.data[i] = static_cast<unsigned short>(i * 40503 + 65535);  // starts with 65535
    }
    if (levels.pixelCount() > 1) levels.data[1] = 0;
    std::fill_n(colors.data, colors.pixelCount(), kBefore);
  }

  /// Rows [first, last) are painted, the others are as before.
  void expectPainted(std::uint32_t first, std::uint32_t last) const {
    for (std::uint32_t y = 0; y < levels.height; y++) {
      for (std::uint32_t x = 0; x < levels.width; x++) {
        const std::uint16_t v = levels.view().at(x, y);
        const rgb_24b painted{static_cast<std::uint8_t>(v >> 8), static_cast<std::uint8_t>(v), 77};
        ASSERT_EQ(colors.view().at(x, y), y >= first && y < last ? painted : kBefore) << x << "," << y;
      }
    }
  }

  image<unsigned short> levels;
  image<rgb_24b> colors;
};

TEST(ColorizeRows, PaintsItsRowsAndNothingElse) {
  const auto table = distinctColors();
  for (const std::uint16_t width : std::initializer_list<std::uint16_t>{1, 3, 4, 5, 8, 13}) {
    for (const auto& [first, last] : {std::pair{0u, 5u}, {1u, 3u}, {4u, 5u}, {2u, 2u}}) {
      SCOPED_TRACE(testing::Message() << width << " wide, rows " << first << " to " << last);
      Pictures pictures(width, 5);
      kernels::colorizeRows(pictures.levels.view(), pictures.colors.view(), *table, first, last);
      pictures.expectPainted(first, last);
    }
  }
}

class ColorStripes : public testing::TestWithParam<unsigned> {};

TEST_P(ColorStripes, RowsBeyondTheLastFullStripeKeepTheirColours) {
  std::unique_ptr<WorkerPool> pool;
  if (GetParam() != 0) pool = std::make_unique<WorkerPool>(GetParam());
  WorkerPool* const earlier = processingPool;
  processingPool = pool.get();
  settings::create(0, nullptr);
  settings::inst()->parseParam("processingUnits=4");
  const LogCapture log(logger::verbosityErrors);
  const auto table = distinctColors();
  struct Row {
    std::uint16_t width, height;
    unsigned stripes;
    std::uint32_t painted;
  };
  // Large pictures are split among the workers, and done when the call returns.
  for (const Row& row :
       {Row{3, 481, 4, 480}, Row{3, 481, 1, 481}, Row{3, 10, 3, 9}, Row{3, 7, 7, 7}, Row{3, 7, 8, 0},
        Row{3, 481, 1024, 0}, Row{1040, 481, 3, 480}, Row{1040, 481, 4, 480}, Row{1040, 481, 1024, 0}}) {
    SCOPED_TRACE(testing::Message() << row.width << " wide, " << row.height << " rows in " << row.stripes);
    Pictures pictures(row.width, row.height);
    paintStripes(pictures.levels.view(), pictures.colors.view(), *table, row.stripes);
    pictures.expectPainted(0, row.painted);
  }
  EXPECT_EQ(log.text(), "");
  settings::release();
  processingPool = earlier;
}

INSTANTIATE_TEST_SUITE_P(Workers, ColorStripes, testing::Values(0u, 1u, 2u));

TEST(ColorStripeCount, IsLimited) {
  EXPECT_EQ(colorStripeCount(0, 480), 1u);
  EXPECT_EQ(colorStripeCount(-2147483647 - 1, 480), 1u);
  EXPECT_EQ(colorStripeCount(8, 480), 8u);
  EXPECT_EQ(colorStripeCount(2147483647, 4000), 1024u);
  EXPECT_EQ(colorStripeCount(1024, 480), 480u) << "more stripes than rows would paint nothing";
  EXPECT_EQ(colorStripeCount(4, 0), 1u);
}

}  // namespace
