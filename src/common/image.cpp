#include "common/image.h"

#include <cstring>

#include "core/logger.h"

template <typename T>
void copyImage(const image<T>& in, image<T>& out) {
  if (in.pixelCount() != out.pixelCount()) {
    logger::error("Input and output images mismatch", LOG_HERE);
    return;
  }
  if (!in.empty()) std::memmove(out.data, in.data, in.pixelCount() * sizeof(T));
}

template void copyImage<unsigned short>(const image<unsigned short>&, image<unsigned short>&);
