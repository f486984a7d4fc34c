#pragma once

#include <array>
#include <cstdint>
#include <future>
#include <string>
#include <vector>

#include "core/multithreading.h"
#include "imageFiles/picture.h"
#include "imageFiles/tiffFiles.h"

namespace imageFiles {

/// Room for the name of a dump file.
using DumpName = std::array<char, 512>;

/// Where the frames of a camera are dumped to, below the working directory.
DumpName dumpName(const std::string& cameraName, std::uint64_t serialNumber);

/// Writes the frames of one camera's dump, a page each, in a task of its own. All calls come from the
/// camera's processing task; between `start` and `finish` the page belongs to the writing task.
class FrameDumpWriter {
 public:
  /// Where the picture for the next page goes; allocates for the first one of a size.
  image<unsigned short>& page(std::uint16_t width, std::uint16_t height);
  /// Starts the task that appends the page to the file `name`. pool: as for `startWorkerThread`.
  void start(WorkerPool* pool, const DumpName& name, const PictureInfo& info);
  /// Waits for the task, which runs here when no worker has taken it. True when the page is in the file, or
  /// when there was none to write.
  bool finish(WorkerPool* pool);
  void close();

 private:
  /// A frame that failed between `start` and `finish` leaves its task behind.
  void waitForTask();
  bool appendPage(std::string& problem);
  int writeTiffThreadProc();

  DumpName name{};
  PictureInfo pageInfo;
  image<unsigned short> pagePixels;
  std::future<int> task;
  bool written = true;  ///< the outcome of the task
  TiffPageWriter file;
};

}  // namespace imageFiles
