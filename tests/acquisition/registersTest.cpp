#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <thread>

#include "acquisition/registers/CameraRegisters.h"
#include "acquisition/registers/registerReply.h"
#include "common/format.h"
#include "core/settings.h"
#include "support/LogCapture.h"
#include "support/golden.h"

using testing::ElementsAre;
using transport::kTransferSet;

namespace {

/// A camera at the level of its extension unit: registers, a flash engine, and a log of what passed.
class FakeLink : public RegisterLink {
 public:
  explicit FakeLink(std::int32_t product) : pid(product) {}

  std::map<std::string, std::string> values;  // "R12 0000" -> "0012"
  std::function<std::uint8_t(std::uint32_t)> flash = [](std::uint32_t) { return std::uint8_t{0xFF}; };
  std::int32_t vid = 0x5c2b;
  std::int32_t pid;
  std::vector<std::string> log;

  void transferUnit(std::uint32_t selector, transport::TransferFlags flags,
                    std::span<std::uint8_t> bytes) override {
    if (flags == kTransferSet) {
      ASSERT_EQ(bytes.size(), 16u);
      EXPECT_EQ(bytes[13] | bytes[14] | bytes[15], 0);
      command.assign(bytes.begin(), bytes.begin() + 13);
      replied = false;
      log.push_back(format("SET {:d} {:s}", selector, command));
      if (command.starts_with("W01 03")) flashSetUp[command[7]] = std::stoul(command.substr(9), nullptr, 16);
      return;
    }
    log.push_back(format("GET {:d} {:d}", selector, bytes.size()));
    std::fill(bytes.begin(), bytes.end(), std::uint8_t{0});
    if (replied && command == "W01 0301 0000") return readFlash(bytes);
    replied = true;
    const auto value = values.find(command.substr(0, 8));
    const std::string reply = command.substr(0, 9) + (value == values.end() ? "0000" : value->second);
    std::copy_n(reply.begin(), std::min(reply.size(), bytes.size()), bytes.begin());
  }
  std::int32_t vendorId() const override { return vid; }
  std::int32_t productId() const override { return pid; }

 private:
  void readFlash(std::span<std::uint8_t> bytes) {
    EXPECT_EQ(flashSetUp['5'], bytes.size());
    const auto address = static_cast<std::uint32_t>(flashSetUp['3'] << 16 | flashSetUp['4']);
    for (std::uint32_t i = 0; i < bytes.size(); ++i) bytes[i] = flash(address + i);
  }

  std::string command;
  bool replied = false;
  std::map<char, unsigned long> flashSetUp;  // by the last digit of the register
};

void storeText(std::map<std::uint32_t, std::uint8_t>& cells, std::uint32_t address, const std::string& text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    cells[address + static_cast<std::uint32_t>(i)] = static_cast<std::uint8_t>(text[i]);
  }
}

std::function<std::uint8_t(std::uint32_t)> flashOf(std::map<std::uint32_t, std::uint8_t> cells) {
  return [cells = std::move(cells)](std::uint32_t address) {
    const auto cell = cells.find(address);
    return cell == cells.end() ? std::uint8_t{0xFF} : cell->second;
  };
}

}  // namespace

TEST(CameraRegisters, RepliesBecomeSerialAndSensorValues) {
  FakeLink bramble(0x96eb);
  bramble.values = {{"R12 0000", "0012"}, {"R12 0001", "0034"}, {"R12 0002", "0005"}, {"R12 0003", "0067"},
                    {"R12 004C", "0012"}, {"R12 004D", "0034"}, {"R12 004B", "1F2E"}, {"R12 004F", "0056"},
                    {"R12 0050", "0078"}, {"R12 005B", "BBBB"}, {"R12 0099", "CCCC"}, {"R12 0040", "00a9"}};
  CameraRegisters registers(bramble);
  EXPECT_EQ(registers.readSerialNumber(), 466001359);
  std::array<std::uint16_t, 4> values{};
  EXPECT_TRUE(registers.readSensorConfiguration(values));
  EXPECT_THAT(values, ElementsAre(0x5678, 0x1F2E, 0x1234, 0x00A9));
  bramble.vid = 0x16d0;
  EXPECT_EQ(registers.readSerialNumber(), 0);

  FakeLink marlow(0x96ea);
  marlow.values = {{"R13 0003", "1234"},
                   {"R13 0004", "0567"},
                   {"R13 060C", "01A4"},
                   {"R13 060D", "0002"},
                   {"R13 060E", "0003"}};
  CameraRegisters marlowRegisters(marlow);
  EXPECT_EQ(marlowRegisters.readSerialNumber(), 466001359);
  EXPECT_EQ(marlowRegisters.sendCommand("R13 060C 0000", "AGC_CURRENT_GSK"), 0x01A4);
  values[3] = 77;
  EXPECT_TRUE(marlowRegisters.readCurrentAGC(values));
  EXPECT_THAT(values, ElementsAre(3, 2, 0x01A4, 77));
  // (65535 * 100 + 63) * 1000 + 1023 = 6553564023 wraps to 2258596727.
  marlow.values = {{"R13 0003", "FFFF"}, {"R13 0004", "FFFF"}};
  EXPECT_EQ(static_cast<std::uint32_t>(marlowRegisters.readSerialNumber()), 2258596727u);
}

