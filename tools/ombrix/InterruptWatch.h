#pragma once

#include <condition_variable>
#include <thread>

#include "common/mutex.h"
#include "tools/ombrix/commands.h"

namespace tools {

/// While it lives, Ctrl-C ends the program within a second, whatever a camera makes it wait for: half a
/// second later transfers to cameras are refused, and when the program has not come to its end by then, it is
/// ended, its temporary directories gone. The system takes care of the rest.
class InterruptWatch {
 public:
  /// code: what the program then ends with.
  explicit InterruptWatch(ExitCode code);
  ~InterruptWatch();
  InterruptWatch(const InterruptWatch&) = delete;
  InterruptWatch& operator=(const InterruptWatch&) = delete;

 private:
  void watchThreadProc();
  bool over();
  [[noreturn]] void endAtOnce() const;

  const ExitCode exitCode;
  Mutex mutex;
  std::condition_variable condition;
  bool done GUARDED_BY(mutex) = false;
  std::thread worker;
};

}  // namespace tools
