#include "presentation/BitmapFont.h"

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <map>
#include <random>

#include "common/littleEndian.h"
#include "support/LogCapture.h"
#include "support/scratchFiles.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr rgb_24b kGround{50, 50, 50};
constexpr rgb_24b kInk{200, 100, 0};
constexpr rgb_24b kHalf{125, 75, 24};  // (50 * 127 + ink * 128) / 255

/// Two cells of 2 x 2 in a row, 'A' and 'B', and a column behind them that belongs to none.
Bytes fontBytes() {
  Bytes bytes(BitmapFont::kHeaderBytes);
  bytes[0] = 0xBF, bytes[1] = 0xF2;
  storeLittle32(&bytes[2], 5);
  storeLittle32(&bytes[6], 2);
  storeLittle32(&bytes[10], 2);
  storeLittle32(&bytes[14], 2);
  bytes[18] = 8;
  bytes[19] = 'A';
  bytes[20 + 'A'] = 2;
  bytes[20 + 'B'] = 1;
  const Bytes sheet = {255, 0,   128, 0, 77,  // row by row
                       0,   128, 0,   0, 77};
  bytes.insert(bytes.end(), sheet.begin(), sheet.end());
  return bytes;
}

struct Frame {
  explicit Frame(std::uint16_t width = 8, std::uint16_t height = 4) : picture(width, height) {
    std::fill_n(picture.data, picture.pixelCount(), kGround);
  }
  /// Columns and rows of the pixels that are not ground, with their colours.
  std::map<std::pair<int, int>, int> marks() const {
    std::map<std::pair<int, int>, int> found;
    for (int y = 0; y < picture.height; ++y) {
      for (int x = 0; x < picture.width; ++x) {
        const rgb_24b pixel = picture.data[y * picture.width + x];
        if (pixel != kGround) found[{x, y}] = pixel == kInk ? 255 : pixel == kHalf ? 128 : -1;
      }
    }
    return found;
  }
  image<rgb_24b> picture;
};

using Marks = std::map<std::pair<int, int>, int>;

BitmapFont loadedFont() {
  BitmapFont font;
  EXPECT_TRUE(font.loadBytes(fontBytes(), "f"));
  font.textColor = kInk;
  return font;
}

