#include "acquisition/backends/simulated/SampleDelivery.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <thread>
#include <utility>

#include "core/threadStart.h"
#include "platform/system.h"

namespace simulation {
namespace {

constexpr auto kSlice =
    std::chrono::milliseconds(20);  // after which a waiting thread looks for switched faults
constexpr auto kLongestClose = std::chrono::seconds(1);

std::int64_t nanoseconds(std::chrono::steady_clock::time_point time) {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch()).count();
}

std::chrono::steady_clock::duration duration(double seconds) {
  return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
      std::chrono::duration<double>(seconds));
}

}  // namespace

StreamCounts StreamRecord::counts() const {
  MutexLock lock(mutex);
  return current;
}

std::int64_t StreamRecord::handOverNs(std::uint64_t sequence) const {
  MutexLock lock(mutex);
  return times.at(sequence);
}

SampleDelivery::SampleDelivery(std::shared_ptr<SimulatedCamera> streamCamera,
                               std::shared_ptr<StreamRecord> streamRecord,
                               transport::SampleReceiver& sampleReceiver)
    : camera(std::move(streamCamera)),
      record(std::move(streamRecord)),
      generation(camera->generation()),
      singleStep(camera->description().singleStep),
      buffers(camera->description().buffers),
      receiver(&sampleReceiver) {}

std::int32_t SampleDelivery::request() {
  if (camera->generation() != generation) return transport::kStatusDeviceLost;
  MutexLock lock(mutex);
  if (closing || ended) return transport::kStatusDeviceLost;
  const auto status = started ? camera->admitRearm() : camera->admitStart();
  if (status < 0) return status;
  if (!started) {
    buffer.resize(camera->largestSampleBytes());
    camera->prepare();
    {
      MutexLock recording(record->mutex);
      record->current = {};
      record->times.clear();
    }
    pace = camera->periodSeconds();
    nextDue = Clock::now() + duration(pace);
    try {
      thread = threadStart::start("delivery", [self = shared_from_this()] { self->deliveryThreadProc(); });
    } catch (const std::system_error&) {
      return -EAGAIN;
    }
    started = true;
  }
  requested = true;
  condition.notify_all();
  MutexLock recording(record->mutex);
  ++record->current.requests;
  return 0;
}

void SampleDelivery::beginClose() {
  MutexLock lock(mutex);
  if (closeDeadline == Clock::time_point{}) closeDeadline = Clock::now() + kLongestClose;
  closing = true;
  condition.notify_all();
}

void SampleDelivery::close() {
  beginClose();
  MutexLock lock(mutex);
  // A callback in progress is the receiver's own time; past the deadline only that is worth waiting for. The
  // deadline counts from the first word about closing, so closing again, or many at once, takes no longer.
  while (started && !ended && (inCallback || Clock::now() < closeDeadline))
    condition.wait_for(lock.native(), kSlice);
  receiver = nullptr;
  auto finished = std::exchange(thread, std::thread());
  if (!finished.joinable()) return;
  if (ended) {
    lock.unlock();
    finished.join();
  } else {
    finished.detach();
  }
}

std::uint64_t SampleDelivery::pump(std::uint64_t count, std::chrono::milliseconds timeout) {
  const auto deadline = Clock::now() + timeout;
  MutexLock lock(mutex);
  const auto first = stepsDone;
  stepsWanted += count;
  condition.notify_all();
  while (stepsDone < first + count && !ended && !closing && Clock::now() < deadline) {
    condition.wait_for(lock.native(), kSlice);
  }
  const auto done = stepsDone - first;
  stepsWanted -= std::min(stepsWanted, count - std::min(count, done));  // what did not happen is not owed
  return done;
}

void SampleDelivery::deliveryThreadProc() {
  cpuMarkNs = platform::threadCpuNs();
  while (waitForTurn()) deliverNext();
  finish();
}

