#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "acquisition/backends/simulated/SimulatedPlatform.h"
#include "acquisition/transport/videoPlatform.h"

namespace bench {

using Samples = std::vector<std::vector<std::uint8_t>>;

/// The first samples of the scenario's first camera.
Samples recordSamples(const std::string& scenario, std::size_t count);

/// What the deliveries of one opened camera tell. Written by its delivery thread.
struct DeliveryRecord {
  static constexpr std::size_t kKept = 4096;

  std::atomic<std::uint64_t> delivered{0};
  std::atomic<std::uint64_t> unrequested{0};  ///< periods in which nobody had asked for a sample
  std::array<std::atomic<std::int64_t>, kKept> stampsNs{};  ///< steady clock at delivery n, at n % kKept

  std::int64_t stampOf(std::uint64_t number) const { return stampsNs[number % kKept]; }
};

/// Simulated cameras whose pictures were made beforehand: a few stored samples, again and again, at a steady
/// rate. Enumeration, registers and stream types are the simulator's, which costs nothing while frames flow.
class StoredSamplesPlatform : public transport::VideoPlatform {
 public:
  StoredSamplesPlatform(const std::string& scenario, std::shared_ptr<const Samples> stored, double rateHz);

  transport::StepResult start() override { return cameras->start(); }
  void stop() override { cameras->stop(); }
  transport::StepResult enumerate(std::vector<transport::DeviceRecord>& devices) override {
    return cameras->enumerate(devices);
  }
  transport::StepResult open(std::size_t index, transport::SampleReceiver& receiver,
                             std::unique_ptr<transport::VideoDevice>& device) override;

  const DeliveryRecord& record(std::size_t index) const { return *records.at(index); }

 private:
  std::shared_ptr<simulation::SimulatedPlatform> cameras;
  std::shared_ptr<const Samples> samples;
  std::chrono::nanoseconds period;
  std::vector<std::unique_ptr<DeliveryRecord>> records;
};

}  // namespace bench