TEST(BitmapFont, RefusesFilesInThisOrder) {
  struct Case {
    const char* name;
    std::function<void(Bytes&)> spoil;
    const char* message;
  };
  const auto set32 = [](std::size_t at, std::uint32_t value) {
    return [=](Bytes& bytes) { storeLittle32(&bytes[at], value); };
  };
  const Case cases[] = {
      {"empty", [](Bytes& bytes) { bytes.clear(); }, "Unrecognized file format"},
      {"one byte", [](Bytes& bytes) { bytes.resize(1); }, "Unrecognized file format"},
      {"signature before size", [](Bytes& bytes) { bytes.resize(9), bytes[1] = 0; },
       "Unrecognized file format"},
      {"signature alone", [](Bytes& bytes) { bytes.resize(2); }, "Wrong file size"},
      {"cut header", [](Bytes& bytes) { bytes.resize(275); }, "Wrong file size"},
      {"one byte short", [](Bytes& bytes) { bytes.pop_back(); }, "Wrong file size"},
      {"one byte long", [](Bytes& bytes) { bytes.push_back(0); }, "Wrong file size"},
      {"size before depth", [](Bytes& bytes) { bytes[18] = 24; }, "Wrong file size"},
      {"24 bits", [](Bytes& bytes) { bytes[18] = 24, bytes.resize(276 + 30); }, "font is not 8bpp"},
      {"15 bits are one byte", [](Bytes& bytes) { bytes[18] = 15; }, "font is not 8bpp"},
      {"0 bits", [](Bytes& bytes) { bytes[18] = 0, bytes.resize(276); }, "font is not 8bpp"},
      // 5 * 2^32 + 2 and 2^63: equal to the size only if the product wrapped.
      {"huge height", set32(6, 0x80000000u), "Wrong file size"},
      {"huge sides",
       [](Bytes& b) { b.resize(276), storeLittle32(&b[2], 1u << 31), storeLittle32(&b[6], 1u << 31); },
       "Wrong file size"},
      {"no sheet", [](Bytes& bytes) { bytes.resize(276), storeLittle32(&bytes[2], 0); }, "Wrong file size"},
      {"no cell width", set32(10, 0), "Wrong file size"},
      {"no cell height", set32(14, 0), "Wrong file size"},
      {"cell wider than the sheet", set32(10, 6), "Wrong file size"},
  };
  const ScratchFolder scratch;
  for (const Case& test : cases) {
    SCOPED_TRACE(test.name);
    Bytes bytes = fontBytes();
    test.spoil(bytes);
    BitmapFont font = loadedFont();
    const std::string path =
        scratch.file("font.bff", {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    LogCapture log;
    EXPECT_FALSE(font.load(path));
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_TRUE(log.contains(test.message) && log.contains("'" + path + "'")) << log.text();
    EXPECT_FALSE(font.print(Frame().picture, 0, 0, "A"));  // what was loaded before is gone, too
  }
  LogCapture log;
  BitmapFont font;
  EXPECT_FALSE(font.load(scratch.path("none.bff")));
  EXPECT_FALSE(font.load(scratch.subfolder("folder.bff")));
  EXPECT_EQ(log.count("Error while opening file '"), 2u);
}

TEST(BitmapFont, PrintsFromTheLowerEdgeAndClips) {
  struct Case {
    int x, y;
    const char* text;
    Marks expected;
  };
  const Case cases[] = {
      {1, 1, "AB", {{{1, 1}, 255}, {{2, 2}, 128}, {{3, 1}, 128}}},
      {0, -1, "A", {{{0, 3}, 255}}},  // the lower row is cut off
      {0, 3, "A", {{{1, 0}, 128}}},   // the upper one
      {-1, 0, "AA", {{{0, 3}, 128}, {{1, 2}, 255}, {{2, 3}, 128}}},
      {5, 0, "AA", {{{5, 2}, 255}, {{6, 3}, 128}}},  // 5 + 2 + 2 reaches the edge
      {6, 0, "A", {}},                               // 6 + 2 reaches it exactly
      {0, 0, "", {}},
      {INT_MAX, INT_MAX, "A", {}},
      {INT_MIN, INT_MIN, "A", {}},
      {0, INT_MIN, "A", {}},
      {INT_MIN, 0, "A", {}},
  };
  const BitmapFont font = loadedFont();
  for (const Case& test : cases) {
    const Frame frame;
    EXPECT_TRUE(font.print(frame.picture, test.x, test.y, test.text));
    EXPECT_EQ(frame.marks(), test.expected) << test.text << " at " << test.x << ", " << test.y;
  }
}

TEST(BitmapFont, StopsBeforeCharactersThatItDoesNotHave) {
  const BitmapFont font = loadedFont();
  const std::pair<const char*, const char*> cases[] = {
      {"A@A", "Character 64('@') is beyond font range"},  // before the first: k = -1
      {"A A", "Character 32(' ') is beyond font range"},
      {"AEA", "Character 69('E') is beyond font range"},  // row 2 of a sheet of one
      {"A\xE9", "Character 233('\xE9') is beyond font range"},
  };
  for (const auto& [text, message] : cases) {
    LogCapture log;
    const Frame frame;
    EXPECT_TRUE(font.print(frame.picture, 0, 0, text));
    EXPECT_EQ(log.count(message), 1u) << log.text();
    EXPECT_EQ(frame.marks().size(), 2u);
  }
  LogCapture log;
  EXPECT_FALSE(BitmapFont().print(Frame().picture, 0, 0, "A"));
  EXPECT_TRUE(BitmapFont().print(Frame().picture, 0, 0, ""));
  EXPECT_TRUE(font.print(Frame().picture, 0, 0, nullptr));
  EXPECT_TRUE(log.lines().empty());
}

TEST(BitmapFont, TakesNoMoreThan255Characters) {
  const Frame frame(700, 2);
  EXPECT_TRUE(loadedFont().print(frame.picture, 0, 0, std::string(300, 'A').c_str()));
  EXPECT_EQ(frame.marks().size(), 2u * 255u);
  EXPECT_EQ(frame.marks().rbegin()->first, std::pair(2 * 255 - 1, 1));
}

// Whatever a file says, printing stays inside sheet and frame; the sanitizers watch.
TEST(BitmapFont, SurvivesAnyFile) {
  std::mt19937 random(7);
  const auto upTo = [&](std::uint32_t bound) { return static_cast<std::uint32_t>(random()) % bound; };
  const std::uint32_t extremes[] = {0, 1, 2, 3, 5, 7, 255, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
  const LogCapture quiet(logger::verbosityErrors);
  unsigned loaded = 0;
  for (int run = 0; run < 4000; ++run) {
    Bytes bytes = fontBytes();
    // Sheets whose size fits come through; everything else in the header may be anything.
    const std::uint32_t width = 1 + upTo(12), height = 1 + upTo(12);
    storeLittle32(&bytes[2], width);
    storeLittle32(&bytes[6], height);
    bytes.resize(BitmapFont::kHeaderBytes + width * height, 200);
    storeLittle32(&bytes[10], run % 2 == 0 ? 1 + upTo(width) : extremes[upTo(std::size(extremes))]);
    storeLittle32(&bytes[14], run % 3 == 0 ? 1 + upTo(4) : extremes[upTo(std::size(extremes))]);
    for (std::size_t i = 19; i < 276; ++i) bytes[i] = static_cast<std::uint8_t>(upTo(i % 2 == 0 ? 4 : 256));
    if (run % 8 == 0) bytes[upTo(static_cast<std::uint32_t>(bytes.size()))] ^= 1;
    BitmapFont font;
    loaded += font.loadBytes(bytes, "f") ? 1 : 0;
    std::string text(upTo(300), 'x');
    for (char& character : text) character = static_cast<char>(1 + upTo(255));
    const Frame frame(static_cast<std::uint16_t>(1 + upTo(9)), static_cast<std::uint16_t>(1 + upTo(9)));
    const auto place = [&] {
      return run % 5 == 0 ? static_cast<int>(random()) : static_cast<int>(upTo(30)) - 15;
    };
    const int x = place(), y = place();
    EXPECT_EQ(font.print(frame.picture, x, y, text.c_str()), font.loaded() || text.empty());
    font.cellHeight();
  }
  EXPECT_GT(loaded, 1000u);
}

}  // namespace
