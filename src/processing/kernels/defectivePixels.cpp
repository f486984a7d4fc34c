#include "processing/kernels/defectivePixels.h"

#include <algorithm>
#include <cstddef>

#include "common/numerics.h"

namespace {

constexpr std::size_t kMostEntries = 65535;
constexpr std::int32_t kNeighbourRange = 1;

bool inside(const image<unsigned short>& picture, int x, int y) {
  return x >= 0 && y >= 0 && x < picture.width && y < picture.height;
}

/// How often each pixel still stands in the list of those to repair: answers in one step what a search of the
/// list would.
class WaitingPixels {
 public:
  WaitingPixels(const image<unsigned short>& picture, const std::vector<std::pair<int, int>>& list)
      : width(picture.width), counts(picture.pixelCount()) {
    for (const auto& [x, y] : list) {
      if (inside(picture, x, y)) ++count(x, y);
    }
  }
  bool holds(int x, int y) { return count(x, y) != 0; }
  void removeOne(int x, int y) { --count(x, y); }

 private:
  // kMostEntries equal entries fit.
  std::uint16_t& count(int x, int y) {
    return counts[static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x)];
  }

  std::size_t width;
  std::vector<std::uint16_t> counts;
};

void addEntry(const image<unsigned short>& picture, int x, int y, WaitingPixels& waiting,
              neighbourTable& table) {
  neighbourTable::Entry entry{x, y, static_cast<std::uint32_t>(table.neighbours.size()), 0};
  for (int dy = -kNeighbourRange; dy <= kNeighbourRange; ++dy) {
    for (int dx = -kNeighbourRange; dx <= kNeighbourRange; ++dx) {
      if ((dx == 0 && dy == 0) || !inside(picture, x + dx, y + dy) || waiting.holds(x + dx, y + dy)) continue;
      table.neighbours.emplace_back(x + dx, y + dy);
      ++entry.neighbourCount;
    }
  }
  table.entries.push_back(entry);
}

void build(const image<unsigned short>& picture, std::vector<std::pair<int, int>>& list,
           neighbourTable& table) {
  if (list.size() > kMostEntries) list.resize(kMostEntries);
  WaitingPixels waiting(picture, list);
  table.entries.reserve(list.size());
  for (const auto& [x, y] : list) {
    if (!inside(picture, x, y)) continue;
    addEntry(picture, x, y, waiting, table);
    waiting.removeOne(x, y);
  }
  table.neighbours.shrink_to_fit();
  table.built = true;
}

void repair(image<unsigned short>& picture, bool blank, const neighbourTable& table) {
  constexpr std::uint32_t kSensorFullScale = 16383;  // 14 bits
  const std::size_t width = picture.width;
  for (const auto& entry : table.entries) {
    std::uint32_t sum = 0;
    std::uint32_t count = 0;
    for (const auto& [x, y] : table.neighboursOf(entry)) {
      const std::uint32_t level =
          picture.data[static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x)];
      const std::uint32_t usable = level != 0 && level != kSensorFullScale ? 1 : 0;
      sum += level * usable;
      count += usable;
    }
    if (count == 0) continue;
    const float mean = static_cast<float>(sum) / static_cast<float>(count);
    std::uint16_t& pixel =
        picture.data[static_cast<std::size_t>(entry.y) * width + static_cast<std::size_t>(entry.x)];
    pixel = blank ? std::uint16_t{0} : truncateLimitedToU16(mean);
  }
}

}  // namespace

void correctDefectivePixels(image<unsigned short>& image, std::vector<std::pair<int, int>> list,
                            const bool& blank, neighbourTable& table) {
  // Which neighbours count does not depend on pixel values, so the first pass can build first and repair
  // then.
  if (!table.built && !list.empty()) build(image, list, table);
  repair(image, blank, table);
}
