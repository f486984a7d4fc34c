#include "tools/soak/logTail.h"

#include <array>
#include <cstdio>
#include <string>
#include <string_view>

#include "common/mutex.h"
#include "core/logger.h"

namespace soak::logTail {
namespace {

constexpr std::string_view kAbandoned = "A call is still in progress on";

struct Tail {
  Mutex mutex;
  std::array<std::string, 60> lines GUARDED_BY(mutex);
  std::size_t next GUARDED_BY(mutex) = 0;
  std::uint64_t abandoned GUARDED_BY(mutex) = 0;
};

Tail& tail() {
  static Tail* const instance = new Tail;  // threads may log until the process ends
  return *instance;
}

void keep(std::string_view line) {
  Tail& kept = tail();
  MutexLock lock(kept.mutex);
  kept.lines[kept.next] = line;
  kept.next = (kept.next + 1) % kept.lines.size();
  if (line.find(kAbandoned) != std::string_view::npos) ++kept.abandoned;
}

}  // namespace

void install() {
  // Room for any line from the start, or what the tail keeps would look like growth.
  {
    MutexLock lock(tail().mutex);
    for (std::string& line : tail().lines) line.reserve(1024);
  }
  logger::setConsoleSink(keep);
}

void print() {
  Tail& kept = tail();
  MutexLock lock(kept.mutex);
  std::fputs("the last lines of the log:\n", stderr);
  for (std::size_t i = 0; i < kept.lines.size(); ++i) {
    const std::string& line = kept.lines[(kept.next + i) % kept.lines.size()];
    std::fwrite(line.data(), 1, line.size(), stderr);
  }
  std::fflush(stderr);
}

std::uint64_t abandonedCameras() {
  MutexLock lock(tail().mutex);
  return tail().abandoned;
}

}  // namespace soak::logTail
