#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/logger.h"

/// Collects what the logger prints, from any thread, for as long as it lives. Afterwards the logger is
/// uninitialised and prints to standard output. One at a time.
class LogCapture {
 public:
  enum class Colours { keep, strip };

  /// Initialises the logger at `level`; the lines that this prints itself are not among the collected ones.
  explicit LogCapture(logger::verbosityLevel level = logger::verbosityDebug,
                      Colours colours = Colours::strip);
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  /// The lines so far, without line ends.
  std::vector<std::string> lines() const;
  /// True when a line contains `text`.
  bool contains(std::string_view text) const { return count(text) > 0; }
  /// Number of lines that contain `text`.
  std::size_t count(std::string_view text) const;
  /// All lines, one per text line: what a failed expectation shows.
  std::string text() const;
  void clear();

 private:
  struct Collected;
  std::shared_ptr<Collected> collected;  ///< shared with the sink
};

/// `text` without its ANSI colour sequences.
std::string withoutColours(std::string_view text);
