#pragma once

#include <map>

#include "core/logger.h"

class imageAcquisition;

/// The opened cameras by handle: the guarded side of `OmbrixSDK::mConnectedDevices`.
namespace registry {

/// A call in progress on a camera: while one exists, clean-up does not destroy the object. Converts to false,
/// after one error line, when the handle is unknown or the library is closing.
class DeviceUser {
 public:
  DeviceUser(int handle, const LogContext& context);
  ~DeviceUser();
  DeviceUser(const DeviceUser&) = delete;
  DeviceUser& operator=(const DeviceUser&) = delete;

  explicit operator bool() const { return camera != nullptr; }
  imageAcquisition& operator*() const { return *camera; }
  imageAcquisition* operator->() const { return camera; }

 private:
  imageAcquisition* camera = nullptr;
};

/// What enters a camera under its handle, made beforehand so that entering cannot run out of memory.
class Entry {
 public:
  Entry(int handle, imageAcquisition* camera);

 private:
  friend bool add(Entry entry);
  std::map<int, void*>::node_type node;
};

bool contains(int handle);
/// Enters a camera; false when the handle is taken.
bool add(Entry entry);
/// From here on no lookup succeeds.
void beginClosing();
/// Empties the registry and lets lookups succeed again.
void clear();

}  // namespace registry
