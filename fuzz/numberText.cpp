// Numbers in texts: single precision ones against the C library.
#include "common/numberText.h"

#include <bit>
#include <cmath>

#include "fuzzing.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Provider provider(data, size);
  const auto bytes = fuzzing::rest(provider);
  const std::string text(fuzzing::textOf(bytes).substr(0, fuzzing::textOf(bytes).find('\0')));
  std::string_view behind = text;
  const auto number = takeFloat(behind);
  char* end = nullptr;
  const float wanted = std::strtof(text.c_str(), &end);
  const auto taken = static_cast<std::size_t>(end - text.c_str());
  // "0x" without digits is no number at all to scanf, whose rules count here; strtof reads the 0.
  if (!number && taken != 0 && (*end == 'x' || *end == 'X') && end[-1] == '0') return 0;
  fuzzing::require(number.has_value() == (taken != 0));
  if (number) {
    fuzzing::require(std::isnan(wanted)
                         ? std::isnan(*number)
                         : std::bit_cast<std::uint32_t>(*number) == std::bit_cast<std::uint32_t>(wanted));
    fuzzing::require(text.size() - behind.size() == taken);
  }
  readUnsigned32(text);
  readHexDigits(text);
  std::string_view levels = text;
  while (takeUnsigned16(levels)) {
  }
  return 0;
}
