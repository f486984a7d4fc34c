// Steps of the platform that fail, and the models of the device table.

#include <map>

#include "acquisition/backends/simulated/SimulatedPlatform.h"
#include "acquisition/deviceTable.h"
#include "acquisition/transport/UVCConnection.h"
#include "core/settings.h"
#include "faults/FaultSession.h"
#include "support/ScriptedPlatform.h"

#if defined(__linux__)
#include "acquisition/backends/v4l2/V4L2Platform.h"
#include "support/v4l2/FakeKernel.h"
#endif

namespace {

namespace step = transport::step;
using Lines = std::vector<std::string>;

const std::string kConnect = "Unable to connect to Marlow 3!";
const std::string kStart = "Unable to start Marlow 3 streaming!";

/// Steps that one part of the road takes, each with how often it was taken before, and what a failure of any
/// of them has logged after its own line.
struct Part {
  std::vector<std::pair<const char*, int>> steps;
  Lines after;
};

const Part kListing = {{{step::kCreateAttributeStore, 0},
                        {step::kSetCaptureGuid, 0},
                        {step::kEnumerate, 0},
                        {step::kFriendlyName, 0},
                        {step::kDevicePath, 0}},
                       {}};
const Part kOpening[] = {
    {{{step::kActivate, 0},
      {step::kAllocateAttributes, 0},
      {step::kDisableConverters, 0},
      {step::kSetCallback, 0},
      {step::kCreateReader, 0}},
     {"InitializeDevice failed...", kConnect}},
    {{{step::kQueryTopology, 0},
      {step::kNumNodes, 0},
      {step::kNodeType, 0},
      {step::kNodeInstance, 0},
      {step::kNodeControl, 0},
      {step::kNodeProperty, 0},
      {step::kNodeProperty, 1}},
     {"InitializeXuGuidToNodeMap failed...", kConnect}},
    {{{step::kCreatePresentation, 0},
      {step::kStreamCount, 0},
      {step::kStreamDescriptor, 0},
      {step::kTypeHandler, 0},
      {step::kTypeCount, 0},
      {step::kTypeByIndex, 0},
      {step::kSubType, 0},
      {step::kFrameSize, 0},
      {step::kSetType, 0}},
     {"InitializeMediaTypes failed...", kConnect}},
    {{{step::kQueryTopology, 1}, {step::kNodeInstance, 2}, {step::kNodeControl, 2}, {step::kTransfer, 0}},
     {kConnect}},
    {{{step::kFirstSample, 0}}, {kStart}},
};
const char* const kNextSample = "Asking for next sample";  // the first sample's step again, by another name
const char* const kDelivery = "Sample delivery";           // reported by the platform

std::set<std::string> rows() {
  std::set<std::string> texts = {kNextSample, kDelivery};
  for (const auto& [name, uses] : kListing.steps) texts.insert(name);
  for (const Part& part : kOpening) {
    for (const auto& [name, uses] : part.steps) texts.insert(name);
  }
  return texts;
}

/// A Marlow 3 that is fed by hand.
struct Scripted {
  Scripted() { platform->cameras = {camera}; }
  bool feed(std::int32_t status = 0) { return camera->pump(status, status < 0 ? nullptr : &sample); }

  std::shared_ptr<ScriptedCamera> camera = ScriptedCamera::marlow3();
  std::shared_ptr<ScriptedPlatform> platform = std::make_shared<ScriptedPlatform>();
  const std::vector<std::uint8_t> sample = std::vector<std::uint8_t>(320 * 240 * 2, 17);
};

/// One road on which `name` fails, and one without a fault on the same platform.
void fail(const char* name, int uses, const Lines& after, bool opens = false) {
  for (const std::int32_t status : {static_cast<std::int32_t>(0x80004005), transport::kStatusDeviceLost}) {
    SCOPED_TRACE(name);
    Scripted scripted;
    const bool delivered = name == kDelivery;
    scripted.platform->failOnce(name == kNextSample ? step::kFirstSample : name, status, uses);
    Lines lines = {std::string(name) + " failed (error code " + std::to_string(status) + ")"};
    if (opens) lines[0] += ", camera lost";
    lines.insert(lines.end(), after.begin(), after.end());
    {
      FaultSession session(scripted.platform);
      session.open();
      EXPECT_EQ(scripted.feed(delivered ? status : 0), opens);
      EXPECT_EQ(session.complaints(), lines) << session.log.text();
      EXPECT_EQ(session.camera->getErrorText() == "none", opens);
      EXPECT_FALSE(scripted.feed()) << "nothing more is asked for";
      EXPECT_EQ(scripted.camera->postedFailures().size(), opens ? 1u : 0u);
      session.camera->getRawFrame(nullptr, nullptr, 0);
      EXPECT_FALSE(session.camera->getRawFrame(nullptr, nullptr, 1));
    }
    EXPECT_EQ(scripted.platform->startCount(), 0);
    EXPECT_EQ(scripted.camera->closed(), scripted.camera->opened());
    FaultSession again(scripted.platform);
    EXPECT_TRUE(again.runs([&] { scripted.feed(); }));
    EXPECT_EQ(again.complaints(), Lines());
  }
}

/// Goes a camera's whole road, and says which steps were passed.
std::set<std::string> stepsPassed(const std::shared_ptr<transport::VideoPlatform>& platform) {
  const LogCapture log;
  transport::installVideoPlatform(platform);
  settings::create(0, nullptr);
  EXPECT_TRUE(settings::inst()->parseParam("UVCDebug"));
  EXPECT_TRUE(UVCConnection::init());
  {
    UVCConnection connection("camera", uvcBackendDefault);
    EXPECT_TRUE(connection.connectUVC(0x5c2b, 0x96eb, 0, dataTypeThermal));
    EXPECT_TRUE(connection.registers().writeCoreConfiguration(0));
    EXPECT_TRUE(connection.startStreaming(nullptr, connection.streamWidth(), connection.streamHeight(), 0));
  }
  UVCConnection::shutdown();
  settings::release();
  transport::installVideoPlatform(nullptr);
  std::set<std::string> passed;
  for (const std::string& line : log.lines()) {
    std::smatch match;
    if (std::regex_search(line, match, std::regex("Operation> (.+): status -?\\d+$")))
      passed.insert(match[1]);
  }
  EXPECT_GE(passed.size(), 8u) << "one for each operation";
  return passed;
}

}  // namespace

