#pragma once

#include <memory>
#include <system_error>

#include "imageFiles/FrameDumpWriter.h"
#include "imageFiles/SnapshotWriter.h"

namespace imageFiles {

/// The files that one camera writes pictures to, and the thread that writes them.
class PictureFiles {
 public:
  PictureFiles() = default;
  /// Pictures that wait for their turn are still written.
  ~PictureFiles() {
    if (workers) workers->runPending();
  }
  PictureFiles(const PictureFiles&) = delete;
  PictureFiles& operator=(const PictureFiles&) = delete;

  /// One worker of its own, started when it is first needed: in a pool with other tasks a picture could wait
  /// for ever behind a worker that never ends, and so could who runs pending tasks. Null when the system
  /// refuses the thread; what is started runs inline then. For the processing task.
  WorkerPool* pool() {
    try {
      if (!workers) workers = std::make_unique<WorkerPool>(1u);
    } catch (const std::system_error&) {
    }
    return workers.get();
  }

  FrameDumpWriter dump;
  SnapshotWriter snapshots;

 private:
  std::unique_ptr<WorkerPool> workers;  // joined before what its tasks work on goes
};

}  // namespace imageFiles
