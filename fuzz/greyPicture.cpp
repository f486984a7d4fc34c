// Pictures that simulated cameras look at (16-bit PGM).
#include "acquisition/backends/simulated/pgm.h"
#include "memoryFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Provider provider(data, size);
  const auto bytes = fuzzing::rest(provider);
  simulation::GreyPicture picture;
  if (simulation::parsePgm(fuzzing::textOf(bytes), picture).empty()) {
    fuzzing::require(picture.values.size() == std::size_t{picture.width} * picture.height);
    fuzzing::require(!picture.values.empty());
  } else {
    fuzzing::require(picture.values.empty());
  }
  if (fuzzing::isOneIn(16, bytes)) {
    simulation::GreyPicture again;
    fuzzing::require(simulation::readPgm(fuzzing::MemoryFile::of(bytes), again).empty() ==
                     !picture.values.empty());
    fuzzing::require(again.values == picture.values && again.width == picture.width);
    fuzzing::require(!simulation::readPgm("/proc/self/fd/none", again).empty());
  }
  return 0;
}
