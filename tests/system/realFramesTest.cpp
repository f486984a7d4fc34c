// Frames of a real, uncorrected detector through the whole SDK.

#include <gtest/gtest.h>

#include <algorithm>

#include "acquisition/backends/simulated/calibrationSet.h"
#include "support/SdkRig.h"
#include "support/scratchFiles.h"
#include "support/simulatedFrames.h"

namespace {

using Levels = std::vector<double>;

double median(Levels values) {
  const std::size_t half = values.size() / 2;
  std::sort(values.begin(), values.end());
  return values.size() % 2 == 1 ? values[half] : 0.5 * (values[half - 1] + values[half]);
}

/// Spread of the columns' medians about their running median over 9 columns.
double columnStripe(const Levels& picture, std::size_t width) {
  Levels medians;
  for (std::size_t x = 0; x < width; ++x) {
    Levels column;
    for (std::size_t i = x; i < picture.size(); i += width) column.push_back(picture[i]);
    medians.push_back(median(column));
  }
  Spread stripe;
  for (std::size_t x = 0; x < width; ++x) {
    const auto first = medians.begin() + static_cast<std::ptrdiff_t>(x < 4 ? 0 : x - 4);
    const auto last = medians.begin() + static_cast<std::ptrdiff_t>(std::min(x + 5, width));
    stripe.add(medians[x] - median({first, last}));
  }
  return stripe.sigma();
}

const std::string kFolder = OMBRIX_SOURCE_DIR "/data/scenes/nuc208/";
constexpr std::size_t kWidth = 206, kHeight = 156;  // the picture without its two reference columns
constexpr std::size_t kLeft = (640 - 208) / 2, kTop = (480 - 156) / 2;  // where it stands on the sensor

/// The scene minus the picture of the shutter, dead pixels replaced by the median.
Levels plainDifference() {
  simulation::GreyPicture scene, shutter;
  EXPECT_EQ(simulation::readPgm(kFolder + "face.pgm", scene), "");
  EXPECT_EQ(simulation::readPgm(kFolder + "shutter.pgm", shutter), "");
  Levels difference, good;
  std::vector<std::size_t> dead;
  for (std::size_t y = 0; y < kHeight; ++y) {
    for (std::size_t x = 0; x < kWidth; ++x) {
      const double level = scene.values[y * scene.width + x], dark = shutter.values[y * scene.width + x];
      if (dark < 100 || dark > 16000) {
        dead.push_back(difference.size());
      } else {
        good.push_back(level - dark);
      }
      difference.push_back(level - dark);
    }
  }
  for (const std::size_t i : dead) difference[i] = median(good);
  return difference;
}

Levels nextPicture(Ombrix& camera, TakenFrame& frame) {
  constexpr int kSettling = 8;  // past the frames still in the ring; stripes are measured at once
  for (int i = 0; i < kSettling; ++i) EXPECT_TRUE(frame.takeRaw(camera, 10000));
  Levels picture;
  for (std::size_t y = kTop; y < kTop + kHeight; ++y) {
    const auto row = frame.levels.begin() + static_cast<std::ptrdiff_t>(y * 640 + kLeft);
    picture.insert(picture.end(), row, row + kWidth);
  }
  return picture;
}

}  // namespace

TEST(RealFrames, AShutterRunTakesTheStripesAwayAsPlainSubtractionDoes) {
  const ScratchFolder data;
  const std::string scenario =
      "bramble6;scene=file:" + kFolder + "face.pgm;values=raw;shutter=" + kFolder + "shutter.pgm";
  ASSERT_TRUE(simulation::writeCalibrationSet(specOf(scenario), data.path("set")));
  SdkRig rig(scenario);
  Ombrix camera(0, data.path("set"));
  TakenFrame frame(camera);
  const double plain = columnStripe(plainDifference(), kWidth);
  const double before = columnStripe(nextPicture(camera, frame), kWidth);
  camera.closeShutter();
  nextPicture(camera, frame);
  camera.runFFC(true, 8);
  camera.openShutter();
  const double after = columnStripe(nextPicture(camera, frame), kWidth);
  RecordProperty("counts",
                 std::to_string(before) + " " + std::to_string(after) + " " + std::to_string(plain));
  EXPECT_NEAR(plain, 6.9, 0.1);
  EXPECT_GT(before, 5.0 * plain);
  EXPECT_LE(after, 1.2 * plain);
}
