#include "tools/common/progressLine.h"

#include <chrono>
#include <cstdio>

#include "platform/program.h"

namespace tools {

ProgressLine::ProgressLine(std::function<std::string()> text, Output meanwhile) : makeText(std::move(text)) {
  const bool crossed = meanwhile == Output::Lines && platform::standardOutputIsTerminal();
  if (platform::standardErrorIsTerminal() && !crossed) worker = std::thread([this] { progressThreadProc(); });
}

ProgressLine::~ProgressLine() {
  {
    MutexLock lock(mutex);
    done = true;
  }
  condition.notify_all();
  if (worker.joinable()) worker.join();
}

void ProgressLine::progressThreadProc() {
  using namespace std::chrono_literals;
  auto next = std::chrono::steady_clock::now() + 1s;
  bool shown = false;
  while (waitUntil(next)) {
    std::fprintf(stderr, "\r%s\033[K", makeText().c_str());
    shown = true;
    next += 250ms;
  }
  if (shown) std::fputs("\r\033[K", stderr);
}

/// False when the object goes before that. The text is made without the lock: it may need others.
bool ProgressLine::waitUntil(std::chrono::steady_clock::time_point moment) {
  MutexLock lock(mutex);
  while (!done && condition.wait_until(lock.native(), moment) != std::cv_status::timeout) {
  }
  return !done;
}

}  // namespace tools
