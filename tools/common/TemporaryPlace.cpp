#include "tools/common/TemporaryPlace.h"

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "common/format.h"
#include "common/mutex.h"

namespace tools {
namespace {

namespace fs = std::filesystem;

/// All that there are.
struct Places {
  Mutex mutex;
  std::vector<fs::path> list GUARDED_BY(mutex);
};

Places& places() {
  static Places object;
  return object;
}

// Links, not what they lead to.
void removeTree(const fs::path& place) {
  std::error_code ignored;
  fs::remove_all(place, ignored);
}

}  // namespace

TemporaryPlace::TemporaryPlace(const fs::path& parent, const std::string& prefix) {
  std::random_device random;
  const auto number = std::uint64_t{random()} << 32 | random();
  place = parent / format("{:s}{:016x}", prefix, number);
  Places& all = places();
  MutexLock lock(all.mutex);
  all.list.push_back(place);
}

TemporaryPlace::~TemporaryPlace() {
  removeTree(place);
  Places& all = places();
  MutexLock lock(all.mutex);
  all.list.erase(std::find(all.list.begin(), all.list.end(), place));
}

void TemporaryPlace::removeAll() {
  Places& all = places();
  MutexLock lock(all.mutex);
  for (const fs::path& place : all.list) removeTree(place);
}

}  // namespace tools
