#include "imageFiles/tiffFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>

#include "imageFiles/writePicture.h"
#include "support/scratchFiles.h"

namespace {

using imageFiles::PictureInfo;
using imageFiles::TiffPageReader;
using imageFiles::TiffPageWriter;
using Bytes = std::vector<std::uint8_t>;
using Levels = std::vector<std::uint16_t>;

enum Tag : std::uint16_t {
  kWidth = 256,
  kHeight = 257,
  kBits = 258,
  kCompression = 259,
  kPhotometric = 262,
  kDescription = 270,
  kOffsets = 273,
  kOrientation = 274,
  kSamples = 277,
  kRows = 278,
  kCounts = 279,
  kTileWidth = 322,
  kTileHeight = 323,
  kTileOffsets = 324,
  kTileCounts = 325,
  kSampleFormat = 339
};

constexpr std::uint16_t kShort = 3, kLong = 4;

Bytes bytesOf(const std::string& path) {
  const std::string text = fileContents(path);
  return {text.begin(), text.end()};
}

/// A page of a file, by the published layout of baseline TIFF and no library: little-endian, one strip.
struct ParsedPage {
  std::map<std::uint16_t, std::uint32_t> fields;
  std::string description;
  Levels levels;
};

struct Parser {
  const Bytes& file;
  std::uint32_t number(std::size_t at, std::size_t count) const {
    std::uint32_t value = 0;
    for (std::size_t i = count; i-- > 0;) value = value << 8 | file.at(at + i);
    return value;
  }
  ParsedPage page(std::uint32_t& directory) const {
    ParsedPage parsed;
    const std::uint32_t entries = number(directory, 2);
    for (std::uint32_t entry = 0; entry < entries; ++entry) {
      const std::size_t at = directory + 2 + 12 * entry;
      const auto tag = static_cast<std::uint16_t>(number(at, 2));
      parsed.fields[tag] = number(at + 8, number(at + 2, 2) == kShort ? 2 : 4);
      if (tag == kDescription) {
        const auto begin = file.begin() + parsed.fields[tag];
        parsed.description.assign(begin, begin + number(at + 4, 4) - 1);
      }
    }
    for (std::uint32_t at = 0; at < parsed.fields[kCounts]; at += 2) {
      parsed.levels.push_back(static_cast<std::uint16_t>(number(parsed.fields[kOffsets] + at, 2)));
    }
    directory = number(directory + 2 + 12 * entries, 4);
    return parsed;
  }
  std::vector<ParsedPage> pages() const {
    EXPECT_EQ(number(0, 4), 0x002A4949u);
    std::vector<ParsedPage> all;
    for (std::uint32_t directory = number(4, 4); directory != 0;) all.push_back(page(directory));
    return all;
  }
};

/// The levels of a 5 x 3 page: both bytes of each differ from their neighbours'.
Levels pageLevels(std::uint16_t seed) {
  Levels levels;
  for (std::uint16_t i = 0; i < 15; ++i) levels.push_back(static_cast<std::uint16_t>(seed + 4369 * i));
  return levels;
}

bool appendPage(TiffPageWriter& writer, std::uint16_t seed, std::string& problem) {
  Levels levels = pageLevels(seed);
  return writer.append(levels, {imageFiles::Content::thermal, seed, seed + 1u, 300.25f, 233.15f, 262.14f},
                       problem);
}

/// A file of two pages of 5 x 3, made by hand, that a test spoils.
struct HandMade {
  std::map<std::uint16_t, std::pair<std::uint16_t, std::uint32_t>> fields = {
      {kWidth, {kShort, 5}},       {kHeight, {kLong, 3}},       {kBits, {kShort, 16}},
      {kCompression, {kShort, 1}}, {kPhotometric, {kShort, 1}}, {kOffsets, {kLong, 8}},
      {kOrientation, {kShort, 1}}, {kSamples, {kShort, 1}},     {kRows, {kLong, 3}},
      {kCounts, {kLong, 30}},      {kSampleFormat, {kShort, 1}}};
  bool bigEndian = false;
  enum class Chain { whole, circle, outside } chain = Chain::whole;

