#include "core/logger.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <ctime>

#include "common/filePath.h"
#include "common/format.h"
#include "common/mutex.h"
#include "platform/system.h"

namespace {

constexpr std::string_view kReset = "\033[0;0m";
constexpr std::string_view kLightGrey = "\033[0;38;5;248m";
constexpr std::string_view kDarkGrey = "\033[0;38;5;242m";
constexpr int kTerminalRows = 24;
constexpr int kTerminalColumns = 80;

using Level = logger::verbosityLevel;

struct LevelStyle {
  std::string_view accent;
  std::string_view fileName;
};

/// Indexed by level.
constexpr std::array<LevelStyle, 4> kStyles = {{{"\033[0;49;31m", "/error.log"},
                                                {"\033[0;38;5;178m", "/warning.log"},
                                                {"\033[0;49;32m", "/info.log"},
                                                {"\033[0;38;5;98m", "/debug.log"}}};

struct LevelFile {
  std::ofstream stream;
  bool faultReported = false;
};

/// The level, or kUninitialized, above every level: then everything is printed.
constexpr std::uint8_t kUninitialized = 255;
std::atomic<std::uint8_t> threshold{kUninitialized};

/// Leaked on purpose: worker threads may log during static destruction.
struct State {
  Mutex consoleMutex{LockRank::console};
  std::function<void(std::string_view)> consoleSink GUARDED_BY(consoleMutex);
  int terminalRows GUARDED_BY(consoleMutex) = 0;
  int terminalColumns GUARDED_BY(consoleMutex) = 0;
  std::atomic<bool> localTime{false};

