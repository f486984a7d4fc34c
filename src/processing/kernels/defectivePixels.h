#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "common/image.h"

/// Which neighbours repair which defective pixel, in the order in which pixels are repaired. Built by a
/// camera's first pass, then only read.
struct neighbourTable {
  using Coordinates = std::pair<std::int32_t, std::int32_t>;  ///< x, y

  struct Entry {
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::uint32_t firstNeighbour = 0;  ///< its place in `neighbours`
    std::uint32_t neighbourCount = 0;  ///< 0 to 8
  };

  std::vector<Entry> entries;
  std::vector<Coordinates> neighbours;  ///< of all entries, one list for speed; each row by row
  bool built = false;                   ///< also when no listed pixel lies inside the image

  std::span<const Coordinates> neighboursOf(const Entry& entry) const {
    return {neighbours.data() + entry.firstNeighbour, entry.neighbourCount};
  }
};

/// Replaces defective pixels by the mean of their usable neighbours, in place, or by 0 where `blank` is set.
/// Values 0 and 16383 are unusable; a pixel without any usable neighbour stays. Pixels are repaired in list
/// order, and a repaired one serves those after it: the order of the list matters.
/// list: x, y; consumed and needed only while `table` is not built. Entries outside the image, and all behind
/// the first 65,535, are ignored. image: of the size that the table was built with.
void correctDefectivePixels(image<unsigned short>& image, std::vector<std::pair<int, int>> list,
                            const bool& blank, neighbourTable& table);