TEST(FaultMatrix, EveryStepHasARow) {
  // Constants, literals that are passed on or returned, and what passes at run time.
  expectRows(inSources("acquisition/transport", R"re(inline constexpr const char\* k\w+ = "([^"]+)";)re"),
             rows());
  expectRows(inSources("acquisition", R"re(\b(?:check|CheckResult|deliveryFailed)\([^;"]*"([^"]+)")re"),
             rows());
  expectRows(inSources("acquisition", R"re((?:return|StepResult|succeeded\() ?\{[^{}";]*, "([^"]+)"\})re"),
             rows());
  expectRows(stepsPassed(Scripted().platform), rows());
  expectRows(stepsPassed(simulation::makeSimulatedPlatform("bramble6;step=on")), rows());
#if defined(__linux__)
  const auto kernel = std::make_shared<FakeKernel>();
  kernel->addCamera(0);
  expectRows(stepsPassed(std::make_shared<v4l2::V4L2Platform>(kernel)), rows());
#endif
}

TEST(FaultMatrix, EveryStepFailsOnce) {
  for (const auto& [name, uses] : kListing.steps) fail(name, uses, {});
  for (const Part& part : kOpening) {
    for (const auto& [name, uses] : part.steps) fail(name, uses, part.after);
  }
  fail(kNextSample, 1, {}, true);
  fail(kDelivery, 0, {}, true);
}

TEST(FaultMatrix, EveryModelOfTheDeviceTableFailsToConnectAndToStart) {
  // Which models are reached as video devices; the others connect without one, and cannot stream.
  const std::map<std::string, bool> models = {{"Bramble 6", true},  {"Marlow 3", true},
                                              {"Hollis 12", true},  {"R2 BOARD FFC M12", true},
                                              {"Velt Core", false}, {"R1 MICRO M12", true}};
  const LogCapture log;
  for (const USBDeviceDesc& row : deviceTable()) {
    const std::string& model = row.modelName;
    ASSERT_TRUE(models.count(model)) << "no row for: " << model;
    for (const char* const failing : {step::kActivate, step::kFirstSample, ""}) {
      SCOPED_TRACE(model + ", " + failing);
      Scripted scripted;
      scripted.platform->failOnce(failing, -5);
      transport::installVideoPlatform(scripted.platform);
      ASSERT_TRUE(UVCConnection::init());
      imageAcquisition camera("nowhere", true);
      ASSERT_TRUE(camera.setUSBDevice(row, 0, 0));
      const bool connects = camera.initAcquisition();
      const bool starts = connects && camera.startAcquisition();
      EXPECT_EQ(connects, !models.at(model) || failing != step::kActivate);
      EXPECT_EQ(starts, models.at(model) && !*failing);
      EXPECT_EQ(camera.getErrorText(), starts     ? "none"
                                       : connects ? "Unable to start " + model + " streaming!"
                                                  : "Unable to connect to " + model + "!");
      EXPECT_TRUE(camera.releaseAcquisition());
      EXPECT_EQ(scripted.camera->closed(), scripted.camera->opened());
      EXPECT_EQ(scripted.platform->startCount(), 1) << "the list's own";
      UVCConnection::shutdown();
      transport::installVideoPlatform(nullptr);
    }
  }
}
