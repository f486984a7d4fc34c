#include "core/deviceRegistry.h"

#include <exception>

#include "acquisition/imageAcquisition.h"
#include "common/format.h"
#include "common/mutex.h"
#include "ombrix/OmbrixSDK.h"

namespace registry {
namespace {

Mutex mutex{LockRank::registry};  // guards OmbrixSDK::mConnectedDevices, too
bool closing GUARDED_BY(mutex) = false;

imageAcquisition* use(int handle) {
  MutexLock lock(mutex);
  if (closing) return nullptr;
  const auto found = OmbrixSDK::mConnectedDevices.find(handle);
  if (found == OmbrixSDK::mConnectedDevices.end()) return nullptr;
  auto* const camera = static_cast<imageAcquisition*>(found->second);
  ++camera->users;
  return camera;
}

}  // namespace

DeviceUser::DeviceUser(int handle, const LogContext& context) : camera(use(handle)) {
  if (camera) return;
  try {
    logger::error(format("Device not found in connected devices list. Handle: {:d}", handle), context);
  } catch (const std::exception&) {
    // No memory for the line: an exported call that has no other use for any must not throw for it.
  }
}

DeviceUser::~DeviceUser() {
  if (camera) --camera->users;
}

bool contains(int handle) {
  MutexLock lock(mutex);
  return OmbrixSDK::mConnectedDevices.count(handle) > 0;
}

Entry::Entry(int handle, imageAcquisition* camera) {
  std::map<int, void*> single{{handle, camera}};
  node = single.extract(handle);
}

bool add(Entry entry) {
  MutexLock lock(mutex);
  return OmbrixSDK::mConnectedDevices.insert(std::move(entry.node)).inserted;
}

void beginClosing() {
  MutexLock lock(mutex);
  closing = true;
}

void clear() {
  MutexLock lock(mutex);
  OmbrixSDK::mConnectedDevices.clear();
  closing = false;
}

}  // namespace registry
