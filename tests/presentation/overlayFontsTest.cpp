#include "presentation/overlays/overlayFonts.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "core/settings.h"
#include "support/LogCapture.h"
#include "support/scratchFiles.h"

namespace {

constexpr const char* kCommitted = OMBRIX_SOURCE_DIR "/data/fonts/";

/// Loads the fonts for a camera of a data directory and tells the text font's height, 0 when there is none.
int textHeightWith(const std::string& dataDirectory) {
  freeOverlayFonts();
  loadOverlayFonts(dataDirectory);
  FairLock lock(frameMutex);
  const int height = overlayFonts().text.loaded() ? overlayFonts().text.cellHeight() : 0;
  EXPECT_EQ(overlayFonts().label.loaded(), height != 0);
  return height;
}

int committedHeight(const char* name) {
  BitmapFont font;
  EXPECT_TRUE(font.load(kCommitted + std::string(name) + ".bff"));
  return font.cellHeight();
}

class OverlayFontFiles : public testing::Test {
 protected:
  OverlayFontFiles() { settings::create(0, nullptr); }
  ~OverlayFontFiles() override {
    freeOverlayFonts();
    settings::release();
  }
  const ScratchFolder data;
  const std::string fonts = data.subfolder("fonts");
};

TEST_F(OverlayFontFiles, TheDataDirectoryComesFirstThenTheLibrarysOwn) {
  LogCapture log;
  EXPECT_EQ(textHeightWith(data.path("")), committedHeight("Calibri_24_AA"));
  std::filesystem::copy(kCommitted + std::string("Calibri_16_AA.bff"), fonts + "/Calibri_24_AA.bff");
  EXPECT_EQ(textHeightWith(data.path("")), committedHeight("Calibri_16_AA"));
  loadOverlayFonts("nowhere");  // another camera opened later changes nothing
  FairLock lock(frameMutex);
  EXPECT_EQ(overlayFonts().text.cellHeight(), committedHeight("Calibri_16_AA"));
  EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(OverlayFontFiles, AMissingOrDamagedFontIsReplaced) {
  settings::inst()->parseParam("font=Runes_24");
  LogCapture log;
  EXPECT_EQ(textHeightWith(data.path("")), committedHeight("Calibri_32_AA"));
  EXPECT_EQ(log.count("Font 'Runes_24' not found, using default 'Calibri_32_AA'"), 1u);
  EXPECT_EQ(log.lines().size(), 1u);
  data.file("fonts/Runes_24.bff", "no font");
  EXPECT_EQ(textHeightWith(data.path("")), committedHeight("Calibri_32_AA"));
  EXPECT_EQ(log.count("Font 'Runes_24' not found, using default 'Calibri_32_AA'"), 2u);
  EXPECT_EQ(log.count("Unrecognized file format"), 1u);
}

TEST_F(OverlayFontFiles, WithoutAnyFontThereIsALineAndNoText) {
  for (const char* name : {"Calibri_16_AA", "Calibri_24_AA", "Calibri_32_AA"}) {
    data.file("fonts/" + std::string(name) + ".bff", "no font");
  }
  LogCapture log;
  EXPECT_EQ(textHeightWith(data.path("")), 0);
  EXPECT_EQ(log.count("Unrecognized file format"), 3u);
  EXPECT_EQ(log.lines().size(), 4u) << log.text();
}

TEST(CommittedFonts, HaveEveryPrintableCharacterOfTheirEncoding) {
  for (const char* name : {"Calibri_16_AA", "Calibri_24_AA", "Calibri_32_AA"}) {
    BitmapFont font;
    ASSERT_TRUE(font.load(kCommitted + std::string(name) + ".bff"));
    for (int code = 32; code < 256; ++code) {
      const char character = static_cast<char>(code);
      image<rgb_24b> frame(100, 60);
      ASSERT_FALSE(font.draw(frame.view(), 5, 5, {&character, 1}, {255, 255, 255})) << code;
      const bool inked =
          std::any_of(frame.data, frame.data + frame.pixelCount(), [](rgb_24b p) { return p.r > 128; });
      const bool blank = code == ' ' || code == 160 || (code >= 127 && code < 160);
      EXPECT_EQ(inked, !blank) << name << ' ' << code;
    }
    EXPECT_EQ(font.widthOf("0123456789"), 10 * font.widthOf("0")) << name;  // running values keep their place
  }
}

}  // namespace
