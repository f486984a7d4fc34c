#pragma once

#include <cstdint>
#include <fstream>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

/// Where a log call stands; made by LOG_HERE, taken apart only when a line is printed.
struct LogContext {
  const char* function = "";
  const char* signature = "";
};

#if defined(__GNUC__)
#define OMBRIX_SIGNATURE __PRETTY_FUNCTION__
#else
#define OMBRIX_SIGNATURE __FUNCSIG__
#endif
#define LOG_HERE (LogContext{__func__, OMBRIX_SIGNATURE})

/// The process-wide, levelled logger: a coloured console sink and, when `init` gets a directory, one file
/// per level. Any thread may log; lines never interleave. A printer that is below the level costs one load:
/// ask `enabled` before formatting a text on a hot path.
class logger {
 public:
  enum verbosityLevel : std::uint8_t { verbosityErrors, verbosityWarnings, verbosityInfo, verbosityDebug };

  /// Sets level and log directory (empty: console only) and opens the level's files. A second call logs
  /// "Logger has already been initialized" and changes nothing. The third argument has no effect;
  /// `localTime` selects local time for the stamps, UTC otherwise.
  static void init(const verbosityLevel& level, const std::string& logDirectory, const bool& reserved,
                   const bool& localTime);

  static void debug(std::string_view message, const LogContext& context);
  static void info(std::string_view message, const LogContext& context);
  static void warning(std::string_view message, const LogContext& context);
  static void error(std::string_view message, const LogContext& context);
  /// Good news, printed through info.
  static void success(std::string_view message, const LogContext& context) { info(message, context); }
  /// Wire-level detail, printed through debug.
  static void trace(std::string_view message, const LogContext& context) { debug(message, context); }

  /// True when a printer of this level writes at all (also before `init`, when everything is printed).
  static bool enabled(verbosityLevel level);

  /// Appends one stamped line, {stamp, text}, to a level's file while file logging is on; takes the file
  /// mutex. What goes wrong is said once per file, on standard error: the error log itself may be the broken
  /// one.
  static void write(std::basic_ofstream<char>& file, const std::pair<std::string, std::string>& line);

  /// Class part and function name of a context, for example {"logger", "init"}. The class part is the chain
  /// of `X::` directly before the name, without unnamed scopes; for a lambda, that of the enclosing function.
  /// A name that is already qualified has none.
  static std::pair<std::string, std::string> tag(const LogContext& context);

  /// Replaces the console: every finished console line, with its line end, goes to `sink` (called under the
  /// console mutex, so it must not log); an empty one restores standard output. Tools that keep standard
  /// output for data point it to standard error; tests collect lines.
  static void setConsoleSink(std::function<void(std::string_view)> sink);

  /// Back to "uninitialized", files closed. For tests.
  static void resetForTesting();
};
