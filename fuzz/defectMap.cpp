// Maps of defective pixels (.dpc), and the repair that works them off.
#include "calibration/badPixels.h"
#include "memoryFile.h"
#include "processing/kernels/defectivePixels.h"

namespace {

using List = std::vector<std::pair<int, int>>;

void checkFiles(const fuzzing::Bytes& bytes, std::uint16_t width, std::uint16_t height, bool read,
                const List& list) {
  const std::string& path = fuzzing::MemoryFile::of(bytes);
  List again = {{-1, -1}};
  fuzzing::require(loadBadPixelsList(&again, width, height, path) == read && again == list);
  if (read) {
    again.emplace_back(width, -1);  // is not on the map
    fuzzing::require(saveBadPixelsMap(again, width, height, path));
    fuzzing::require(loadBadPixelsList(&again, width, height, path) && again == list);
  }
  fuzzing::require(!saveBadPixelsMap(list, width, height, fuzzing::MemoryFile::folder));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Provider provider(data, size);
  const auto width = provider.ConsumeIntegralInRange<std::uint16_t>(0, 12);
  const auto height = provider.ConsumeIntegralInRange<std::uint16_t>(0, 12);
  // The repair gets a size of its own: a map of another camera must not reach outside the image.
  const auto imageWidth = provider.ConsumeIntegralInRange<std::uint16_t>(1, 12);
  const auto imageHeight = provider.ConsumeIntegralInRange<std::uint16_t>(1, 12);
  const bool blank = provider.ConsumeBool();
  const auto level = provider.ConsumeIntegralInRange<std::uint16_t>(0, 16383);
  const auto bytes = fuzzing::rest(provider);

  List list = {{-1, -1}};
  const bool read = calibration::readBadPixels(bytes, width, height, list);
  if (fuzzing::isOneIn(16, bytes)) checkFiles(bytes, width, height, read, list);
  if (!read) {
    fuzzing::require(list.empty());
    return 0;
  }
  for (const auto& [x, y] : list) fuzzing::require(x >= 0 && x < width && y >= 0 && y < height);
  image<unsigned short> picture(imageWidth, imageHeight);
  for (unsigned short& pixel : picture.view().pixels()) pixel = level;
  neighbourTable table;
  correctDefectivePixels(picture, list, blank, table);
  correctDefectivePixels(picture, {}, blank, table);
  return 0;
}
