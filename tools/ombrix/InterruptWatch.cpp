#include "tools/ombrix/InterruptWatch.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>

#include "acquisition/transport/UVCConnection.h"
#include "platform/program.h"
#include "tools/common/TemporaryPlace.h"
#include "tools/common/session.h"

namespace tools {
namespace {

using namespace std::chrono_literals;

constexpr auto kSlice = 50ms;
constexpr auto kTransfersEnd = 500ms;  // a shutter has been opened again by then
constexpr auto kProgramEnds = 850ms;

}  // namespace

InterruptWatch::InterruptWatch(ExitCode code) : exitCode(code), worker([this] { watchThreadProc(); }) {}

InterruptWatch::~InterruptWatch() {
  {
    MutexLock lock(mutex);
    done = true;
  }
  condition.notify_all();
  worker.join();
}

void InterruptWatch::watchThreadProc() {
  using Clock = std::chrono::steady_clock;
  std::optional<Clock::time_point> pressed;
  while (!over()) {
    if (!interrupted()) continue;
    if (!pressed) pressed = Clock::now();
    const auto gone = Clock::now() - *pressed;
    if (gone >= kTransfersEnd) {
      muteLog();  // what fails from here on is no news
      UVCConnection::refuseTransfers(true);
    }
    if (gone >= kProgramEnds) endAtOnce();
  }
}

/// Waits a slice, unless the object goes meanwhile.
bool InterruptWatch::over() {
  MutexLock lock(mutex);
  if (!done) condition.wait_for(lock.native(), kSlice);
  return done;
}

void InterruptWatch::endAtOnce() const {
  TemporaryPlace::removeAll();
  if (platform::standardErrorIsTerminal()) std::fputs("\r\033[K", stderr);  // a progress line
  if (exitCode != kExitDone) std::fputs("ombrix: interrupted\n", stderr);
  std::_Exit(exitCode);
}

}  // namespace tools
