// Maps of defective pixels (.dpc), and the repair that works them off.
#include "calibration/badPixels.h"
#include "fuzzing.h"
#include "processing/kernels/defectivePixels.h"

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

  std::vector<std::pair<int, int>> list = {{-1, -1}};
  if (!calibration::readBadPixels(bytes, width, height, list)) {
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
