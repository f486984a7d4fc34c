#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <string>
#include <thread>

#include "common/mutex.h"

namespace tools {

/// What the step prints meanwhile.
enum class Output { None, Lines };

/// One line on standard error that tells how far a long step is. It appears after a second, only on a
/// terminal that shows no other lines meanwhile, and is wiped when the object goes.
class ProgressLine {
 public:
  /// text: makes the line; called from a thread of its own, four times a second.
  explicit ProgressLine(std::function<std::string()> text, Output meanwhile = Output::None);
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

 private:
  void progressThreadProc();
  bool waitUntil(std::chrono::steady_clock::time_point moment) EXCLUDES(mutex);

  std::function<std::string()> makeText;
  Mutex mutex;
  std::condition_variable condition;
  bool done GUARDED_BY(mutex) = false;
  std::thread worker;
};

}  // namespace tools
