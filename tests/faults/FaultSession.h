#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iterator>
#include <memory>
#include <optional>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "acquisition/imageAcquisition.h"
#include "acquisition/transport/videoPlatform.h"
#include "core/ThreadPool.h"
#include "ombrix/Ombrix.h"
#include "ombrix/OmbrixSDK.h"
#include "support/LogCapture.h"

/// A whole SDK with one camera, on a platform in which a test has planted a fault, and what it says.
struct FaultSession {
  explicit FaultSession(std::shared_ptr<transport::VideoPlatform> platform, unsigned hardwareThreads = 1) {
    ThreadPool::setHardwareThreadsForTesting(hardwareThreads);  // pools stay to the end of the process
    transport::installVideoPlatform(std::move(platform));
    sdk.emplace(OmbrixSDK::verbosityErrors);
  }
  ~FaultSession() {
    close();
    transport::installVideoPlatform(nullptr);
    ThreadPool::setHardwareThreadsForTesting(0);
  }
  FaultSession(const FaultSession&) = delete;
  FaultSession& operator=(const FaultSession&) = delete;

  Ombrix& open(const std::string& directory = "nowhere") { return camera.emplace(0, directory); }
  /// Destroys the SDK below a getter that waits without limit: both must return.
  void close() {
    if (!sdk) return;
    auto blocked = std::async(std::launch::async, [this] {
      if (camera) camera->getRawFrame(nullptr, nullptr, -1);
    });
    const auto begin = std::chrono::steady_clock::now();
    sdk.reset();
    blocked.get();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(8));
  }
  /// Opens the camera, lets a frame come by `feed`, and takes it.
  bool runs(const std::function<void()>& feed, const std::string& directory = "nowhere") {
    if (!camera) open(directory);
    feed();
    return camera->getErrorText() == "none" && camera->getColorFrame(nullptr, nullptr, 20000);
  }
  /// The lines about failures, without those about calibration files that are not there.
  std::vector<std::string> complaints() const {
    std::vector<std::string> found;
    for (const std::string& line : log.lines()) {
      if (line.find(" failed") != std::string::npos || line.find("Unable to") != std::string::npos)
        found.push_back(line.substr(std::string_view(" ● ").size()));
    }
    return found;
  }
  imageAcquisition& inside() const {
    return *static_cast<imageAcquisition*>(OmbrixSDK::mConnectedDevices.at(0));
  }

  LogCapture log{logger::verbosityInfo};
  std::optional<OmbrixSDK> sdk;
  std::optional<Ombrix> camera;
};

/// What the sources of the library below src/`folder` hold at the first group of `pattern`: the inventory
/// that the rows are held against.
inline std::set<std::string> inSources(const std::string& folder, const std::string& pattern) {
  std::set<std::string> found;
  const std::regex wanted(pattern);
  for (const auto& entry :
       std::filesystem::recursive_directory_iterator(std::string(OMBRIX_SOURCE_DIR "/src/") + folder)) {
    if (!entry.is_regular_file()) continue;
    std::ifstream file(entry.path(), std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    for (std::sregex_iterator match(text.begin(), text.end(), wanted), end; match != end; ++match)
      found.insert((*match)[1]);
  }
  return found;
}

/// Every item of the inventory must have a row, and there must be an inventory.
inline void expectRows(const std::set<std::string>& inventory, const std::set<std::string>& rows) {
  EXPECT_FALSE(inventory.empty());
  for (const std::string& item : inventory) EXPECT_TRUE(rows.count(item)) << "no row for: " << item;
}
