#include "processing/kernels/stripes.h"

namespace kernels {

namespace {

constexpr struct {
  std::size_t low, high;
} kExchanges[] = {{0, 1}, {2, 3}, {4, 5}, {6, 7}, {0, 2}, {1, 3}, {4, 6}, {5, 7}, {1, 2}, {5, 6},
                  {0, 4}, {1, 5}, {2, 6}, {3, 7}, {2, 4}, {3, 5}, {1, 2}, {3, 4}, {5, 6}};
static_assert(kStripeSegments == 8);

}  // namespace

void StripeOffsets::sort() {
  // A sorting network treats all stripes alike, so each exchange runs over them in vector lanes.
  for (const auto& exchange : kExchanges) {
    float* __restrict low = values.data() + exchange.low * count;
    float* __restrict high = values.data() + exchange.high * count;
    for (std::size_t i = 0; i < count; ++i) {
      const float a = low[i], b = high[i];
      low[i] = b < a ? b : a;
      high[i] = b < a ? a : b;
    }
  }
}

}  // namespace kernels
