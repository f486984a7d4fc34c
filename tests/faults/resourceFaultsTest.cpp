// Memory and threads that run out while a camera is opened, memory in calls on an open one.

#include <functional>
#include <iterator>
#include <system_error>

#include "acquisition/backends/simulated/SimulatedPlatform.h"
#include "core/threadStart.h"
#include "faults/FaultSession.h"
#include "support/allocationCounter.h"

#if defined(__linux__)
#include "acquisition/backends/v4l2/V4L2Platform.h"
#include "support/v4l2/FakeKernel.h"
#endif

namespace {

std::vector<std::string> startedThreads;
std::size_t refusedThread = 0;  // counts from 1; 0 = none

void noteOrRefuse(const char* purpose) {
  startedThreads.emplace_back(purpose);
  if (startedThreads.size() == refusedThread)
    throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
}

/// A backend with one camera.
struct Backend {
  std::shared_ptr<transport::VideoPlatform> platform;
  std::function<void()> feed;            ///< lets one frame come
  std::function<bool()> everythingBack;  ///< nothing is open, started or mapped
};

Backend simulated() {
  const auto platform = simulation::makeSimulatedPlatform("marlow3;scene=coded;step=on");
  return {platform, [=] { platform->pump(0, 1); }, [=] { return platform->startCount() == 0; }};
}

#if defined(__linux__)
Backend ofKernel() {
  const auto kernel = std::make_shared<FakeKernel>();
  FakeNode& node = kernel->addCamera(0, 0x96ea);
  node.width = 320;
  node.height = 240;
  return {std::make_shared<v4l2::V4L2Platform>(kernel), [=] { kernel->produce(1); },
          [=] { return kernel->openDescriptors() == 0 && kernel->mappings() == 0; }};
}
#endif

std::vector<Backend> backends() {
#if defined(__linux__)
  return {simulated(), ofKernel()};
#else
  return {simulated()};
#endif
}

}  // namespace

#if OMBRIX_OWN_NEW

namespace {

std::size_t openFiles() {
#if defined(__linux__)
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
#else
  return 0;
#endif
}

}  // namespace

TEST(FaultMatrix, EveryAllocationOfTheStartUpFailsOnce) {
  const Backend backend = simulated();
  FaultSession session(backend.platform);
  std::uint64_t failing = 0;
  for (bool struck = true; struck;) {
    session.sdk.reset();
    session.log.clear();
    failAllocation(++failing);
    session.sdk.emplace(OmbrixSDK::verbosityErrors);
    struck = allocationFailed();
    failAllocation(0);
    if (OmbrixSDK::mStatus) continue;
    EXPECT_EQ(session.log.count("Start-up failed: std::bad_alloc"), 1u) << failing;
    EXPECT_TRUE(backend.everythingBack());
    EXPECT_FALSE(session.open().getRawFrame(nullptr, nullptr, -1)) << "nobody would serve it: " << failing;
  }
  EXPECT_GT(failing, 20u);
  session.camera.reset();
  EXPECT_TRUE(session.runs(backend.feed));
}

// Each attempt gets one allocation further than the one before, in the same SDK: what an earlier one left
// behind would be in the way of the later ones.
TEST(FaultMatrix, EveryAllocationOfOpeningFailsOnce) {
  const std::string directory;
  for (const Backend& backend : backends()) {
    const std::size_t filesBefore = openFiles();
    std::uint64_t failing = 0;
    for (bool struck = true; struck;) {
      FaultSession session(backend.platform);
      while (struck && !session.sdk->isConnected(0)) {
        session.log.clear();
        failAllocation(++failing);
        session.open(directory);
        struck = allocationFailed();
        failAllocation(0);
        const bool registered = session.sdk->isConnected(0);
        EXPECT_EQ(session.log.count("Opening failed: std::bad_alloc. Handle: 0"), registered ? 0u : 1u);
      }
      EXPECT_TRUE(session.log.contains("Unable to start Marlow 3 streaming!") || session.runs(backend.feed));
    }
    EXPECT_GT(failing, 200u);
    EXPECT_TRUE(backend.everythingBack());
    EXPECT_EQ(openFiles(), filesBefore);
  }
}

