#include "tools/soak/SoakSession.h"

#include <algorithm>
#include <chrono>

#include "acquisition/imageAcquisition.h"
#include "common/format.h"
#include "core/deviceRegistry.h"
#include "tools/common/session.h"
#include "tools/soak/pace.h"

namespace soak {
namespace {

using namespace std::chrono_literals;

constexpr auto kCreationBound = kFullSpeed ? 5s : 20s;
constexpr auto kOpeningBound = kFullSpeed ? 10s : 60s;
/// A camera that should deliver and has not for so long has stopped for good.
constexpr auto kSilence = kFullSpeed ? 5s : 30s;
constexpr auto kGetterTimeout = 300ms;

/// What a fault does to a stream.
enum class Effect { passes, silences, loses };
struct StreamFault {
  const char* text;  ///< '#' stands for a number from 1 to 9
  Effect effect;
};
constexpr StreamFault kStreamFaults[] = {
    {"short:#", Effect::passes},     {"empty:#", Effect::passes},     {"oversize:#", Effect::passes},
    {"missing:#", Effect::passes},   {"duplicate:#", Effect::passes}, {"short:##", Effect::passes},
    {"jitter:#", Effect::passes},    {"stall", Effect::silences},     {"stall", Effect::silences},
    {"unplug", Effect::loses},       {"unplug", Effect::loses},       {"failed:1", Effect::loses},
    {"fail-rearm:1", Effect::loses},
};
constexpr const char* kRegisterFaults[] = {"register:1", "register:1:ETIMEDOUT", "slow-register:#00:2",
                                           "garbage-reply:#", "empty-reply:#"};

std::string withNumbers(std::string text, Random& random) {
  for (char& letter : text) {
    if (letter == '#') letter = static_cast<char>('1' + random.below(9));
  }
  return text;
}

/// How long the samples of a fault like "short:40" take to come: none of them need give a frame.
Clock::duration spanOf(const std::string& fault, double rateHz) {
  const std::size_t colon = fault.find(':');
  if (colon == std::string::npos) return {};
  const std::chrono::duration<double> span(std::stoi(fault.substr(colon + 1)) / rateHz);
  return std::chrono::duration_cast<Clock::duration>(span);
}

}  // namespace

SoakSession::SoakSession(simulation::SimulatedPlatform& simulated, const std::string& dataPath,
                         Random& choices, Findings& findings, Watchdog& watchdog, SoakTotals& sums,
                         std::vector<std::uint64_t>& owedFaults)
    : platform(simulated),
      calibrated(dataPath),
      random(choices),
      found(findings),
      dog(watchdog),
      totals(sums),
      owed(owedFaults),
      cameras(platform.cameraCount()) {}

void SoakSession::run(Clock::duration span, bool faults, const std::function<void()>& eachMoment) {
  open();
  startConsumers();
  const auto end = Clock::now() + span;
  auto nextFault = Clock::now() + 1s;
  while (Clock::now() < end && !tools::interrupted()) {
    std::this_thread::sleep_for(100ms);
    for (std::size_t i = 0; i < cameras.size(); ++i) {
      look(i);
      followUp(i);
    }
    steer();
    // None at the very end: its survival would have to be told from the next life.
    if (faults && Clock::now() > nextFault && end - Clock::now() > 1s) {
      strike();
      nextFault = Clock::now() + std::chrono::milliseconds(random.between(500, 3000));
    }
    eachMoment();
  }
  close();
}

void SoakSession::open() {
  dog.watch("OmbrixSDK()", -1, kCreationBound, [&] { sdk = std::make_unique<OmbrixSDK>(); });
  for (std::size_t i = 0; i < cameras.size(); ++i) {
    const int handle = static_cast<int>(i);
    dog.watch("Ombrix()", handle, kOpeningBound, [&] { handles.emplace_back(handle, calibrated); });
    cameras[i].advanced = dog.unhindered();
    if (handles[i].getErrorText() != "none") {
      found.add(format("camera {:d} did not open: {:s}", i, handles[i].getErrorText()));
    }
  }
  ++totals.lives;
}

void SoakSession::close() {
  {
    MutexLock lock(stopMutex);
    stop = true;
    stopCondition.notify_all();
  }
  // Most consumers are in a getter now: the destruction has to free them.
  const auto took = dog.watch("~OmbrixSDK()", -1, kClosingBound, [&] { sdk.reset(); });
  totals.longestDestruction = std::max(totals.longestDestruction, took);
  for (auto& consumer : consumers) consumer.join();
  // What is lost was lost by a fault; the next life has to find every camera again.
  for (std::size_t i = 0; i < cameras.size(); ++i) {
    if (cameras[i].unplugged) apply(i, "replug");
    apply(i, "clear");
  }
}

void SoakSession::startConsumers() {
  for (std::size_t i = 0; i < handles.size(); ++i) {
    for (const bool fast : {true, false}) {
      consumers.emplace_back(&SoakSession::consumerThreadProc, this, handles[i], static_cast<int>(i), fast);
    }
  }
}

void SoakSession::consumerThreadProc(Ombrix camera, int handle, bool fast) {
  std::uint64_t width = 0, height = 0;
  camera.getImageSize(width, height);
  std::vector<std::uint8_t> picture(width * height * 3);
  std::vector<std::uint32_t> histogram(65536);
  Ombrix::metadata details;
  details.histogramBuffer = histogram.data();
  const int timeoutMs = static_cast<int>(kGetterTimeout / 1ms);
  const char* const getter = fast ? "getRawFrame" : "getColorFrame";
  while (pauseConsumer(fast ? 0ms : std::chrono::milliseconds(150 + 50 * handle))) {
    bool taken = false;
    const auto waited = dog.watch(getter, handle, kGetterTimeout + kClosingBound, [&] {
      taken = fast ? camera.getRawFrame(picture.data(), &details, timeoutMs)
                   : camera.getColorFrame(picture.data(), &details, timeoutMs);
    });
    if (taken) {
      ++totals.delivered;
    } else if (waited < kGetterTimeout && pauseConsumer(0ms)) {
      found.add(format("{:s} on camera {:d} gave up after {:d} ms", getter, handle, waited / 1ms));
    }
  }
}

/// False when the consumers are to end.
bool SoakSession::pauseConsumer(std::chrono::milliseconds span) {
  const auto end = Clock::now() + span;
  MutexLock lock(stopMutex);
  while (!stop && Clock::now() < end) stopCondition.wait_until(lock.native(), end);
  return !stop;
}

/// Takes up a camera's counters, and what they say about its faults.
void SoakSession::look(std::size_t index) {
  Camera& camera = cameras[index];
  const registry::DeviceUser user(static_cast<int>(index), LOG_HERE);
  if (!user) return;
  std::uint64_t processed = 0;
  {
    FairLock lock(frameMutex);
    processed = user->rawFrame.counter;
  }
  const std::uint64_t arrived = user->ring.frameCounter;
  totals.arrived += arrived - camera.arrived;
  totals.processed += processed - camera.processed;
  camera.arrived = arrived;
  const bool advanced = processed > camera.processed;
  camera.processed = processed;
  if (user->isLost() && camera.state != State::lost) {
    found.add(format("camera {:d} was lost without a reason", index));
    camera.state = State::lost;
  }
  if (!advanced) return;
  camera.advanced = dog.unhindered();
  if (camera.state != State::flowing) return;
  totals.survived += owed[index];
  owed[index] = 0;
}

/// Ends what a fault began, and judges a camera's silence.
void SoakSession::followUp(std::size_t index) {
  Camera& camera = cameras[index];
  const auto now = Clock::now();
  if (camera.state == State::stalled && now >= camera.until) {
    apply(index, "resume");
    camera.state = State::flowing;
    camera.advanced = dog.unhindered();
  }
  if (camera.unplugged && now >= camera.until) {
    apply(index, "replug");  // its handle stays dead: it comes back in the next life
    camera.unplugged = false;
  }
  if (camera.state != State::flowing || dog.unhindered() - camera.advanced < kSilence) return;
  found.add(format("camera {:d} stopped for good: nothing for {:d} s, last fault '{:s}'", index,
                   kSilence / 1s, camera.lastFault));
  camera.state = State::lost;
}

void SoakSession::strike() {
  const std::size_t index = random.below(static_cast<unsigned>(cameras.size()));
  if (cameras[index].state != State::flowing) return;
  if (random.oneIn(4)) {
    strikeRegisters(index);
  } else {
    strikeStream(index);
  }
  ++totals.faults;
  ++owed[index];
}

void SoakSession::strikeStream(std::size_t index) {
  Camera& camera = cameras[index];
  const StreamFault& fault = random.pick(kStreamFaults);
  if (fault.effect == Effect::silences) camera.state = State::stalled;
  if (fault.effect == Effect::loses) camera.state = State::lost;
  camera.unplugged = std::string_view(fault.text) == "unplug";
  camera.until = Clock::now() + std::chrono::milliseconds(random.between(200, 2500));
  const std::string text = withNumbers(fault.text, random);
  apply(index, text);
  // Its silence counts from when these have come.
  camera.advanced = dog.unhindered() + spanOf(text, platform.camera(index).description().rateHz);
}

/// Half of the time a shutter run instead, which is no fault but takes as long.
void SoakSession::strikeRegisters(std::size_t index) {
  Ombrix& handle = handles[index];
  const int number = static_cast<int>(index);
  if (random.oneIn(2)) {
    dog.watch("runFFC", number, kClosingBound, [&] { handle.runFFC(false, 16); });
    return;
  }
  apply(index, withNumbers(random.pick(kRegisterFaults), random));
  dog.watch("closeShutter", number, 5s, [&] { handle.closeShutter(); });
  dog.watch("openShutter", number, 5s, [&] { handle.openShutter(); });
}

/// What a user does meanwhile.
void SoakSession::steer() {
  const std::size_t index = random.below(static_cast<unsigned>(handles.size()));
  Ombrix& handle = handles[index];
  dog.watch("setters", static_cast<int>(index), 3 * kClosingBound, [&] {
    int preset = static_cast<int>(random.below(40));
    handle.setColorPreset(preset);
    handle.setMappingMode(static_cast<Ombrix::mapping>(random.below(5)), 0.5f, 60000.0f);
    handle.setTemporalFiltering(0.1f * static_cast<float>(random.below(9)));
  });
}

void SoakSession::apply(std::size_t index, const std::string& fault) {
  cameras[index].lastFault = fault;
  const std::string reason = platform.camera(index).apply(fault);
  if (!reason.empty()) found.add(format("fault '{:s}' is none: {:s}", fault, reason));
}

}  // namespace soak
