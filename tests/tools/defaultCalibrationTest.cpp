#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "core/logger.h"
#include "platform/system.h"
#include "tools/common/defaultCalibration.h"

namespace {

namespace fs = std::filesystem;
using tools::defaultCalibrationDirectory;

/// A cache directory of the test's own.
class DefaultCalibration : public testing::Test {
 protected:
  void SetUp() override {
    logger::setConsoleSink([](std::string_view) {});
    fs::remove_all(cache);
    platform::setEnvironmentVariable("XDG_CACHE_HOME", cache.generic_string());
  }
  void TearDown() override {
    logger::setConsoleSink({});
    platform::setEnvironmentVariable("XDG_CACHE_HOME", std::nullopt);
    fs::remove_all(cache);
  }
  std::size_t setCount() const {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(sets)) ++count;
    return count;
  }

  const fs::path cache =
      fs::path(testing::TempDir()) /
      (std::string("ombrix_cache_") + testing::UnitTest::GetInstance()->current_test_info()->name());
  const fs::path sets = cache / "ombrix" / "calibration";
  static constexpr const char* kTable = "/025/Marlow 3_466001359_25.ffc";
};

TEST_F(DefaultCalibration, ConcurrentMakersShareOneSet) {
  std::vector<std::string> places(4);
  {
    std::vector<std::jthread> makers;
    for (auto& place : places)
      makers.emplace_back([&place] { place = defaultCalibrationDirectory("marlow3", 0, false); });
  }
  for (const auto& place : places) EXPECT_EQ(place, places[0]);
  EXPECT_EQ(fs::path(places[0]).parent_path(), sets);
  EXPECT_EQ(fs::file_size(places[0] + kTable), 307222u);
  EXPECT_EQ(setCount(), 1u);  // nothing half-made is left

  const auto made = fs::last_write_time(places[0] + kTable);
  EXPECT_EQ(defaultCalibrationDirectory("marlow3;scene=room;fpa=40", 0, false), places[0]);
  EXPECT_EQ(fs::last_write_time(places[0] + kTable), made);
  fs::resize_file(places[0] + kTable, 1000);
  EXPECT_EQ(defaultCalibrationDirectory("marlow3", 0, false), places[0]);
  EXPECT_EQ(fs::file_size(places[0] + kTable), 307222u);
  EXPECT_EQ(setCount(), 1u);
}

TEST_F(DefaultCalibration, EveryDetectorHasASetOfItsOwn) {
  const auto first = defaultCalibrationDirectory("marlow3", 0, false);
  for (const char* other :
       {"marlow3;seed=2", "marlow3;serial=5", "marlow3;pattern=0.5", "marlow3;defects=off"})
    EXPECT_NE(defaultCalibrationDirectory(other, 0, false), first) << other;
  const auto polynomial = defaultCalibrationDirectory("marlow3", 0, true);
  EXPECT_NE(polynomial, first);
  EXPECT_EQ(fs::file_size(polynomial + "/pffc/Marlow 3_466001359.gpffc"), 320u * 240u * 12u);
  EXPECT_FALSE(fs::exists(first + "/pffc"));  // it would be used
  EXPECT_EQ(setCount(), 6u);
  // Counted as listed: without the unplugged one.
  const auto second = defaultCalibrationDirectory("marlow3,marlow3;0.fault=unplug", 0, false);
  EXPECT_TRUE(fs::exists(second + "/025/Marlow 3_466001360_25.ffc"));
}

TEST_F(DefaultCalibration, GoesOnWithout) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(defaultCalibrationDirectory("no camera", 0, false), "");
  EXPECT_EQ(defaultCalibrationDirectory("marlow3", 1, false), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

  std::ofstream(cache) << "a file";
  testing::internal::CaptureStderr();
  EXPECT_EQ(defaultCalibrationDirectory("marlow3", 0, false), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "ombrix: going on without calibration files: '" + sets.generic_string() + "': Not a directory\n");
}

}  // namespace