TEST(RegisterReply, ValueIsTheLeadingHexDigits) {
  const std::pair<const char*, int> cases[] = {{"R13 060C 01A4", 0x01A4},
                                               {"R13 060C FFFFF", 0xFFFF},
                                               {"R13 060C", 0},
                                               {"", 0},
                                               {"garbage, dead", 0xDEAD}};
  for (const auto& [reply, value] : cases) {
    std::array<std::uint8_t, 16> block{};
    std::copy_n(reply, std::min<std::size_t>(std::strlen(reply), 16), block.begin());
    EXPECT_EQ(registers::replyValue(block), value) << reply;
  }
  const std::array<std::uint8_t, 10> cut = {'R', '1', '3', ' ', '0', '6', '0', 'C', ' ', '7'};
  EXPECT_EQ(registers::replyValue(cut), 7);
  EXPECT_EQ(registers::replyValue(std::span(cut).first(9)), 0);
}

TEST(CameraRegisters, FlashIsReadInPowersOfTwo) {
  FakeLink link(0x96eb);
  link.flash = [](std::uint32_t address) { return static_cast<std::uint8_t>(address * 31 + (address >> 8)); };
  CameraRegisters registers(link);
  std::vector<std::uint8_t> bytes(45000);
  ASSERT_TRUE(registers.readFlash(true, 0x3FFF0, bytes));
  bool same = true;
  for (std::uint32_t i = 0; i < bytes.size(); ++i) same = same && bytes[i] == link.flash(0x3FFF0 + i);
  EXPECT_TRUE(same);
  std::vector<std::string> bulk;
  std::copy_if(link.log.begin(), link.log.end(), std::back_inserter(bulk),
               [](const std::string& line) { return line.starts_with("GET") && line != "GET 5 16"; });
  EXPECT_THAT(bulk, ElementsAre("GET 16 32768", "GET 14 8192", "GET 12 2048", "GET 11 1024", "GET 10 512",
                                "GET 9 256", "GET 8 128", "GET 7 64", "GET 4 8"));
  EXPECT_EQ(link.log[0], "SET 5 W01 0302 0001");
  EXPECT_TRUE(registers.readFlash(false, 0xFFFFFFFF, std::span(bytes).first(1)));
  LogCapture capture;
  EXPECT_FALSE(registers.readFlash(false, 0xFFFFFFFF, std::span(bytes).first(2)));
  EXPECT_EQ(capture.lines().size(), 1u);
}

TEST(CameraRegisters, ParameterBlockIsShown) {
  FakeLink link(0x96eb);
  std::map<std::uint32_t, std::uint8_t> cells;
  storeText(cells, 0x40000, " T-640/B ");
  storeText(cells, 0x40030, std::string("\x01\x02\xFF\xFF\x00\x00\xFE\xFF\x3C\x00", 10));
  link.flash = flashOf(cells);
  CameraRegisters registers(link);
  std::string text;
  EXPECT_TRUE(registers.getParameters(false, [&](std::string_view piece) { text += piece; }));
  EXPECT_TRUE(text.starts_with("\033[0;38;5;242mPart number: \033[0;38;5;248mT-640/B\n"));
  std::string expected;
  for (const std::string& line : goldenLines("parameters.txt")) expected += line + "\n";
  EXPECT_EQ(withoutColours(text), expected);

  link.flash = [](std::uint32_t address) {
    return static_cast<std::uint8_t>(address == 0x10000 ? 0x0A : 0xC7);
  };
  std::size_t dumped = 0;
  std::string beginning;
  EXPECT_TRUE(registers.getParameters(true, [&](std::string_view piece) {
    dumped += piece.size();
    if (dumped < 200000) beginning += piece;
  }));
  EXPECT_NE(withoutColours(beginning).find("Defective pixels: <array> 0a c7 c7"), std::string::npos);
  EXPECT_GT(dumped, 3 * (307200u + 3686400 + 4915200 + 131072 + 1228800));
}

