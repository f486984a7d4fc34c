#include "tools/common/session.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <string_view>
#include <vector>

#include "common/mutex.h"
#include "core/logger.h"
#include "platform/program.h"
#include "platform/system.h"

namespace tools {
namespace {

// Set by a signal handler, asked by any thread.
std::atomic<bool> interruptSeen{false};
static_assert(std::atomic<bool>::is_always_lock_free);
std::atomic<bool> muted{false};

extern "C" void onInterrupt(int signalNumber) {
  interruptSeen = true;
  std::signal(signalNumber, SIG_DFL);
}

/// Texts whose lines are left out of the log.
class Expected {
 public:
  void add(std::string text) {
    MutexLock lock(mutex);
    texts.push_back(std::move(text));
  }
  bool covers(std::string_view line) {
    MutexLock lock(mutex);
    for (const std::string& text : texts) {
      if (line.find(text) != std::string_view::npos) return true;
    }
    return false;
  }

 private:
  Mutex mutex{LockRank::logSink};
  std::vector<std::string> texts GUARDED_BY(mutex);
};

Expected& expected() {
  static Expected object;
  return object;
}

}  // namespace

void logToStandardError() {
  static const bool coloured = platform::standardErrorIsTerminal();
  logger::setConsoleSink([](std::string_view line) {
    if (muted || expected().covers(line)) return;
    const std::string text = coloured ? std::string(line) : withoutColours(std::string(line));
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
  });
}

void muteLog() { muted = true; }

void leaveOutOfLog(std::string text) { expected().add(std::move(text)); }

void expectNoShutterTable(const std::string& data) {
  leaveOutOfLog("Error while loading file '" + data + "/ffc/");
}

void simulate(const std::string& scenario) {
  platform::setEnvironmentVariable("OMBRIX_BACKEND", "simulated");
  platform::setEnvironmentVariable("OMBRIX_SIMULATION", scenario);
}

void catchInterrupts() {
  std::signal(SIGINT, onInterrupt);
  std::signal(SIGTERM, onInterrupt);
}

bool interrupted() { return interruptSeen; }

std::string withoutColours(const std::string& text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\033') {
      plain.push_back(text[i]);
      continue;
    }
    while (i < text.size() && text[i] != 'm') ++i;
  }
  return plain;
}

}  // namespace tools