  Mutex fileMutex{LockRank::logFile};
  std::atomic<bool> fileLogging{false};  // written under the file mutex
  std::string logDirectory GUARDED_BY(fileMutex);
  std::array<LevelFile, 4> files GUARDED_BY(fileMutex);
};

State& state() {
  static State* const instance = new State;
  return *instance;
}

std::string timeStamp() {
  const std::time_t now = std::time(nullptr);
  const std::tm parts = platform::calendarTime(now, state().localTime.load(std::memory_order_relaxed));
  return format("{:04d}-{:02d}-{:02d} {:02d}:{:02d}:{:02d}", parts.tm_year + 1900, parts.tm_mon + 1,
                parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
}

void printToConsole(const std::string& line) {
  State& s = state();
  MutexLock lock(s.consoleMutex);
  if (s.consoleSink) {
    s.consoleSink(line);
    return;
  }
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fflush(stdout);
}

std::string decorate(Level level, std::string_view message, const LogContext& context, bool withContext) {
  const std::string_view accent = kStyles[level].accent;
  if (!withContext) return format("{:s}{:s}{:s}", accent, message, kReset);
  const auto [scopes, function] = logger::tag(context);
  const std::string_view separator = scopes.empty() ? "" : "::";
  if (level == Level::verbosityDebug) {
    return format("{:s}<{:s}{:s}{:s}{:s}{:s}> {:s}{:s}{:s}", accent, kLightGrey, scopes, separator, function,
                  accent, kLightGrey, message, kReset);
  }
  return format("{:s}<{:s}{:s}{:s}{:s}{:s}> {:s}{:s}", accent, kReset, scopes, separator, function, accent,
                message, kReset);
}

void printUninitialized(std::string_view message, const LogContext& context) {
  const auto [scopes, function] = logger::tag(context);
  printToConsole(format("{:s}<uninitialized> {:s}{:s} {:s}({:s}::{:s})\n", kDarkGrey, kLightGrey, message,
                        kDarkGrey, scopes, function));
}

/// The stream of a level's file; only `logger::write` uses it, which takes the mutex.
std::ofstream& fileOf(Level level) NO_THREAD_SAFETY_ANALYSIS { return state().files[level].stream; }

void printEnabled(Level level, std::string_view message, const LogContext& context) {
  const std::uint8_t current = threshold.load(std::memory_order_acquire);
  if (current == kUninitialized) {
    printUninitialized(message, context);
    return;
  }
  const bool detailed = current == Level::verbosityDebug;
  const std::pair<std::string, std::string> line{timeStamp(), decorate(level, message, context, detailed)};
  printToConsole(detailed ? format("{:s}{:s} {:s}{:s}\n", kDarkGrey, line.first, kReset, line.second)
                          : format("{:s} ● {:s}{:s}\n", kDarkGrey, kReset, line.second));
  if (state().fileLogging.load(std::memory_order_acquire)) logger::write(fileOf(level), line);
}

void print(Level level, std::string_view message, const LogContext& context) noexcept {
  if (!logger::enabled(level)) return;
  try {
    printEnabled(level, message, context);
  } catch (...) {  // out of memory or a failing sink: a lost line must not become the caller's fault
  }
}

/// Appends the line; what to report when that fails, null otherwise.
const char* appendLine(std::ofstream& file, const std::pair<std::string, std::string>& line) {
  if (!file.is_open()) return "File-based streambuffer is uninitialized";
  const std::string text = format("{:s}{:s} {:s}{:s}\n", kDarkGrey, line.first, kReset, line.second);
  file.write(text.data(), static_cast<std::streamsize>(text.size()));
  file.flush();
  if (file.good()) return nullptr;
  const char* const fault = file.bad() ? "Writing error on i/o operation" : "Logical error on i/o operation";
  file.clear();  // the next line may find space again
  return fault;
}

/// Opens the files of all levels up to `level`, in the order in which they are announced.
void openFiles(Level level, const std::string& directory, const LogContext& context) {
  constexpr std::array kOrder = {Level::verbosityDebug, Level::verbosityErrors, Level::verbosityInfo,
                                 Level::verbosityWarnings};
  std::array<bool, kStyles.size()> opened{};
  State& s = state();
  {
    MutexLock lock(s.fileMutex);
    s.logDirectory = directory;
    if (directory.empty()) return;
    for (const Level each : kOrder) {
      if (each > level) continue;
      s.files[each].stream.open(filePath(directory + std::string(kStyles[each].fileName)),
                                std::ios::trunc | std::ios::binary);
      opened[each] = s.files[each].stream.is_open();
    }
    s.fileLogging.store(true, std::memory_order_release);
  }
  for (const Level each : kOrder) {
    if (each > level) continue;
    const std::string path = directory + std::string(kStyles[each].fileName);
    const std::string_view pathColour = kStyles[Level::verbosityWarnings].accent;
    if (opened[each]) {
      logger::debug(format("Log file {:s}'{:s}'{:s} opened", pathColour, path, kLightGrey), context);
    } else {
      logger::error(format("Error while opening {:s}'{:s}'{:s} log file", pathColour, path,
                           kStyles[Level::verbosityErrors].accent),
                    context);
    }
  }
}

}  // namespace

void logger::init(const verbosityLevel& level, const std::string& logDirectory, const bool&,
                  const bool& localTime) {
  const verbosityLevel limited = level > verbosityDebug ? verbosityDebug : level;
  State& s = state();
  bool refused = false;
  {
    MutexLock lock(s.consoleMutex);
    refused = threshold.load() != kUninitialized;
    if (!refused) {
      platform::setUpConsole();
      s.terminalRows = kTerminalRows;
      s.terminalColumns = kTerminalColumns;
      s.localTime = localTime;
      threshold.store(limited, std::memory_order_release);
    }
  }
  if (refused) {  // printing takes the console mutex itself
    error("Logger has already been initialized", LOG_HERE);
    return;
  }
  debug(format("Terminal size: {:s}{:d}×{:d}", kStyles[verbosityWarnings].accent, kTerminalRows,
               kTerminalColumns),
        LOG_HERE);
  openFiles(limited, logDirectory, LOG_HERE);
}

void logger::debug(std::string_view message, const LogContext& context) {
  print(verbosityDebug, message, context);
}
void logger::info(std::string_view message, const LogContext& context) {
  print(verbosityInfo, message, context);
}
void logger::warning(std::string_view message, const LogContext& context) {
  print(verbosityWarnings, message, context);
}
void logger::error(std::string_view message, const LogContext& context) {
  print(verbosityErrors, message, context);
}

bool logger::enabled(verbosityLevel level) { return level <= threshold.load(std::memory_order_relaxed); }

void logger::write(std::basic_ofstream<char>& file, const std::pair<std::string, std::string>& line) {
  State& s = state();
  const char* fault = nullptr;
  {
    MutexLock lock(s.fileMutex);
    if (!s.fileLogging) return;
    fault = appendLine(file, line);
    for (LevelFile& each : s.files) {
      if (!fault || &each.stream != &file) continue;
      if (each.faultReported) fault = nullptr;
      each.faultReported = true;
    }
  }
  if (fault) std::fprintf(stderr, "%s\n", fault);
}

void logger::setConsoleSink(std::function<void(std::string_view)> sink) {
  MutexLock lock(state().consoleMutex);
  state().consoleSink = std::move(sink);
}

void logger::resetForTesting() {
  State& s = state();
  {
    MutexLock lock(s.consoleMutex);
    threshold = kUninitialized;
  }
  MutexLock lock(s.fileMutex);
  s.fileLogging = false;
  for (LevelFile& each : s.files) each = LevelFile();
}
