// Dumps, replays and snapshots of a whole SDK.

#include <gtest/gtest.h>

#include <filesystem>

#include "imageFiles/tiffFiles.h"
#include "support/SdkRig.h"
#include "support/waitFor.h"
#include "support/workingFolder.h"

namespace {

constexpr int kTimeoutMs = 20000;
constexpr const char* kScenario = "marlow3;scene=coded;step=on;fpa=25";
/// The name is not a pattern: the braces and the 0.00 are in it.
// Windows allows no colon in a name.
const std::string kColon = std::filesystem::path::preferred_separator == '/' ? ":" : "_";
const std::string kDump =
    "data/pictures/Marlow 3_{" + kColon + "d}_grab_466001359_0.00K_{" + kColon + "d}.tiff";

using Levels = std::vector<std::uint16_t>;

class SavedPictures : public testing::Test {
 protected:
  void SetUp() override {
    if (!imageFiles::tiffSupported()) GTEST_SKIP() << "built without libtiff";
  }

  /// Feeds one frame and takes it.
  static Levels next(SdkRig& rig, Ombrix& camera) {
    TakenFrame frame(camera);
    EXPECT_EQ(rig.platform->pump(0, 1), 1u);
    EXPECT_TRUE(frame.takeRaw(camera, kTimeoutMs));
    return frame.levels;
  }
  static bool colorComes(Ombrix& camera) { return camera.getColorFrame(nullptr, nullptr, 200); }

  static std::vector<Levels> pagesOf(const std::string& path, std::vector<std::uint64_t>* frames = nullptr) {
    std::string problem;
    const auto reader = imageFiles::TiffPageReader::openFile(path, 320, 240, problem);
    EXPECT_NE(reader, nullptr) << problem;
    std::vector<Levels> pages;
    image<unsigned short> out(320, 240);
    for (std::size_t page = 0; reader && page < reader->pageCount(); ++page) {
      imageFiles::PictureInfo info;
      EXPECT_TRUE(reader->readPage(page, out, info, problem)) << problem;
      pages.emplace_back(out.data, out.data + out.pixelCount());
      if (frames) frames->push_back(info.frame);
    }
    return pages;
  }
  /// Files below data/pictures whose name holds `part`.
  static std::vector<std::string> filesWith(const std::string& part) {
    std::vector<std::string> found;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator("data/pictures", none)) {
      if (entry.path().string().find(part) != std::string::npos) found.push_back(entry.path().string());
    }
    return found;
  }

  WorkingFolder folder;
};

TEST_F(SavedPictures, DumpHoldsEveryFrameAndReplayGivesThemBack) {
  std::vector<Levels> dumped;
  for (const unsigned hardwareThreads : {1u, 2u}) {  // the second run appends
    SdkRig rig(kScenario, hardwareThreads);
    Ombrix camera(0);
    next(rig, camera);
    EXPECT_TRUE(colorComes(camera));
    EXPECT_EQ(std::filesystem::exists(kDump), !dumped.empty());
    rig.sdk->parseCoreParameter("tiffFrameDump");
    rig.sdk->parseCoreParameter("colorSnapshot");
    for (int frame = 0; frame < 3; ++frame) dumped.push_back(next(rig, camera));
    EXPECT_FALSE(camera.getColorFrame(nullptr, nullptr, 50)) << "colour frames pause";
    EXPECT_FALSE(rig.log.contains("Snapshot written: ")) << "and so do their pictures";
    camera.setFrameDump(false);
    next(rig, camera);
    EXPECT_TRUE(colorComes(camera));
    camera.setFrameDump(true);
    dumped.push_back(next(rig, camera));
    EXPECT_FALSE(rig.log.contains("Missed frame")) << rig.log.text();
  }
  std::vector<std::uint64_t> frames;
  EXPECT_EQ(pagesOf(kDump, &frames), dumped);
  EXPECT_EQ(frames, (std::vector<std::uint64_t>{2, 3, 4, 6, 2, 3, 4, 6}));
  const auto sizeBefore = std::filesystem::file_size(kDump);

  SdkRig rig(kScenario);
  rig.sdk->parseCoreParameter("tiffFrameReplay");
  rig.sdk->parseCoreParameter("tiffFrameDump");  // of no effect on a camera that replays
  Ombrix camera(0);
  camera.setFrameDump(true);
  TakenFrame frame(camera);
  for (int taken = 0; taken < 12; ++taken) {
    ASSERT_TRUE(frame.takeRaw(camera, kTimeoutMs)) << "nothing is pumped: frames come from the file";
    ASSERT_EQ(frame.levels, dumped[(frame.md.frameNumber - 1) % dumped.size()]) << frame.md.frameNumber;
  }
  EXPECT_GT(frame.md.frameNumber, dumped.size()) << "after the last page comes the first";
  EXPECT_TRUE(camera.getColorFrame(nullptr, nullptr, kTimeoutMs));
  EXPECT_EQ(std::filesystem::file_size(kDump), sizeBefore);
}

