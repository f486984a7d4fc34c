// TIFF files that are replayed as a camera's frames: every page of them, and the description on each.
#include "fuzzing.h"
#include "imageFiles/tiffFiles.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Provider provider(data, size);
  const auto width = provider.ConsumeIntegralInRange<std::uint16_t>(1, 8);
  const auto height = provider.ConsumeIntegralInRange<std::uint16_t>(1, 8);
  const auto bytes = fuzzing::rest(provider);
  imageFiles::readDescription(fuzzing::textOf(bytes));
  std::string problem;
  const auto reader = imageFiles::TiffPageReader::openBytes(bytes, width, height, problem);
  fuzzing::require(reader ? reader->pageCount() > 0 : !problem.empty());
  if (!reader) return 0;
  image<unsigned short> picture(width, height);
  imageFiles::PictureInfo info;
  // Backwards: replay goes round.
  for (std::size_t page = reader->pageCount(); page-- > 0;) {
    problem.clear();
    fuzzing::require(reader->readPage(page, picture, info, problem) || !problem.empty());
  }
  fuzzing::require(!reader->readPage(reader->pageCount(), picture, info, problem));
  return 0;
}