TEST(CameraRegisters, FlashTextsAreCutAndReplacedByTheNumber) {
  const struct {
    std::string stored, part, serial;
  } cases[] = {
      {"AB-12", "AB-12", "AB-12"},
      {std::string("  AB 1 \0zz", 10), "AB 1", "AB 1"},
      {"", "", "466001359"},
      {"A\x07"
       "B",
       "", "466001359"},
      {"    ", "", "466001359"},
      {"0123456789ABCDEF0123456789ABCDEFxyz", "0123456789ABCDEF0123456789ABCDEF", "0123456789ABCDEF"}};
  for (const auto& c : cases) {
    FakeLink link(0x96eb);
    link.values = {{"R12 0000", "0012"}, {"R12 0001", "0034"}, {"R12 0002", "0005"}, {"R12 0003", "0067"}};
    std::map<std::uint32_t, std::uint8_t> part, serial;
    storeText(part, 0x40000, c.stored);
    storeText(serial, 0x40020, c.stored);
    CameraRegisters registers(link);
    link.flash = flashOf(part);
    EXPECT_EQ(registers.readPartNumber(), c.part);
    link.flash = flashOf(serial);
    EXPECT_EQ(registers.readSerialText(), c.serial);
    link.values.clear();
    if (c.part.empty()) {
      EXPECT_EQ(registers.readSerialText(), "");
    }
  }
}

TEST(CameraRegisters, VerboseShowsCommandAndReply) {
  LogCapture capture(logger::verbosityDebug, LogCapture::Colours::keep);
  settings::create(0, nullptr);
  ASSERT_TRUE(settings::inst()->parseParam("UVCVerbose"));
  FakeLink link(0x96eb);
  link.values = {{"R12 0040", "1\r\n\n"}};
  capture.clear();
  CameraRegisters(link).sendCommand("R12 0040 0000", "GAIN_IMAGE");
  const std::vector<std::string> lines = capture.lines();
  settings::release();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_NE(lines[0].find("GAIN_IMAGE\033[0;38;5;98m \033[0;38;5;242m←\033[0;38;5;98m \"R12 0040 0000\""),
            std::string::npos);
  EXPECT_NE(lines[1].find("GAIN_IMAGE\033[0;38;5;98m \033[0;38;5;242m→\033[0;38;5;98m "
                          "\"R12 0040 1\033[0;38;5;242m<CRLF>\033[0;38;5;98m.\""),
            std::string::npos);
  const std::uint8_t reversed[] = {'A', '\n', '\r', 'B', 0, 'C'};
  EXPECT_EQ(withoutColours(registers::printableReply(reversed)), "A<LFCR>B");

  unsigned char buffer[17];
  std::fill(std::begin(buffer), std::end(buffer), static_cast<unsigned char>(0xAA));
  EXPECT_TRUE(CameraRegisters(link).readResponse("GAIN_IMAGE", buffer, 16, false));
  EXPECT_EQ(buffer[16], 0);
}

TEST(CameraRegisters, CommandsOfTwoThreadsNeverMix) {
  FakeLink link(0x96eb);
  CameraRegisters registers(link);
  std::array<std::uint8_t, 32> bytes{};
  std::thread reader([&] {
    for (int i = 0; i < 50; ++i) registers.readFlash(false, 0x40000, bytes);
  });
  for (int i = 0; i < 200; ++i) registers.setGSK(0x1234);
  reader.join();
  std::size_t i = 0;
  while (i < link.log.size()) {
    const bool flash = link.log[i].starts_with("SET 5 W01 0302");
    const bool pair = link.log[i] == "SET 5 W12 004C 0012";
    ASSERT_TRUE(flash || pair) << i << ": " << link.log[i];
    if (flash) {
      ASSERT_EQ(link.log[i + 10], "GET 6 32");
    }
    if (pair) {
      ASSERT_EQ(link.log[i + 2], "SET 5 W12 004D 0034");
    }
    i += flash ? 11 : 4;
  }
}
