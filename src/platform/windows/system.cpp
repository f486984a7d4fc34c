#include "platform/system.h"

// windows.h first: it declares what the others use.
#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "common/filePath.h"

namespace platform {
namespace {

std::wstring wide(std::string_view text) { return filePath(text).wstring(); }

std::string narrow(const std::wstring& text) {
  const std::u8string bytes = std::filesystem::path(text).u8string();
  return {bytes.begin(), bytes.end()};
}

/// Kernel and user time together, of units of 100 ns.
std::int64_t sumNs(const FILETIME& kernel, const FILETIME& user) {
  const auto units = [](const FILETIME& time) {
    return static_cast<std::int64_t>(std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime);
  };
  return (units(kernel) + units(user)) * 100;
}

std::uint64_t ownThreads() {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  if (snapshot == INVALID_HANDLE_VALUE) return 0;
  THREADENTRY32 entry{};
  entry.dwSize = sizeof entry;
  std::uint64_t count = 0;
  for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
    if (entry.th32OwnerProcessID == GetCurrentProcessId()) ++count;
  }
  CloseHandle(snapshot);
  return count;
}

}  // namespace

std::optional<std::string> environmentVariable(const char* name) {
  const std::wstring key = wide(name);
  SetLastError(ERROR_SUCCESS);
  const DWORD size = GetEnvironmentVariableW(key.c_str(), nullptr, 0);
  if (size == 0)
    return GetLastError() == ERROR_ENVVAR_NOT_FOUND ? std::nullopt : std::optional<std::string>("");
  std::wstring value(size, L'\0');
  value.resize(std::min<std::size_t>(size, GetEnvironmentVariableW(key.c_str(), value.data(), size)));
  return narrow(value);
}

void setEnvironmentVariable(const char* name, const std::optional<std::string>& value) {
  const std::wstring key = wide(name);
  // The C library keeps a copy of its own, in which an empty value takes the variable away.
  _wputenv((key + L"=" + (value ? wide(*value) : L"")).c_str());
  SetEnvironmentVariableW(key.c_str(), value ? wide(*value).c_str() : nullptr);
}

std::tm calendarTime(std::time_t time, bool local) {
  std::tm parts{};
  local ? localtime_s(&parts, &time) : gmtime_s(&parts, &time);
  return parts;
}

void setUpConsole() {
  std::system("chcp 65001 >nul");
  // Colours are a mode of its own; where there is no console, or an older one, they stay as they are.
  for (const DWORD number : {STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
    const HANDLE console = GetStdHandle(number);
    DWORD mode = 0;
    if (GetConsoleMode(console, &mode)) SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
  }
}

std::filesystem::path ownFile() {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<LPCWSTR>(&ownFile), &module);
  std::wstring name(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(module, name.data(), static_cast<DWORD>(name.size()));
    if (length < name.size()) return name.substr(0, length);
    name.resize(2 * name.size());  // it was cut
  }
}

void permitFileName(char* path) {
  const std::string_view text = path;
  const std::size_t first = text.find_last_of("/\\") + 1;  // npos + 1 is 0
  std::replace_if(
      path + first, path + text.size(),
      [](char c) { return std::string_view("<>:\"|?*").find(c) != std::string_view::npos; }, '_');
}

std::optional<std::uint64_t> fileSize(const std::filesystem::path& file) {
  // Of the file itself: its folder, which the C library and std::filesystem ask, learns of what was written
  // only when the file is closed.
  const HANDLE handle =
      CreateFileW(file.c_str(), FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                  nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return std::nullopt;
  LARGE_INTEGER size{};
  const BOOL told = GetFileSizeEx(handle, &size);
  CloseHandle(handle);
  return told ? std::optional(static_cast<std::uint64_t>(size.QuadPart)) : std::nullopt;
}

const char* const kCameraListing = "the device manager lists those that the system sees under 'Cameras'";

std::int64_t threadCpuNs() {
  FILETIME created{}, ended{}, kernel{}, user{};
  GetThreadTimes(GetCurrentThread(), &created, &ended, &kernel, &user);
  return sumNs(kernel, user);
}

std::int64_t processCpuNs() {
  FILETIME created{}, ended{}, kernel{}, user{};
  GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user);
  return sumNs(kernel, user);
}

ProcessUse processUse() {
  ProcessUse use;
  PROCESS_MEMORY_COUNTERS memory{};
  if (GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof memory))
    use.residentBytes = memory.WorkingSetSize;
  use.threads = ownThreads();
  DWORD handles = 0;
  if (GetProcessHandleCount(GetCurrentProcess(), &handles)) use.openFiles = handles;
  return use;
}

}  // namespace platform
