#include "acquisition/transport/videoPlatform.h"

#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "acquisition/backends/simulated/SimulatedPlatform.h"
#include "acquisition/transport/systemBackends.h"
#include "common/format.h"
#include "common/mutex.h"
#include "core/logger.h"
#include "platform/system.h"

namespace transport {
namespace {

constexpr std::int32_t kStatusNotSupported = -95;  // -EOPNOTSUPP

/// Stands in where no backend for real cameras is built in: starts, and finds nothing.
class NoCamerasPlatform : public VideoPlatform {
 public:
  StepResult start() override {
    if (!told.exchange(true)) logger::info("No video backend for real cameras is built in", LOG_HERE);
    return {};
  }
  void stop() override {}
  StepResult enumerate(std::vector<DeviceRecord>& devices) override {
    devices.clear();
    return {0, step::kEnumerate};
  }
  StepResult open(std::size_t, SampleReceiver&, std::unique_ptr<VideoDevice>&) override {
    return {kStatusDeviceLost, step::kActivate};
  }

 private:
  std::atomic<bool> told{false};
};

/// Stands in for a backend that was asked for and is not there; the log has said so.
class MissingPlatform : public VideoPlatform {
 public:
  StepResult start() override { return {kStatusNotSupported, ""}; }
  void stop() override {}
  StepResult enumerate(std::vector<DeviceRecord>&) override {
    return {kStatusNotSupported, step::kEnumerate};
  }
  StepResult open(std::size_t, SampleReceiver&, std::unique_ptr<VideoDevice>&) override {
    return {kStatusNotSupported, step::kActivate};
  }
};

/// The backends built in.
std::vector<Backend> builtInBackends() {
  std::vector<Backend> backends(systemBackends().begin(), systemBackends().end());
  backends.push_back({"simulated", [] { return simulation::makeSimulatedPlatform(); }});
  return backends;
}

std::shared_ptr<VideoPlatform> ownPlatform() {
  if (systemBackends().empty()) return std::make_shared<NoCamerasPlatform>();
  return systemBackends().front().make();
}

std::string environment(const char* name) { return platform::environmentVariable(name).value_or(""); }

/// What the choice depends on.
std::string choiceKey() { return environment("OMBRIX_BACKEND") + '\n' + environment("OMBRIX_SIMULATION"); }

std::shared_ptr<VideoPlatform> choosePlatform() {
  const std::string wanted = environment("OMBRIX_BACKEND");
  if (wanted.empty()) return ownPlatform();

  std::string names;
  for (const Backend& backend : builtInBackends()) {
    if (wanted == backend.name) return backend.make();
    names += (names.empty() ? "" : ", ") + std::string(backend.name);
  }
  logger::error(format("OMBRIX_BACKEND: video backend '{:s}' is not built in (built in: {:s})", wanted,
                       names.empty() ? "none" : names),
                LOG_HERE);
  return std::make_shared<MissingPlatform>();
}

struct Current {
  Mutex mutex{LockRank::platformChoice};
  std::shared_ptr<VideoPlatform> installed GUARDED_BY(mutex);
  std::shared_ptr<VideoPlatform> chosen GUARDED_BY(mutex);
  std::string chosenBy GUARDED_BY(mutex);  ///< the environment that `chosen` was made for
};

Current& current() {
  static auto* const instance = new Current;  // never destroyed: cameras may be delivering at exit
  return *instance;
}

}  // namespace

Obstacle VideoPlatform::explain(std::size_t, const StepResult& failed) {
  const bool gone = failed.status == kStatusDeviceLost;
  return {gone ? "gone" : "failed", format("{:s} failed (error code {:d})", failed.step, failed.status), ""};
}

std::shared_ptr<VideoPlatform> videoPlatform() {
  MutexLock lock(current().mutex);
  if (current().installed) return current().installed;
  auto& platform = current().chosen;
  const std::string key = choiceKey();
  if (!platform || current().chosenBy != key) {
    platform = choosePlatform();
    current().chosenBy = key;
  }
  return platform;
}

void installVideoPlatform(std::shared_ptr<VideoPlatform> platform) {
  MutexLock lock(current().mutex);
  current().installed.swap(platform);
  current().chosen.reset();
}

}  // namespace transport
