#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <thread>
#include <vector>

#include "common/mutex.h"

namespace soak {

using Clock = std::chrono::steady_clock;

/// What a run found wrong. Each finding is printed at once, with the words that reproduce it. Any thread.
class Findings {
 public:
  /// prefix: the start of every line; called at each finding.
  explicit Findings(std::function<std::string()> prefix) : makePrefix(std::move(prefix)) {}
  void add(const std::string& text);
  std::uint64_t count() const { return total; }
  std::string prefix() const { return makePrefix(); }

 private:
  const std::function<std::string()> makePrefix;
  std::atomic<std::uint64_t> total{0};
};

/// Measures calls into the library: one that takes longer than its bound is a finding, and one that does not
/// return at all ends the program, with a line for each call in progress. Time in which a busy machine did
/// not run this process is not held against a call: the watching thread, which only wants to wake up now and
/// then, knows it from its own lateness.
class Watchdog {
 public:
  /// How long after its bound a call counts as hung; longer where a sanitizer slows everything down.
  static const std::chrono::seconds kPatience;
  explicit Watchdog(Findings& findings, Clock::duration patience = kPatience);
  ~Watchdog();
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

  /// The time, on a clock that stands still while the machine does not run this process.
  Clock::time_point unhindered() EXCLUDES(mutex);

  /// Runs `call`, which must take no longer than `bound`; returns how long it took by the clock on the wall.
  /// `what` is a literal; camera: a handle, or negative for a call that belongs to none.
  template <typename F>
  Clock::duration watch(const char* what, int camera, Clock::duration bound, F&& call) {
    const auto entry = begin(what, camera, bound);
    call();
    return finish(entry);
  }

 private:
  struct Call {
    const char* what;
    int camera;
    Clock::time_point start;
    Clock::duration bound;
    Clock::time_point unhinderedStart;
  };
  using Entry = std::list<Call>::iterator;

  Entry begin(const char* what, int camera, Clock::duration bound) EXCLUDES(mutex);
  Clock::duration finish(Entry entry) EXCLUDES(mutex);
  void watchThreadProc() EXCLUDES(mutex);
  void endWhenHung() REQUIRES(mutex);
  Clock::time_point unhinderedNow() const REQUIRES(mutex);

  Findings& found;
  const Clock::duration hungAfter;
  Mutex mutex;
  std::condition_variable condition;
  std::list<Call> calls GUARDED_BY(mutex);
  Clock::time_point stepBegan GUARDED_BY(mutex);  ///< of the watching thread's present pause
  Clock::duration heldUp GUARDED_BY(mutex){};     ///< in all pauses before
  bool done GUARDED_BY(mutex) = false;
  std::thread worker;
};

}  // namespace soak
