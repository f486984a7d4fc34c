#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "common/mutex.h"
#include "core/frameMutex.h"
#include "core/multithreading.h"
#include "core/settings.h"
#include "imageFiles/picture.h"
#include "processing/state/processData.h"

namespace imageFiles {

/// What a processed frame offers to the snapshots; borrowed for the call.
struct SnapshotSource {
  const processData<unsigned short>& data;
  bool colored = false;  ///< the colour picture is this frame's
  std::uint64_t frame = 0;
  float sensorTemperatureK = 0.0f;
  const std::string& cameraName;
  std::uint64_t serialNumber = 0;
};

/// Takes the pictures of one camera that the snapshot words of the settings and `take` ask for. The frame's
/// share is one copy into a buffer that is kept; a task writes the file. While an earlier picture of the same
/// kind is still being written, the next one waits for a later frame.
class SnapshotWriter {
 public:
  /// Takes what is asked for and can be had from this frame. On the processing task. pool: as for
  /// `startWorkerThread`; called only when there is something to write.
  void offer(const SnapshotSource& source, const std::function<WorkerPool*()>& pool) REQUIRES(frameMutex);

  /// Has the camera's next picture written to `path` and waits for it. False, with one error line, when the
  /// file cannot be written, when that takes longer than `patience`, or as soon as `leaving` is true.
  bool take(const std::string& path, Content content, std::chrono::milliseconds patience,
            const std::function<bool()>& leaving) EXCLUDES(requestMutex);

 private:
  using Count = std::atomic<std::uint32_t> settings::*;
  /// A word of the settings and the picture that it stands for.
  struct Word {
    Count parsed;
    Content content;
    const char* ending;
  };
  static const std::array<Word, 4> kWords;

  /// A picture from its frame until it is in its file. While `busy` it belongs to the writing task.
  struct Slot {
    std::atomic<bool> busy{false};
    Picture picture;
    std::string path;
    bool requested = false;  ///< `take` waits for it
  };
  enum class RequestState { none, asked, writing, written, failed };
  struct Request {
    RequestState state = RequestState::none;
    std::string path;
    Content content = Content::thermal;
    bool abandoned = false;  ///< nobody waits for the outcome any more
  };

  void offerWords(const SnapshotSource& source, const std::function<WorkerPool*()>& pool)
      REQUIRES(frameMutex);
  void offerRequest(const SnapshotSource& source, const std::function<WorkerPool*()>& pool)
      REQUIRES(frameMutex) EXCLUDES(requestMutex);
  bool pending(std::size_t word) REQUIRES(frameMutex);
  void fill(Slot& slot, const SnapshotSource& source, Content content) REQUIRES(frameMutex);
  void start(Slot& slot, WorkerPool* pool);
  void write(Slot& slot) EXCLUDES(requestMutex);
  void finishRequest(bool written) EXCLUDES(requestMutex);

  std::array<Slot, 4> wordSlots;
  std::array<std::uint32_t, 4> taken GUARDED_BY(frameMutex){};  ///< parses answered, per word
  bool begun GUARDED_BY(frameMutex) = false;                    ///< a frame was offered before
  std::uint64_t pictures GUARDED_BY(frameMutex) = 0;            ///< running number of the snapshots
  Slot requestSlot;

  std::atomic<bool> asked{false};  ///< spares the frames the mutex
  Mutex requestMutex{LockRank::snapshotRequest};
  std::condition_variable requestChanged;
  Request request GUARDED_BY(requestMutex);
};

}  // namespace imageFiles
