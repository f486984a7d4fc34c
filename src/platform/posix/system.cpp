#include "platform/system.h"

#include <dlfcn.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>

namespace platform {
namespace {

std::int64_t cpuNs(clockid_t clock) {
  timespec used{};
  clock_gettime(clock, &used);
  return std::int64_t{used.tv_sec} * 1000000000 + used.tv_nsec;
}

std::uint64_t entriesOf(const char* folder) {
  std::error_code failed;
  const std::filesystem::directory_iterator entries(folder, failed);
  return failed ? 0 : static_cast<std::uint64_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace

std::optional<std::string> environmentVariable(const char* name) {
  const char* const value = std::getenv(name);
  return value ? std::optional<std::string>(value) : std::nullopt;
}

void setEnvironmentVariable(const char* name, const std::optional<std::string>& value) {
  value ? setenv(name, value->c_str(), 1) : unsetenv(name);
}

std::tm calendarTime(std::time_t time, bool local) {
  std::tm parts{};
  local ? localtime_r(&time, &parts) : gmtime_r(&time, &parts);
  return parts;
}

void setUpConsole() {}

std::filesystem::path ownFile() {
  Dl_info info{};
  // Of a program the loader knows only the word that started it, which need not be a path.
  if (dladdr(reinterpret_cast<const void*>(&ownFile), &info) != 0 && info.dli_fname != nullptr) {
    const std::filesystem::path name = info.dli_fname;
    if (name.has_parent_path()) return name;
  }
  return "/proc/self/exe";
}

void permitFileName(char*) {}

std::optional<std::uint64_t> fileSize(const std::filesystem::path& file) {
  std::error_code failed;
  const std::uintmax_t size = std::filesystem::file_size(file, failed);
  return failed ? std::nullopt : std::optional<std::uint64_t>(size);
}

const char* const kCameraListing = "'lsusb -d 5c2b:' lists those that the system sees";

std::int64_t threadCpuNs() { return cpuNs(CLOCK_THREAD_CPUTIME_ID); }
std::int64_t processCpuNs() { return cpuNs(CLOCK_PROCESS_CPUTIME_ID); }

ProcessUse processUse() {
  ProcessUse use;
  std::ifstream statm("/proc/self/statm");
  std::uint64_t pages = 0, residentPages = 0;
  statm >> pages >> residentPages;
  use.residentBytes = residentPages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
  use.threads = entriesOf("/proc/self/task");
  use.openFiles = entriesOf("/proc/self/fd");
  if (use.openFiles > 0) --use.openFiles;  // the one that counts them
  return use;
}

}  // namespace platform
