// The log of a whole session, against a text written by hand.

#include <gtest/gtest.h>

#include <fstream>

#include "core/deviceRegistry.h"
#include "presentation/ColorPreset.h"
#include "support/SdkRig.h"

namespace {

std::vector<std::string> goldenLines() {
  std::ifstream file(OMBRIX_SOURCE_DIR "/tests/golden/session_lines.txt");
  std::vector<std::string> lines;
  std::string line;
  while (std::getline(file, line) && !line.empty()) {
  }
  while (std::getline(file, line)) lines.push_back(line);
  return lines;
}

/// The line with its escape characters spelled out.
std::string spelled(const std::string& line) {
  std::string out;
  for (const char c : line) {
    if (c == '\033') {
      out += "\\033";
    } else {
      out += c;
    }
  }
  return out;
}

}  // namespace

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
  for (const auto& line : log.lines()) printed.push_back(spelled(line));
  const auto golden = goldenLines();
  ASSERT_EQ(golden.size(), 19u);
  EXPECT_EQ(printed, golden);
}
