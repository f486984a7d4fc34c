// Bitmap fonts (.bff): loaded, then any text at any place of a frame.
#include "presentation/BitmapFont.h"
#include "memoryFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Provider provider(data, size);
  const auto width = provider.ConsumeIntegralInRange<std::uint16_t>(0, 48);
  const auto height = provider.ConsumeIntegralInRange<std::uint16_t>(0, 48);
  // Mostly near the frame, where something is drawn.
  const bool near = provider.ConsumeBool();
  const int x = near ? provider.ConsumeIntegral<std::int8_t>() : provider.ConsumeIntegral<int>();
  const int y = near ? provider.ConsumeIntegral<std::int8_t>() : provider.ConsumeIntegral<int>();
  const rgb_24b color{provider.ConsumeIntegral<std::uint8_t>(), 0, 255};
  std::string text(provider.ConsumeIntegralInRange<std::size_t>(0, 3) * 100, '\0');
  for (std::size_t i = 0; i < std::min<std::size_t>(text.size(), 6); ++i)
    text[i] = static_cast<char>(provider.ConsumeIntegral<std::uint8_t>());
  for (std::size_t i = 6; i < text.size(); ++i) text[i] = text[i - 6];
  const auto bytes = fuzzing::rest(provider);

  BitmapFont font;
  const bool loaded = font.loadBytes(bytes, "font.bff");
  fuzzing::require(loaded == font.loaded());
  if (fuzzing::isOneIn(16, bytes)) {
    BitmapFont fromFile;
    fuzzing::require(fromFile.load(fuzzing::MemoryFile::of(bytes)) == loaded);
    fuzzing::require(!fromFile.load(fuzzing::MemoryFile::folder) && !fromFile.loaded());
  }
  const image<rgb_24b> frame(width, height);
  font.print(frame, x, y, text.c_str());
  font.draw({frame.data, frame.width, frame.height}, y, x, text, color);
  fuzzing::require(font.widthOf(text) >= 0 && font.cellHeight() >= 0);
  return 0;
}
