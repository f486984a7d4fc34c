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
  MutexLock lock(mutex);
  while (!done) {
    if (condition.wait_until(lock.native(), next) != std::cv_status::timeout) continue;
    std::fprintf(stderr, "\r%s\033[K", makeText().c_str());
    shown = true;
    next += 250ms;
  }
  if (shown) std::fputs("\r\033[K", stderr);
}

}  // namespace tools