TEST_F(SavedPictures, TheFirstPageTellsTheScaleOfAReplay) {
  std::filesystem::create_directories("data/pictures");
  Levels page(320 * 240, 30000);
  imageFiles::TiffPageWriter writer;
  std::string problem;
  ASSERT_TRUE(writer.open(kDump, 320, 240, problem)) << problem;
  ASSERT_TRUE(writer.append(page, {imageFiles::Content::thermal, 1, 1, 298.15f, 273.15f, 65.535f}, problem));
  writer.close();
  SdkRig rig(kScenario);
  rig.sdk->parseCoreParameter("tiffFrameReplay");
  rig.sdk->parseCoreParameter("displayTarget");
  Ombrix camera(0);
  ASSERT_TRUE(TakenFrame(camera).takeRaw(camera, kTimeoutMs));
  EXPECT_NEAR(camera.getPixelTemperature(5, 5, 1.0f), 30.0f, 0.01f);
  FairLock lock(frameMutex);  // one frame in, the mean over 16 is that frame's
  EXPECT_NEAR(rig.acquisition(0).processing.target.targetTemperatureK, 303.15f, 0.01f);
}

TEST_F(SavedPictures, WithoutAPlaceTheDumpEndsAndFramesGoOn) {
  folder.file("data", "in the way of the directory");
  SdkRig rig(kScenario);
  Ombrix camera(0);
  rig.sdk->parseCoreParameter("tiffFrameDump");
  rig.sdk->parseCoreParameter("cookedSnapshot");
  for (int frame = 0; frame < 4; ++frame) next(rig, camera);
  EXPECT_TRUE(colorComes(camera));
  EXPECT_TRUE(waitFor([&] { return rig.log.contains("not written: "); }));
  EXPECT_EQ(rig.log.count("Frame dump stopped: "), 1u) << rig.log.text();
  EXPECT_EQ(rig.log.count("not written: "), 1u) << rig.log.text();
  EXPECT_EQ(rig.acquisition(0).processing.dump.writerState, FrameDump::writerStopped);

  std::filesystem::remove("data");
  camera.setFrameDump(true);
  const Levels levels = next(rig, camera);
  EXPECT_EQ(pagesOf(kDump), (std::vector<Levels>{levels}));
}

TEST_F(SavedPictures, ADamagedDumpIsSaidAndTheCameraStreams) {
  std::filesystem::create_directories("data/pictures");
  for (const std::string& content : {std::string("holiday"), std::string("II*\0\xFF\xFF\xFF\x7F", 8)}) {
    folder.file(kDump, content);
    SdkRig rig(kScenario);
    rig.sdk->parseCoreParameter("tiffFrameReplay");
    Ombrix camera(0);
    EXPECT_EQ(rig.log.count("cannot be replayed: "), 1u) << rig.log.text();
    EXPECT_EQ(camera.getErrorText(), "none");
    next(rig, camera);
    rig.sdk->parseCoreParameter("tiffFrameDump");  // nor is it written over
    next(rig, camera);
    EXPECT_EQ(rig.log.count("Frame dump stopped: "), 1u) << rig.log.text();
    EXPECT_EQ(fileContents(kDump), content);
  }
}

TEST_F(SavedPictures, EachSnapshotWordGivesOnePicture) {
  SdkRig rig(kScenario);
  rig.sdk->parseCoreParameter("colorSnapshot");  // before the camera: its first picture
  Ombrix camera(0);
  next(rig, camera);
  EXPECT_TRUE(filesWith("").empty()) << "the zeros that a stream begins with are no picture";
  const Levels first = next(rig, camera);
  const char* const words[] = {"cookedSnapshot", "cookedTiffSnapshot", "thermalTiffSnapshot",
                               "thermalTiffSnapshot", "jpgFrameDump"};
  for (const char* word : words) rig.sdk->parseCoreParameter(word);
  const auto written = [&](std::size_t count) {
    return waitFor([&] { return rig.log.count("Snapshot written: ") == count; });
  };
  const Levels thermal = next(rig, camera);
  ASSERT_TRUE(written(4)) << rig.log.text();
  const auto firstPicture = filesWith("_thermal_");
  ASSERT_EQ(firstPicture.size(), 1u);
  EXPECT_EQ(pagesOf(firstPicture[0]), (std::vector<Levels>{thermal}));
  next(rig, camera);  // the second one that was asked for
  ASSERT_TRUE(written(5)) << rig.log.text();
  next(rig, camera);
  next(rig, camera);
  EXPECT_EQ(filesWith("_thermal_").size(), 2u);
  EXPECT_EQ(filesWith("_cooked_").size(), 2u);
  EXPECT_EQ(filesWith("_color_").size(), 1u);
  EXPECT_EQ(filesWith("").size(), 5u);
}

TEST_F(SavedPictures, TakeSnapshotTellsItsOutcome) {
  SdkRig rig("marlow3;scene=room");
  Ombrix camera(0);
  EXPECT_TRUE(camera.takeSnapshot("thermal.tiff"));
  EXPECT_EQ(pagesOf("thermal.tiff").size(), 1u);
  EXPECT_TRUE(camera.takeSnapshot("color.tif", Ombrix::snapshotColor));
  EXPECT_EQ(fileContents("color.tif").substr(0, 4), std::string("II*\0", 4));
  EXPECT_TRUE(camera.takeSnapshot("cooked.png", Ombrix::snapshotCooked));
  for (const char* path : {"nowhere/a.png", "a.jpg", "", ".", "data.png/"}) {
    rig.log.clear();
    EXPECT_FALSE(camera.takeSnapshot(path)) << path;
    EXPECT_EQ(rig.log.count("not written: "), 1u) << path;
  }
  EXPECT_EQ(filesWith("").size(), 0u);
}

}  // namespace
