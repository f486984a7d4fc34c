#include "acquisition/transport/videoPlatform.h"

#include <atomic>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "common/format.h"
#include "common/mutex.h"
#include "core/logger.h"

#if __has_include("acquisition/backends/simulated/simulatedPlatform.h")
#include "acquisition/backends/simulated/simulatedPlatform.h"
#define OMBRIX_HAS_SIMULATED_BACKEND
#endif

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

struct Backend {
  const char* name;
  std::shared_ptr<VideoPlatform> (*make)();
};

/// The backends built in; for real cameras first, since the first such one is the platform's own.
const std::vector<Backend>& builtInBackends() {
  static const std::vector<Backend> backends = {
#if defined(OMBRIX_HAS_SIMULATED_BACKEND)
    {"simulated", simulated::makeSimulatedPlatform},
#endif
  };
  return backends;
}

std::shared_ptr<VideoPlatform> ownPlatform() { return std::make_shared<NoCamerasPlatform>(); }

std::shared_ptr<VideoPlatform> choosePlatform() {
  const char* const variable = std::getenv("OMBRIX_BACKEND");
  const std::string_view wanted = variable ? variable : "";
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
  Mutex mutex;
  std::shared_ptr<VideoPlatform> platform GUARDED_BY(mutex);
};

Current& current() {
  static Current instance;
  return instance;
}

}  // namespace

std::shared_ptr<VideoPlatform> videoPlatform() {
  MutexLock lock(current().mutex);
  auto& platform = current().platform;
  if (!platform) platform = choosePlatform();
  return platform;
}

void installVideoPlatform(std::shared_ptr<VideoPlatform> platform) {
  MutexLock lock(current().mutex);
  current().platform.swap(platform);
}

}  // namespace transport
