#include "processing/state/MappingState.h"

#include "processing/kernels/linearMapping.h"

std::vector<std::uint32_t> MappingState::valueTable() const {
  std::vector<std::uint32_t> filled(kLevels);
  kernels::fillGaps(ConstLevelCounts{colorCounts}, LevelCounts{filled});
  return filled;
}
