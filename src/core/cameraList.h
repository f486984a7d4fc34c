#pragma once

#include <memory>
#include <vector>

#include "acquisition/imageAcquisition.h"
#include "common/mutex.h"

/// The Core's list of cameras, in the order of their opening.
class CameraList {
 public:
  void add(std::unique_ptr<imageAcquisition> camera) EXCLUDES(mutex) {
    MutexLock lock(mutex);
    cameras.push_back(std::move(camera));
  }

  /// Pointers to the cameras, into `out`, whose capacity is reused. They stay valid until `takeAll`.
  void snapshot(std::vector<imageAcquisition*>& out) const EXCLUDES(mutex) {
    MutexLock lock(mutex);
    out.clear();
    for (const auto& camera : cameras) out.push_back(camera.get());
  }

  std::vector<std::unique_ptr<imageAcquisition>> takeAll() EXCLUDES(mutex) {
    MutexLock lock(mutex);
    return std::exchange(cameras, {});
  }

 private:
  mutable Mutex mutex{LockRank::cameraList};
  std::vector<std::unique_ptr<imageAcquisition>> cameras GUARDED_BY(mutex);
};

/// Never destroyed: a process may end without destroying its OmbrixSDK, while the worker still cycles.
extern CameraList& cameraList;
