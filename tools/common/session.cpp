#include "tools/common/session.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "core/logger.h"

namespace tools {
namespace {

volatile std::sig_atomic_t interruptSeen = 0;

extern "C" void onInterrupt(int signalNumber) {
  interruptSeen = 1;
  std::signal(signalNumber, SIG_DFL);
}

}  // namespace

void logToStandardError() {
  logger::setConsoleSink([](std::string_view line) {
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
  });
}

void simulate(const std::string& scenario) {
  setenv("OMBRIX_BACKEND", "simulated", 1);
  setenv("OMBRIX_SIMULATION", scenario.c_str(), 1);
}

void catchInterrupts() {
  std::signal(SIGINT, onInterrupt);
  std::signal(SIGTERM, onInterrupt);
}

bool interrupted() { return interruptSeen != 0; }

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
