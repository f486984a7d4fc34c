#include "platform/program.h"

#include <unistd.h>

#include <csignal>

#include "platform/system.h"

namespace platform {

std::vector<std::string> programArguments(int argc, char** argv) { return {argv, argv + argc}; }

void outliveReaders() { std::signal(SIGPIPE, SIG_IGN); }

bool standardErrorIsTerminal() { return isatty(STDERR_FILENO) != 0; }

bool standardOutputIsTerminal() { return isatty(STDOUT_FILENO) != 0; }

std::FILE* openFile(const std::string& name, const char* mode) { return std::fopen(name.c_str(), mode); }

const char* const kCacheVariables = "neither XDG_CACHE_HOME nor HOME is set";

std::filesystem::path cacheDirectory() {
  // A relative XDG_CACHE_HOME does not count.
  const std::filesystem::path cache = environmentVariable("XDG_CACHE_HOME").value_or("");
  if (cache.is_absolute()) return cache;
  const std::string home = environmentVariable("HOME").value_or("");
  return home.empty() ? std::filesystem::path() : std::filesystem::path(home) / ".cache";
}

}  // namespace platform