/// A thread that is slow to stop sleeps here; close() may have gone on without it.
void SampleDelivery::finish() {
  const auto until = Clock::now() + duration(camera->slowStopSeconds());
  while (Clock::now() < until) {
    std::this_thread::sleep_for(std::min<Clock::duration>(kSlice, until - Clock::now()));
  }
  MutexLock lock(mutex);
  ended = true;
  condition.notify_all();
}

/// Blocks until the next sample is due and wanted, or the camera is gone. False when the stream is to end.
bool SampleDelivery::waitForTurn() {
  MutexLock lock(mutex);
  while (!closing) {
    if (camera->unplugged() || camera->generation() != generation) return true;
    if (turnComes(lock)) return !closing;
  }
  return false;
}

bool SampleDelivery::turnComes(MutexLock& lock) {
  if (singleStep) {
    if (requested && stepsDone < stepsWanted) return true;
    condition.wait_for(lock.native(), kSlice);
    return false;
  }
  const auto now = Clock::now();
  paceTo(now);
  const auto due = nextDue + duration(camera->jitterSeconds(camera->framesPassed()));
  if (requested && now >= due) return true;
  const auto wake = requested ? std::min(due, now + kSlice) : now + kSlice;
  condition.wait_until(lock.native(), wake);
  return false;
}

/// Keeps the schedule: takes up a changed rate, and counts the samples that a late consumer has lost.
void SampleDelivery::paceTo(Clock::time_point now) {
  const double period = camera->periodSeconds();
  if (period != pace) {
    nextDue += duration(period) - duration(pace);
    pace = period;
  }
  const auto held = duration(pace * buffers);
  while (now - nextDue > held) {
    nextDue += duration(pace);
    ++missedPeriods;
  }
}

void SampleDelivery::deliverNext() {
  std::uint64_t missed = 0;
  {
    MutexLock lock(mutex);
    std::swap(missed, missedPeriods);
  }
  for (std::uint64_t i = 0; i < missed; ++i) camera->skip();
  ProducedSample produced;
  if (camera->generation() == generation) {
    produced = camera->produce(buffer);
  } else {
    produced.outcome = Outcome::Lost;
  }
  {
    const auto cpu = platform::threadCpuNs();
    MutexLock recording(record->mutex);
    auto& counts = record->current;
    counts.generatorCpuNs += cpu - cpuMarkNs;
    cpuMarkNs = cpu;
    counts.produced += missed;
    counts.dropped += missed;
  }
  handOver(produced);
}

void SampleDelivery::handOver(const ProducedSample& produced) {
  transport::SampleReceiver* target = nullptr;
  {
    MutexLock lock(mutex);
    nextDue += duration(pace);
    if (!closing && produced.outcome != Outcome::Silence) {
      target = receiver;
      inCallback = target != nullptr;
      requested = false;
    }
  }
  if (target != nullptr || produced.outcome == Outcome::Silence) {
    // A sample that closing overtook counts as never made.
    MutexLock recording(record->mutex);
    if (produced.outcome != Outcome::Lost) ++record->current.produced;
    if (produced.outcome != Outcome::Lost && !produced.whole) ++record->current.faulty;
  }
  if (target != nullptr) {
    const auto now = nanoseconds(Clock::now());
    if (produced.outcome == Outcome::Sample && produced.whole) {
      MutexLock recording(record->mutex);
      record->times.note(++record->current.delivered, now);
    }
    const transport::Sample sample{std::span<const std::uint8_t>(buffer).first(produced.sizeBytes)};
    std::int32_t status = 0;
    if (produced.outcome == Outcome::Lost) status = transport::kStatusDeviceLost;
    if (produced.outcome == Outcome::Failure) status = -EIO;
    target->onSample(status, now / 1000, produced.outcome == Outcome::Sample ? &sample : nullptr);
    cpuMarkNs = platform::threadCpuNs();
  }
  MutexLock lock(mutex);
  inCallback = false;
  ++stepsDone;
  if (produced.outcome == Outcome::Lost) closing = true;
  condition.notify_all();
}

}  // namespace simulation
