// The log of a whole session, against a text written by hand.

#include <gtest/gtest.h>

#include <regex>

#include "core/deviceRegistry.h"
#include "presentation/ColorPreset.h"
#include "support/SdkRig.h"
#include "support/golden.h"

TEST(SessionLog, EveryLineIsTheOneWrittenDown) {
  const LogCapture log(logger::verbosityInfo, LogCapture::Colours::keep);
  const auto platform = simulation::makeSimulatedPlatform("marlow3;scene=coded;step=on");
  transport::installVideoPlatform(platform);
  {
    // An earlier session of this process leaves its presets behind, which would be one warning line.
    MutexLock lock(colorPresets().mutex);
    colorPresets().presets.clear();
  }
  {
    OmbrixSDK sdk(OmbrixSDK::verbosityInfo);
    Ombrix camera(0), again(0), unknown(5);
    unknown.getRawFrame(nullptr, nullptr, 0);
    unknown.getRawFrame(nullptr, nullptr, 1);
    const registry::DeviceUser nobody(9, LOG_HERE);
  }
  transport::installVideoPlatform(nullptr);
  std::vector<std::string> printed;
  for (const auto& line : log.lines())
    printed.push_back(std::regex_replace(line, std::regex("\033"), "\\033"));
  const auto golden = goldenLines("session_lines.txt");
  ASSERT_EQ(golden.size(), 20u);
  EXPECT_EQ(printed, golden);
}
