#include "bench/figures/StoredSamples.h"

#include <condition_variable>
#include <stdexcept>
#include <thread>
#include <utility>

#include "acquisition/backends/simulated/scenario.h"
#include "common/mutex.h"

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

class StoredSamplesDevice : public transport::VideoDevice {
 public:
  StoredSamplesDevice(std::unique_ptr<transport::VideoDevice> simulated, transport::SampleReceiver& taker,
                      std::shared_ptr<const Samples> stored, std::chrono::nanoseconds framePeriod,
                      std::chrono::nanoseconds framePhase, DeliveryRecord& deliveries)
      : camera(std::move(simulated)),
        receiver(taker),
        samples(std::move(stored)),
        period(framePeriod),
        phase(framePhase),
        record(deliveries) {}
  ~StoredSamplesDevice() override { StoredSamplesDevice::close(); }

  transport::StepResult streamTypes(std::vector<transport::StreamType>& types) override {
    return camera->streamTypes(types);
  }
  transport::StepResult selectType(std::size_t index, transport::SelectedType& actual) override {
    return camera->selectType(index, actual);
  }
  transport::StepResult requestSample() override {
    MutexLock lock(mutex);
    requested = true;
    if (!thread.joinable() && !ending) thread = std::thread([this] { deliveryThreadProc(); });
    return {};
  }
  void beginClose() override {
    MutexLock lock(mutex);
    ending = true;
    changed.notify_all();
  }
  void close() override {
    beginClose();
    if (thread.joinable()) thread.join();
    camera->close();
  }
  void postFailure(std::int32_t status) override { camera->postFailure(status); }
  transport::StepResult topologyNodes(std::vector<transport::TopologyNode>& nodes) override {
    return camera->topologyNodes(nodes);
  }
  transport::StepResult probeUnit(int node, const transport::Guid& unit) override {
    return camera->probeUnit(node, unit);
  }
  transport::StepResult transferUnit(int node, const transport::Guid& unit, std::uint32_t selector,
                                     transport::TransferFlags flags, std::span<std::uint8_t> bytes) override {
    return camera->transferUnit(node, unit, selector, flags, bytes);
  }

 private:
  /// Waits for the tick. False: the device closes.
  bool waitUntil(Clock::time_point tick) {
    MutexLock lock(mutex);
    while (!ending && Clock::now() < tick) changed.wait_until(lock.native(), tick);
    return !ending;
  }
  bool takeRequest() {
    MutexLock lock(mutex);
    return std::exchange(requested, false);
  }
  void deliveryThreadProc() {
    Clock::time_point tick = Clock::now() + phase;
    for (std::size_t i = 0; waitUntil(tick += period); ++i) {
      if (!takeRequest()) {
        ++record.unrequested;
        continue;
      }
      const transport::Sample sample{(*samples)[i % samples->size()]};
      const std::int64_t now = Clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
      const std::uint64_t number = record.delivered + 1;
      record.stampsNs[number % DeliveryRecord::kKept] = now;
      record.delivered = number;
      receiver.onSample(0, now / 1000, &sample);
    }
  }

  std::unique_ptr<transport::VideoDevice> camera;
  transport::SampleReceiver& receiver;
  std::shared_ptr<const Samples> samples;
  std::chrono::nanoseconds period, phase;
  DeliveryRecord& record;
  Mutex mutex;
  std::condition_variable changed;
  bool requested GUARDED_BY(mutex) = false;
  bool ending GUARDED_BY(mutex) = false;
  std::thread thread;
};

}  // namespace

Samples recordSamples(const std::string& scenario, std::size_t count) {
  simulation::Scenario parsed;
  simulation::ScenarioError error;
  if (!simulation::readScenario(scenario, parsed, error) || parsed.cameras.empty())
    throw std::runtime_error("no such scenario: " + scenario);
  simulation::SimulatedCamera camera(parsed.cameras.front());
  Samples samples;
  for (std::size_t i = 0; i < count; ++i) {
    std::vector<std::uint8_t>& sample = samples.emplace_back(camera.largestSampleBytes());
    sample.resize(camera.produce(sample).sizeBytes);
  }
  return samples;
}

StoredSamplesPlatform::StoredSamplesPlatform(const std::string& scenario,
                                             std::shared_ptr<const Samples> stored, double rateHz)
    : cameras(simulation::makeSimulatedPlatform(scenario)),
      samples(std::move(stored)),
      period(static_cast<std::int64_t>(1e9 / rateHz)) {
  while (records.size() < cameras->cameraCount()) records.push_back(std::make_unique<DeliveryRecord>());
}

transport::StepResult StoredSamplesPlatform::open(std::size_t index, transport::SampleReceiver& receiver,
                                                  std::unique_ptr<transport::VideoDevice>& device) {
  std::unique_ptr<transport::VideoDevice> simulated;
  const transport::StepResult result = cameras->open(index, receiver, simulated);
  if (result.failed()) return result;
  // Cameras of one machine do not deliver at the same instant.
  const std::chrono::nanoseconds phase = period * static_cast<int>(index) / static_cast<int>(records.size());
  device = std::make_unique<StoredSamplesDevice>(std::move(simulated), receiver, samples, period, phase,
                                                 *records.at(index));
  return result;
}

}  // namespace bench
