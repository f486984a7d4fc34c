#include "processing/kernels/stripes.h"

#include <algorithm>
#include <cstddef>

#include "common/vectorised.h"

namespace kernels {

namespace {

constexpr struct {
  std::size_t low, high;
} kExchanges[] = {{0, 1}, {2, 3}, {4, 5}, {6, 7}, {0, 2}, {1, 3}, {4, 6}, {5, 7}, {1, 2}, {5, 6},
                  {0, 4}, {1, 5}, {2, 6}, {3, 7}, {2, 4}, {3, 5}, {1, 2}, {3, 4}, {5, 6}};
static_assert(kStripeSegments == 8);

OMBRIX_VECTORISED
void exchangeAll(float* __restrict low, float* __restrict high, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const float a = low[i], b = high[i];
    low[i] = std::min(a, b);
    high[i] = std::max(a, b);
  }
}

}  // namespace

void StripeOffsets::sort() {
  // A sorting network treats all stripes alike, so each exchange runs over them in vector lanes.
  for (const auto& [low, high] : kExchanges) {
    exchangeAll(values.data() + low * count, values.data() + high * count, count);
  }
}

}  // namespace kernels
