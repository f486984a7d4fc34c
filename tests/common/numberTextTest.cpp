#include "common/numberText.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

TEST(NumberText, UnsignedKeepsTheLowHalf) {
  struct Case {
    const char* text;
    std::optional<std::uint32_t> value;
  };
  const Case cases[] = {
      {"3", 3},
      {" \t\n\v\f\r+17 apples", 17},
      {"007", 7},
      {"12.9", 12},
      {"0x10", 0},
      {"-1", 4294967295u},
      {"-5", 4294967291u},
      {"4294967295", 4294967295u},
      {"4294967297", 1},
      {"18446744073709551615", 4294967295u},
      {"18446744073709551616", 4294967295u},
      {"-99999999999999999999", 4294967295u},
      {"", {}},
      {"  ", {}},
      {"-", {}},
      {"--1", {}},
      {"+-1", {}},
      {"- 1", {}},
      {"abc", {}},
  };
  for (const Case& c : cases) EXPECT_EQ(readUnsigned32(c.text), c.value) << '"' << c.text << '"';
}

TEST(NumberText, FloatTakesTheLongestPrefixAndRoundsOnce) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  struct Case {
    const char* text;
    std::optional<float> value;
  };
  const Case cases[] = {
      {"30.5", 30.5f},
      {" \t+.5e1z", 5.0f},
      {"-2.", -2.0f},
      {"1e", 1.0f},
      {"1e+x", 1.0f},
      {"1,5", 1.0f},
      {"100ergs", 100.0f},
      {"0x1.8p1", 3.0f},
      {"-0X1P-1", -0.5f},
      {"-inf", -kInfinity},
      {"InfinityX", kInfinity},
      // Halfway between 1 and the next float, plus a little: rounding by way of double loses the little.
      {"1.00000005960464477539062500000001", 1.00000011920928955f},
      {"1e999", kInfinity},
      {"-1e40", -kInfinity},
      {"1e99999999999999999999", kInfinity},
      {"0.000000000000000000000000000000000000000001e90", kInfinity},
      {"1e-999", 0.0f},
      {"100000000000000000000e-90", 0.0f},
      {"0x1p999", kInfinity},
      {"0x1p-999", 0.0f},
      {"", {}},
      {".", {}},
      {"-", {}},
      {"--1", {}},
      {"+-1", {}},
      {"e5", {}},
      {"0x", {}},
      {"0xinf", {}},
      {"warm", {}},
  };
  for (const Case& c : cases) EXPECT_EQ(readFloat(c.text), c.value) << '"' << c.text << '"';
  EXPECT_TRUE(std::isnan(readFloat("nan").value()));
  EXPECT_TRUE(std::signbit(readFloat("-1e-999").value()));
}

TEST(NumberText, HexDigitsStopAtTheFirstOtherCharacter) {
  struct Case {
    const char* text;
    std::uint32_t value;
  };
  for (const Case& c : {Case{"1aF", 0x1AF},
                        {"00000005\r\n", 5},
                        {"FFFFFFFF", 0xFFFFFFFF},
                        {"123456789", 0x23456789},
                        {"0x12", 0},
                        {"", 0},
                        {" 12", 0},
                        {"-1", 0},
                        {"g", 0},
                        {"9:", 9},
                        {"A@", 10}})
    EXPECT_EQ(readHexDigits(c.text), c.value) << '"' << c.text << '"';
}

}  // namespace
