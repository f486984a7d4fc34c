#include "acquisition/backends/v4l2/SystemCalls.h"

#include <cerrno>
#include <utility>

#include "acquisition/backends/v4l2/LinuxSystemCalls.h"
#include "common/mutex.h"

namespace v4l2 {
namespace {

struct Current {
  Mutex mutex{LockRank::systemCalls};
  std::shared_ptr<SystemCalls> calls GUARDED_BY(mutex);
};

Current& current() {
  static auto* const instance = new Current;  // never destroyed: cameras may be delivering at exit
  return *instance;
}

}  // namespace

std::shared_ptr<SystemCalls> systemCalls() {
  MutexLock lock(current().mutex);
  if (!current().calls) current().calls = std::make_shared<LinuxSystemCalls>();
  return current().calls;
}

void setSystemCallsForTesting(std::shared_ptr<SystemCalls> calls) {
  MutexLock lock(current().mutex);
  current().calls.swap(calls);
}

int controlRetried(SystemCalls& calls, int descriptor, unsigned long request, void* argument) {
  int status = 0;
  do {
    status = calls.control(descriptor, request, argument);
  } while (status == -EINTR);
  return status;
}

std::string fileText(SystemCalls& calls, const std::string& path) {
  constexpr std::size_t kLongestText = 4096;
  std::string text;
  if (calls.readFile(path, kLongestText, text) < 0) return {};
  while (!text.empty() && (text.back() == '\n' || text.back() == '\0')) text.pop_back();
  return text;
}

}  // namespace v4l2
