#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "imageFiles/tiffFiles.h"

namespace imageFiles {

/// Plays the pages of a dump at a camera's rate, over and over. For the processing task.
class FrameReplay {
 public:
  using Clock = std::chrono::steady_clock;

  FrameReplay(std::unique_ptr<TiffPageReader> reader, float framesPerSecond);

  /// Time until the next page is due: 0 when it is, the largest duration when no more will come.
  std::chrono::microseconds untilNext(Clock::time_point now) const;
  /// Reads the next page, whether it is due or not; after the last one the first follows. False (with one
  /// error line) when it cannot be read: the replay is over then.
  bool next(Clock::time_point now, image<unsigned short>& out, PictureInfo& info);
  /// What the first page tells, without playing it; `scratch` is of the pages' size.
  bool peek(image<unsigned short>& scratch, PictureInfo& info);

 private:
  bool read(std::size_t wanted, image<unsigned short>& out, PictureInfo& info);

  std::unique_ptr<TiffPageReader> pages;
  Clock::duration period;
  Clock::time_point due{};
  std::size_t page = 0;
  bool over = false;
};

}  // namespace imageFiles
