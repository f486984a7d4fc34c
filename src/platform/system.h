#pragma once

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>

// The little that systems do in ways of their own and that is no matter of cameras. posix/ and windows/ hold
// one form each, of which the build takes one. Texts are UTF-8.
namespace platform {

/// Nothing when the variable is not set.
std::optional<std::string> environmentVariable(const char* name);
/// Sets the variable for this process; nothing takes it away.
void setEnvironmentVariable(const char* name, const std::optional<std::string>& value);

/// The parts of a point in time, in the zone of the user or in UTC.
std::tm calendarTime(std::time_t time, bool local);

/// Makes the console show UTF-8 and colours, where it does not by itself.
void setUpConsole();

/// The file that holds this code, the shared library or a program linked with its objects; links are not
/// resolved. Throws std::exception when a name cannot be expressed.
std::filesystem::path ownFile();

/// Replaces what the system does not allow in the name of a file by '_', in place; the folders before it
/// stay.
void permitFileName(char* path);

/// Bytes of a file, also while somebody writes it; nothing when the system does not tell.
std::optional<std::uint64_t> fileSize(const std::filesystem::path& file);

/// How users see whether the system knows of a camera: the end of a sentence.
extern const char* const kCameraListing;

/// Processor time that the calling thread, or the process, has used.
std::int64_t threadCpuNs();
std::int64_t processCpuNs();

/// The process as the system sees it; 0 where it does not tell.
struct ProcessUse {
  std::uint64_t residentBytes = 0;
  std::uint64_t threads = 0;
  std::uint64_t openFiles = 0;  ///< descriptors or handles
};
ProcessUse processUse();

}  // namespace platform