  void put(Bytes& file, std::uint32_t value, std::size_t count) const {
    for (std::size_t i = 0; i < count; ++i) {
      file.push_back(static_cast<std::uint8_t>(value >> 8 * (bigEndian ? count - 1 - i : i)));
    }
  }
  Bytes make() const {
    Bytes file;
    put(file, bigEndian ? 0x4D4D : 0x4949, 2);
    put(file, 42, 2);
    put(file, 38, 4);
    for (const std::uint16_t level : pageLevels(7)) put(file, level, 2);
    for (int page = 0; page < 2; ++page) {
      put(file, static_cast<std::uint32_t>(fields.size()), 2);
      for (const auto& [tag, value] : fields) {
        put(file, tag, 2);
        put(file, value.first, 2);
        put(file, 1, 4);
        put(file, value.second, value.first == kShort ? 2 : 4);
        if (value.first == kShort) put(file, 0, 2);
      }
      const auto next = static_cast<std::uint32_t>(file.size() + 4);
      put(file, page == 0 ? next : chain == Chain::circle ? 38 : chain == Chain::outside ? 4000 : 0, 4);
    }
    return file;
  }
};

class TiffFiles : public testing::Test {
 protected:
  void SetUp() override {
    if (!imageFiles::tiffSupported()) GTEST_SKIP() << "built without libtiff";
  }
  ScratchFolder folder;
  std::string problem;
};

TEST_F(TiffFiles, PagesHaveTheBaselineLayoutAndTheirLevels) {
  const std::string path = folder.path("dump.tiff");
  for (const std::uint16_t first :
       {std::uint16_t{0}, std::uint16_t{2}}) {  // the second run appends to the first one's file
    TiffPageWriter writer;
    ASSERT_TRUE(writer.open(path, 5, 3, problem)) << problem;
    for (const int page : {0, 1}) {
      ASSERT_TRUE(appendPage(writer, static_cast<std::uint16_t>(first + page), problem)) << problem;
    }
  }
  const Bytes file = bytesOf(path);
  const auto pages = Parser{file}.pages();
  ASSERT_EQ(pages.size(), 4u);
  for (std::uint16_t page = 0; page < 4; ++page) {
    auto fields = pages[page].fields;
    const std::map<std::uint16_t, std::uint32_t> wanted = {
        {kWidth, 5},       {kHeight, 3},  {kBits, 16}, {kCompression, 1}, {kPhotometric, 1},
        {kOrientation, 1}, {kSamples, 1}, {kRows, 3},  {kCounts, 30},     {kSampleFormat, 1}};
    for (const auto& [tag, value] : wanted) EXPECT_EQ(fields[tag], value) << "tag " << tag;
    EXPECT_EQ(pages[page].levels, pageLevels(page));
    EXPECT_EQ(pages[page].description, "content=thermal frame=" + std::to_string(page) +
                                           " index=" + std::to_string(page + 1) +
                                           " sensorTemperatureK=300.25 rangeMinK=233.15 rangeSpanK=262.14");
  }
}

TEST_F(TiffFiles, ReaderGivesBackPagesAndTellsDamage) {
  struct Case {
    const char* name;
    std::size_t pages;
    const char* message;  // part of what is told; null: the file is good
    std::function<void(HandMade&)> spoil;
  };
  const auto set = [](std::uint16_t tag, std::uint16_t type, std::uint32_t value) {
    return [=](HandMade& file) { file.fields[tag] = {type, value}; };
  };
  const Case cases[] = {
      {"good", 2, nullptr, [](HandMade&) {}},
      {"big-endian", 2, nullptr, [](HandMade& file) { file.bigEndian = true; }},
      {"no sample format", 2, nullptr, [](HandMade& file) { file.fields.erase(kSampleFormat); }},
      {"other size", 0, "another size", set(kWidth, kShort, 6)},
      {"huge", 0, "", set(kHeight, kLong, 0xFFFFFFFF)},
      {"8 bit", 0, "16 bits", set(kBits, kShort, 8)},
      {"32 bit", 0, "16 bits", set(kBits, kShort, 32)},
      {"float", 0, "unsigned", set(kSampleFormat, kShort, 3)},
      {"compressed", 0, "compressed", set(kCompression, kShort, 5)},
      {"unknown compression", 0, "compressed", set(kCompression, kShort, 4711)},
      {"white is zero", 0, "grey from black", set(kPhotometric, kShort, 0)},
      {"three samples", 0, "", set(kSamples, kShort, 3)},
      {"turned", 0, "turned", set(kOrientation, kShort, 3)},
      {"behind the end", 0, "cut off", set(kOffsets, kLong, 320)},
      {"far behind the end", 0, "cut off", set(kOffsets, kLong, 0xFFFFFFF0)},
      {"wrong count of bytes", 2, nullptr, set(kCounts, kLong, 28)},
      {"no rows", 0, "", set(kRows, kLong, 0)},
      {"too few strips", 0, "", set(kRows, kLong, 1)},
      {"circle", 2, "", [](HandMade& file) { file.chain = HandMade::Chain::circle; }},
      {"chain leads outside", 2, "", [](HandMade& file) { file.chain = HandMade::Chain::outside; }},
      {"tiles", 0, "",
       [](HandMade& file) {
         for (const std::uint16_t tag : {kOffsets, kCounts, kRows}) file.fields.erase(tag);
         file.fields[kTileWidth] = file.fields[kTileHeight] = {kShort, 16};
         file.fields[kTileOffsets] = {kLong, 8};
         file.fields[kTileCounts] = {kLong, 30};
       }},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.name);
    HandMade file;
    test.spoil(file);
    const Bytes bytes = file.make();
    problem.clear();
    testing::internal::CaptureStderr();
    const auto reader = TiffPageReader::openBytes(bytes, 5, 3, problem);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    ASSERT_EQ(reader != nullptr, test.pages > 0) << problem;
    const std::string told = reader ? reader->damage() : problem;
    EXPECT_EQ(told.empty(), test.message == nullptr) << told;
    EXPECT_NE(told.find(test.message ? test.message : ""), std::string::npos) << told;
    if (!reader) continue;
    ASSERT_EQ(reader->pageCount(), test.pages);
    for (std::size_t page : {1u, 0u, 1u}) {
      image<unsigned short> out(5, 3);
      PictureInfo info;
      ASSERT_TRUE(reader->readPage(page, out, info, problem)) << problem;
      EXPECT_EQ(Levels(out.data, out.data + 15), pageLevels(7));
    }
  }
}

