#include "acquisition/transport/extensionUnit.h"

#include <cmath>

#include "common/numerics.h"

namespace transport {

std::uint32_t selectorForSize(std::size_t bytes) {
  if (bytes == 0) return 0;
  return truncateToU32(std::log2(static_cast<double>(bytes)) + 1.0 + 0.5);
}

}  // namespace transport
