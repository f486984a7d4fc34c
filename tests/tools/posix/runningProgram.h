#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

/// Runs it to its end with standard error, and standard output unless that goes to a file, on a terminal of
/// its own. What the terminal showed.
std::string runOnTerminal(const std::vector<std::string>& arguments, const std::string& standardOutput = {});

/// One that is running, to be interrupted.
class RunningOmbrix {
 public:
  /// terminal: standard error shows on one of its own, and is what is read.
  explicit RunningOmbrix(const std::vector<std::string>& arguments, bool terminal = false);
  ~RunningOmbrix();
  RunningOmbrix(const RunningOmbrix&) = delete;
  RunningOmbrix& operator=(const RunningOmbrix&) = delete;

  /// Blocks until it has printed a whole line; empty at its end.
  std::string readLine() const;
  /// Blocks until it has printed this; false at its end.
  bool readUntil(const std::string& text) const;
  /// Stops reading, and waits for its end as `interrupt` does.
  int hangUp();
  /// Sends it Ctrl-C and waits for its end. Its exit code, or -1 when a signal ended it.
  int interrupt();

 private:
  pid_t pid = -1;
  int output = -1;
};