TEST_F(TiffFiles, ACutOffFileGivesTheRightLevelsOfItsPages) {
  const std::string path = folder.path("dump.tiff");
  TiffPageWriter writer;
  ASSERT_TRUE(writer.open(path, 5, 3, problem));
  std::vector<std::size_t> ends;
  for (std::uint16_t page = 0; page < 3; ++page) {
    ASSERT_TRUE(appendPage(writer, page, problem));
    ends.push_back(std::filesystem::file_size(path));
  }
  const Bytes whole = bytesOf(path);
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    const auto reader = TiffPageReader::openBytes(cut, 5, 3, problem);
    const std::size_t pages = reader ? reader->pageCount() : 0;
    std::size_t complete = 0;
    for (const std::size_t end : ends) complete += size >= end ? 1 : 0;
    // A page that only lacks the end of its description still has its levels.
    ASSERT_TRUE(pages == complete || pages == complete + 1) << pages << " pages of " << size << " bytes";
    image<unsigned short> out(5, 3);
    for (std::size_t page = 0; page < pages; ++page) {
      PictureInfo info;
      ASSERT_TRUE(reader->readPage(page, out, info, problem)) << problem;
      ASSERT_EQ(Levels(out.data, out.data + 15), pageLevels(static_cast<std::uint16_t>(page)));
    }
  }
}

TEST_F(TiffFiles, WriterLeavesOtherFilesAlone) {
  HandMade circle;
  circle.chain = HandMade::Chain::circle;
  const Bytes circleBytes = circle.make();
  const std::string asText(circleBytes.begin(), circleBytes.end());
  const std::pair<std::string, std::string> files[] = {
      {folder.file("text.tiff", "these are holiday pictures"), "these are holiday pictures"},
      {folder.file("circle.tiff", asText), asText}};
  for (const auto& [path, content] : files) {
    TiffPageWriter writer;
    EXPECT_FALSE(writer.open(path, 5, 3, problem)) << path;
    EXPECT_NE(problem, "");
    EXPECT_EQ(fileContents(path), content);
  }
  for (const std::string& path : {folder.subfolder("folder.tiff"), folder.path("nowhere/dump.tiff")}) {
    problem.clear();
    EXPECT_FALSE(TiffPageWriter().open(path, 5, 3, problem)) << path;
    EXPECT_NE(problem, "");
  }
}