TEST(FaultMatrix, EveryAllocationOfACallFailsOnce) {
  Ombrix unknown(7);  // before there is an SDK: enters no list
  const auto platform = simulation::makeSimulatedPlatform("bramble6;scene=coded;step=on");
  FaultSession session(platform);
  ASSERT_TRUE(session.runs([&] { platform->pump(0, 1); }));
  const struct {
    const char* name;
    void (*make)(Ombrix&);
  } calls[] = {
      {"copy",
       [](Ombrix& c) {
         Ombrix copy(c), other;
         other = copy;
       }},
      {"getRawFrame", [](Ombrix& c) { c.getRawFrame(nullptr, nullptr, 1); }},
      {"getColorFrame", [](Ombrix& c) { c.getColorFrame(nullptr, nullptr, 1); }},
      {"getPartNumber", [](Ombrix& c) { c.getPartNumber(); }},
      {"getSerialNumber", [](Ombrix& c) { c.getSerialNumber(); }},
      {"setDeviceFrameRate", [](Ombrix& c) { c.setDeviceFrameRate(9.0f); }},
      {"getErrorText", [](Ombrix& c) { c.getErrorText(); }},
      {"setFreeRun", [](Ombrix& c) { c.setFreeRun(true); }},
      {"closeShutter", [](Ombrix& c) { c.closeShutter(); }},
      {"openShutter", [](Ombrix& c) { c.openShutter(); }},
      {"runFFC", [](Ombrix& c) { c.runFFC(false, 0); }},
      {"getDefectivePixelsCorrection",
       [](Ombrix& c) {
         std::vector<std::pair<int, int>> pixels;
         c.getDefectivePixelsCorrection(pixels);
       }},
      {"setColorPreset",
       [](Ombrix& c) {
         int preset = 6;
         c.setColorPreset(preset);
       }},
      {"setMappingMode", [](Ombrix& c) { c.setMappingMode(Ombrix::mappingLinear, 0, 1); }},
      {"setFrameDump", [](Ombrix& c) { c.setFrameDump(true), c.setFrameDump(false); }},
      {"takeSnapshot", [](Ombrix& c) { c.takeSnapshot("such"); }},
      {"getPixelTemperature", [](Ombrix& c) { c.getPixelTemperature(0, 0, 0.9f); }},
  };
  for (const auto& call : calls) {
    for (Ombrix* const camera : {&*session.camera, &unknown}) {
      std::uint64_t failing = 0;
      for (bool struck = true; struck;) {
        failAllocation(++failing);
        EXPECT_NO_THROW(call.make(*camera)) << call.name << " " << failing;
        struck = allocationFailed();
        failAllocation(0);
      }
    }
  }
  EXPECT_TRUE(session.runs([&] { platform->pump(0, 1); }));
}

#endif  // OMBRIX_OWN_NEW

TEST(FaultMatrix, EveryThreadIsRefusedOnce) {
  const struct {
    const char* purpose;
    unsigned pools, place;  // its number: so many whole pools, and then the place
    const char* line;       // none: the others make do without it
  } rows[] = {
      {"worker", 0, 1, "Start-up failed: Resource temporarily unavailable"},  // of the row bands
      {"worker", 0, 2, nullptr},
      {"worker", 1, 1, "Start-up failed: Resource temporarily unavailable"},  // of the frame tasks
      {"worker", 1, 2, nullptr},
      {"worker", 2, 1, "Opening failed: Resource temporarily unavailable. Handle: 0"},  // of the camera
      {"worker", 2, 2, nullptr},
      {"delivery", 3, 1, "Unable to start Marlow 3 streaming!"},
      {"end of stream", 3, 2, nullptr},
  };
  std::set<std::string> purposes;
  for (const auto& row : rows) purposes.insert(row.purpose);
  expectRows(inSources("", R"re(threadStart::start\("([^"]+)")re"), purposes);
  const std::set<std::string> ownWay = {"std::thread start(c", "std::thread(s"};  // there is no other
  EXPECT_EQ(inSources("", R"re((std::j?thread(?: \w+)?[({][^)}]|std::async|pthread_create))re"), ownWay);

  threadStart::setHookForTesting(noteOrRefuse);
  std::size_t refusals = 0;
  unsigned fresh = 2;  // a size that pools were not made of yet: others serve again
  for (const Backend& backend : backends()) {
    for (const auto& row : rows) {
      const unsigned size = fresh++;
      refusedThread = std::min(row.pools, 2u) * size + (row.pools > 2 ? std::min(size, 4u) : 0) + row.place;
      startedThreads.clear();
      for (const char* const line : {row.line, static_cast<const char*>(nullptr)}) {
        SCOPED_TRACE(std::string(row.purpose) + " " + std::to_string(refusedThread));
        FaultSession session(backend.platform, size);
        if (line) {
          session.open();
          EXPECT_EQ(session.log.count(line), 1u) << session.log.text();
          EXPECT_FALSE(session.camera->getRawFrame(nullptr, nullptr, 1));
        } else {
          EXPECT_TRUE(session.runs(backend.feed)) << session.log.text();
        }
        session.close();
        EXPECT_TRUE(backend.everythingBack());
        if (refusedThread > 0 && startedThreads.size() >= refusedThread) {
          EXPECT_EQ(startedThreads[refusedThread - 1], row.purpose);
          ++refusals;
        }
        refusedThread = 0;
      }
    }
  }
  threadStart::setHookForTesting(nullptr);
  EXPECT_EQ(refusals, std::size(rows) * backends().size() - 1)
      << "simulated cameras end their streams themselves";
}
