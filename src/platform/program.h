#pragma once

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

// What programs need of the system; as system.h, one form for each.
namespace platform {

/// The arguments of this program, its own name first, in UTF-8. From here on standard output and standard
/// error take bytes as they are.
std::vector<std::string> programArguments(int argc, char** argv);

/// From now on a reader of standard output that goes away is a write that fails, and ends nothing.
void outliveReaders();

bool standardErrorIsTerminal();
bool standardOutputIsTerminal();

/// As std::fopen, for a name in UTF-8.
std::FILE* openFile(const std::string& name, const char* mode);

/// Where programs keep what they can make again, for this user; empty when the environment names none, which
/// `kCacheVariables` name.
std::filesystem::path cacheDirectory();
extern const char* const kCacheVariables;

}  // namespace platform
