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
  MutexLock lock(places().mutex);
  places().list.push_back(place);
}

TemporaryPlace::~TemporaryPlace() {
  removeTree(place);
  MutexLock lock(places().mutex);
  auto& list = places().list;
  list.erase(std::find(list.begin(), list.end(), place));
}

void TemporaryPlace::removeAll() {
  MutexLock lock(places().mutex);
  for (const fs::path& place : places().list) removeTree(place);
}

}  // namespace tools
