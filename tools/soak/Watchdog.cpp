#include "tools/soak/Watchdog.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "common/format.h"
#include "tools/soak/logTail.h"
#include "tools/soak/pace.h"

namespace soak {
namespace {

using namespace std::chrono_literals;

/// How often the watching thread wakes up, and how late it then is on a machine with time to spare.
constexpr auto kStep = 20ms;
constexpr auto kUsualLateness = 2ms;

double seconds(Clock::duration span) { return std::chrono::duration<double>(span).count(); }

std::string place(int camera) { return camera < 0 ? std::string() : format(" on camera {:d}", camera); }

}  // namespace

void Findings::add(const std::string& text) {
  ++total;
  std::fprintf(stderr, "%s: %s\n", makePrefix().c_str(), text.c_str());
  std::fflush(stderr);
}

const std::chrono::seconds Watchdog::kPatience = kFullSpeed ? 20s : 60s;

Watchdog::Watchdog(Findings& findings, Clock::duration patience)
    : found(findings), hungAfter(patience), stepBegan(Clock::now()), worker([this] { watchThreadProc(); }) {}

Watchdog::~Watchdog() {
  {
    MutexLock lock(mutex);
    done = true;
    condition.notify_all();
  }
  worker.join();
}

Clock::time_point Watchdog::unhinderedNow() const {
  const auto now = Clock::now();
  const auto late = now - stepBegan - kStep;
  return now - heldUp - (late > kUsualLateness ? late : Clock::duration{});
}

Clock::time_point Watchdog::unhindered() {
  MutexLock lock(mutex);
  return unhinderedNow();
}

Watchdog::Entry Watchdog::begin(const char* what, int camera, Clock::duration bound) {
  MutexLock lock(mutex);
  return calls.insert(calls.end(), {what, camera, Clock::now(), bound, unhinderedNow()});
}

Clock::duration Watchdog::finish(Entry entry) {
  Call call{};
  Clock::duration took{};
  {
    MutexLock lock(mutex);
    call = *entry;
    took = unhinderedNow() - call.unhinderedStart;
    calls.erase(entry);
  }
  const auto wall = Clock::now() - call.start;
  if (took > call.bound) {
    found.add(format("{:s}{:s} took {:.2f} s, {:.2f} s without the machine's delays ({:.2f} s allowed)",
                     call.what, place(call.camera), seconds(wall), seconds(took), seconds(call.bound)));
  }
  return wall;
}

void Watchdog::watchThreadProc() {
  MutexLock lock(mutex);
  while (!done) {
    endWhenHung();
    stepBegan = Clock::now();
    condition.wait_for(lock.native(), kStep);
    const auto late = Clock::now() - stepBegan - kStep;
    if (late > kUsualLateness) heldUp += late;
    stepBegan = Clock::now();
  }
}

void Watchdog::endWhenHung() {
  const auto unhinderedTime = unhinderedNow();
  const auto now = Clock::now();
  const auto hung = std::find_if(calls.begin(), calls.end(), [&](const Call& call) {
    return unhinderedTime - call.unhinderedStart > call.bound + hungAfter;
  });
  if (hung == calls.end()) return;
  std::fprintf(stderr, "%s: %s%s hangs\ncalls in progress:\n", found.prefix().c_str(), hung->what,
               place(hung->camera).c_str());
  for (const Call& call : calls) {
    std::fprintf(stderr, "  %8.2f s  %s%s\n", seconds(now - call.start), call.what,
                 place(call.camera).c_str());
  }
  logTail::print();
  std::abort();  // leaves a core to look into, where the system keeps one
}

}  // namespace soak
