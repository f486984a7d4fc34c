// Samples of any length for streams of any geometry, into images of any size.
#include "acquisition/transport/sampleUnpacking.h"

#include <algorithm>
#include <cstring>

#include "common/image.h"
#include "fuzzing.h"

namespace {

/// Not counted among what an input reaches: it would take longer than the unpacking.
[[clang::no_sanitize("coverage")]] unsigned short highest(const image<unsigned short>& picture) {
  unsigned short level = 0;
  for (std::size_t i = 0; i < picture.sizeBytes / 2; ++i) level = std::max(level, picture.data[i]);
  return level;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Provider provider(data, size);
  // The sizes that have rules of their own, small ones, and any.
  const auto side = [&](std::initializer_list<std::uint32_t> known) {
    const auto pick = provider.ConsumeIntegralInRange<std::size_t>(0, known.size() + 1);
    if (pick < known.size()) return *(known.begin() + pick);
    return pick == known.size() ? std::uint32_t{provider.ConsumeIntegral<std::uint8_t>()}
                                : provider.ConsumeIntegral<std::uint32_t>();
  };
  transport::SampleLayout layout;
  layout.width = side({320, 640, 648, 1280, 1288, 1296});
  layout.height = side({240, 480, 512, 1024, 1, 2});
  layout.pitch = side({0, 640, 1280, 2592});
  const auto width = provider.ConsumeIntegralInRange<std::uint16_t>(0, 700);
  const auto height = provider.ConsumeIntegralInRange<std::uint16_t>(0, 8);
  const auto extraBytes = provider.ConsumeIntegral<std::int8_t>();
  fuzzing::Bytes sample = fuzzing::rest(provider);
  // Mostly as long as it has to be or nearly so, the input's bytes repeated; 32 KB are enough for the rules.
  constexpr std::uint64_t kLongest = 1 << 15;
  const std::uint64_t wanted = layout.sizeBytes() + static_cast<std::uint64_t>(std::int64_t{extraBytes});
  if (layout.width <= 1300 && layout.height <= 1024 && layout.pitch <= 2592 && !sample.empty() &&
      wanted <= kLongest) {
    const std::size_t given = sample.size();
    sample.resize(static_cast<std::size_t>(wanted));
    // Twice as much each time; the input is longer than what is wanted at times.
    for (std::size_t done = given; done < sample.size(); done *= 2)
      std::memcpy(&sample[done], sample.data(), std::min(done, sample.size() - done));
    sample.shrink_to_fit();
  }
  image<unsigned short> picture(width, height);
  float temperature = -1.0f;
  const bool done = transport::unpackSample(sample, layout, picture.view(), temperature);
  fuzzing::require(done || temperature == -1.0f);
  fuzzing::require(highest(picture) <= 16383);
  return 0;
}
