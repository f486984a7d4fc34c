#include "platform/program.h"

// windows.h first: it declares what the others use.
#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include "common/filePath.h"
#include "platform/system.h"

namespace platform {

std::vector<std::string> programArguments(int argc, char** argv) {
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  // `argv` has question marks for what the system's own code page cannot express.
  int count = 0;
  wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
  if (wide == nullptr) return {argv, argv + argc};
  std::vector<std::string> arguments;
  for (int i = 0; i < count; ++i) {
    const std::u8string text = std::filesystem::path(wide[i]).u8string();
    arguments.emplace_back(text.begin(), text.end());
  }
  LocalFree(wide);
  return arguments;
}

void outliveReaders() {}  // it is so already

bool standardErrorIsTerminal() { return _isatty(_fileno(stderr)) != 0; }

bool standardOutputIsTerminal() { return _isatty(_fileno(stdout)) != 0; }

std::FILE* openFile(const std::string& name, const char* mode) {
  return _wfopen(filePath(name).c_str(), filePath(mode).c_str());
}

const char* const kCacheVariables = "LOCALAPPDATA is not set";

std::filesystem::path cacheDirectory() {
  // Whoever sets the first means it.
  for (const char* const name : {"XDG_CACHE_HOME", "LOCALAPPDATA"}) {
    const auto directory = filePath(environmentVariable(name).value_or(""));
    if (directory.is_absolute()) return directory;
  }
  return {};
}

}  // namespace platform
