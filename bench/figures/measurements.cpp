#include "bench/figures/measurements.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <future>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/figures/LiveCameras.h"
#include "bench/peers/ReferencePool.h"
#include "common/format.h"
#include "core/ThreadPool.h"
#include "platform/system.h"

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

double quantile(std::vector<double> values, double part) {
  if (values.empty()) throw std::runtime_error("nothing was measured");
  const auto place = static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1) + 0.5);
  std::nth_element(values.begin(), values.begin() + place, values.end());
  return values[static_cast<std::size_t>(place)];
}

double processorSeconds() { return 1e-9 * static_cast<double>(platform::processCpuNs()); }

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double residentMiB() { return static_cast<double>(platform::processUse().residentBytes) / (1024.0 * 1024.0); }

/// Microseconds to hand two empty tasks to a pool and wait for both.
template <typename Pool>
std::vector<double> timePool(Pool& pool, int rounds) {
  std::vector<double> times;
  for (int i = 0; i < rounds; ++i) {
    const auto start = Clock::now();
    std::future<int> first = pool.enqueue([] { return 42; });
    std::future<int> second = pool.enqueue([] { return 42; });
    first.get();
    second.get();
    times.push_back(1e6 * secondsSince(start));
  }
  return times;
}

const char* prefixOf(Setup setup) { return setup == Setup::Linear ? "" : "default_"; }

}  // namespace

void measureLive(nlohmann::json& figures, double seconds, Setup setup) {
  const struct {
    const char* model;
    const char* name;
    double rateHz;
  } kinds[] = {{"bramble6", "640x480", 60.0}, {"hollis12", "1280x1024", 30.0}};
  for (const auto& kind : kinds) {
    const Stock stock(kind.model);
    LiveCameras cameras(stock, 1, kind.rateHz, setup);
    const double before = processorSeconds();
    const auto start = Clock::now();
    cameras.run(seconds);
    const double used = processorSeconds() - before;
    const double share = used / secondsSince(start);
    const char* const prefix = prefixOf(setup);
    const auto live = [&](const char* what) {
      return format("{}live_{}_{:.0f}Hz_{}", prefix, kind.name, kind.rateHz, what);
    };
    figures[live("cpu_percent")] = 100.0 * share;
    // Tells what a core would do on a machine too busy to deliver every frame.
    figures[live("cpu_ms_per_taken_frame")] =
        1e3 * used / static_cast<double>(std::max<std::uint64_t>(cameras.taken(), 1));
    figures[live("missed")] = cameras.missed();
    const std::vector<double> handOver = cameras.handOverMs();
    figures[format("{}handover_{}_median_ms", prefix, kind.name)] = quantile(handOver, 0.5);
    figures[format("{}handover_{}_99_percent_ms", prefix, kind.name)] = quantile(handOver, 0.99);
  }
}

void measureCameras(nlohmann::json& figures, double seconds, Setup setup) {
  constexpr int kMost = 64;
  const Stock stock("bramble6");
  int served = 0;
  for (int count = 1; count <= kMost; count = std::max(count + 1, count * 5 / 4)) {
    LiveCameras cameras(stock, count, 60.0, setup);
    bool noneMissed = false;
    // A machine's other work may cost a frame: what counts is whether all are served when left alone.
    for (int attempt = 0; attempt < 3 && !noneMissed; ++attempt) {
      cameras.run(seconds);
      noneMissed = cameras.missed() == 0;
    }
    if (!noneMissed) break;
    served = count;
  }
  figures[format("{}cameras_640x480_60Hz", prefixOf(setup))] = served;
}

void measurePool(nlohmann::json& figures, double seconds) {
  constexpr unsigned kWorkers = 2;
  constexpr int kBlock = 500;
  ThreadPool::ThreadPool<0, 0> pool(kWorkers);
  ReferencePool reference(kWorkers);
  std::vector<double> ours, theirs;
  const auto start = Clock::now();
  while (secondsSince(start) < seconds) {
    const std::vector<double> a = timePool(pool, kBlock), b = timePool(reference, kBlock);
    ours.push_back(quantile(a, 0.5));
    theirs.push_back(quantile(b, 0.5));
  }
  figures["pool_two_tasks_us"] = quantile(ours, 0.5);
  figures["pool_two_tasks_reference_us"] = quantile(theirs, 0.5);
  figures["pool_two_tasks_ratio"] = quantile(ours, 0.5) / quantile(theirs, 0.5);
}

void measureMemory(nlohmann::json& figures, double seconds) {
  constexpr int kCameras = 5;
  const Stock stock("bramble6");
  double resident[2] = {};
  for (const int further : {0, 1}) {
    LiveCameras cameras(stock, further == 0 ? 1 : kCameras, 60.0, Setup::Default);
    cameras.run(seconds);
    resident[further] = residentMiB();
  }
  figures["resident_MiB_one_camera"] = resident[0];
  figures["resident_MiB_per_extra_camera"] = (resident[1] - resident[0]) / (kCameras - 1);
}

void measureStart(nlohmann::json& figures) {
  const Stock stock("bramble6");
  const auto platform =
      std::make_shared<StoredSamplesPlatform>("bramble6;serial=466001359", stock.samples, 60.0);
  transport::installVideoPlatform(platform);
  {
    const auto start = Clock::now();
    OmbrixSDK sdk;
    const double started = 1e3 * secondsSince(start);
    Ombrix camera(0, stock.calibration);
    const double opened = 1e3 * secondsSince(start);
    std::vector<std::uint8_t> levels(640 * 480 * 2);
    const auto empty = [&levels] {
      return std::all_of(levels.begin(), levels.end() - 2, [](std::uint8_t byte) { return byte == 0; });
    };
    while (empty()) {
      if (!camera.getRawFrame(levels.data(), nullptr, 2000)) throw std::runtime_error("no frame");
    }
    figures["start_sdk_ms"] = started;
    figures["start_opened_ms"] = opened;
    figures["start_ms"] = 1e3 * secondsSince(start);
  }
  transport::installVideoPlatform(nullptr);
}

}  // namespace bench