TEST_F(TiffFiles, OfTwoWritersOfAFileOneGivesWay) {
  const std::string path = folder.path("dump.tiff");
  TiffPageWriter first, second;
  ASSERT_TRUE(first.open(path, 5, 3, problem) && appendPage(first, 0, problem)) << problem;
  ASSERT_TRUE(second.open(path, 5, 3, problem) && appendPage(second, 1, problem)) << problem;
  EXPECT_FALSE(appendPage(first, 2, problem));
  EXPECT_TRUE(appendPage(second, 3, problem)) << problem;
  const auto reader = TiffPageReader::openFile(path, 5, 3, problem);
  ASSERT_NE(reader, nullptr) << problem;
  EXPECT_EQ(reader->pageCount(), 3u);
}

TEST_F(TiffFiles, AFullFileKeepsItsPages) {
  const std::string path = folder.path("dump.tiff");
  TiffPageWriter writer;
  ASSERT_TRUE(writer.open(path, 5, 3, problem, 5000));
  std::uint16_t pages = 0;
  while (pages < 100 && appendPage(writer, pages, problem)) ++pages;
  EXPECT_EQ(problem, "the file is full");
  EXPECT_LE(std::filesystem::file_size(path), 5000u);
  const auto reader = TiffPageReader::openFile(path, 5, 3, problem);
  ASSERT_NE(reader, nullptr);
  EXPECT_GE(pages, 2u);
  EXPECT_EQ(reader->pageCount(), pages);
}

TEST(PngFiles, HoldTheirBytesStored) {
  const ScratchFolder folder;
  std::string problem;
  // Signature, header, text, one stored block, checksums: by an independent script (Python's zlib).
  imageFiles::Picture picture{{imageFiles::Content::cooked, 1, 1, 0.0f, 0.0f, 0.0f}, 2, 1, {}};
  const Levels levels = {0x0102, 0xFFFE};
  picture.pixels.resize(4);
  std::memcpy(picture.pixels.data(), levels.data(), 4);
  ASSERT_TRUE(imageFiles::writePicture(folder.path("a.png"), picture, problem)) << problem;
  const Bytes file = bytesOf(folder.path("a.png"));
  const Bytes data = {0x00, 0x00, 0x00, 0x10, 'I',  'D',  'A',  'T',  0x78, 0x01, 0x01, 0x05, 0x00, 0xFA,
                      0xFF, 0x00, 0x01, 0x02, 0xFF, 0xFE, 0x03, 0x0B, 0x02, 0x01, 0x06, 0x90, 0x21, 0x19};
  EXPECT_NE(std::search(file.begin(), file.end(), data.begin(), data.end()), file.end());
}

TEST(PictureDescription, IsReadWhereItIsWhole) {
  const PictureInfo info{imageFiles::Content::cooked, 12345678901, 3, 300.015f, -40.5f, 262.14f};
  const std::string text = imageFiles::describe(info);
  const auto read = imageFiles::readDescription("Scanner 5 " + text + " colour=none");
  ASSERT_TRUE(read);
  EXPECT_EQ(imageFiles::describe(*read), text);
  EXPECT_EQ(read->frame, 12345678901u);
  EXPECT_EQ(read->rangeMinK, -40.5f);
  for (const char* broken : {"", "content=thermal",
                             "content=thermic frame=1 index=1 sensorTemperatureK=1 "
                             "rangeMinK=1 rangeSpanK=1",
                             "content=thermal frame=x index=1 "
                             "sensorTemperatureK=1 rangeMinK=1 rangeSpanK=1"}) {
    EXPECT_FALSE(imageFiles::readDescription(broken)) << broken;
  }
}

}  // namespace
