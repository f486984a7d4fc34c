#pragma once

#include <windows.h>

#include <mfapi.h>
#include <mfidl.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "acquisition/backends/mediafoundation/MediaFoundationPlatform.h"
#include "common/mutex.h"

/// A camera as Windows would show it: an object to activate, a media source with one stream, and a topology
/// of nodes, of which one is the extension unit. The real source reader runs on it.
class FakeSource : public std::enable_shared_from_this<FakeSource> {
 public:
  struct Type {
    std::uint32_t fourcc;
    std::uint32_t width, height;  ///< 0: the type tells no size
  };
  struct Transfer {
    std::uint32_t selector, flags, node;
    std::vector<std::uint8_t> bytes;
  };

  // What the camera is; set before it is opened.
  std::wstring friendlyName = L"Marlow \u00e4\u20ac";
  std::wstring link = L"\\\\?\\usb#vid_5c2b&pid_96ea&mi_00#7&1";
  std::vector<Type> types = {{0x3231564E, 320, 240}, {0x20363159, 320, 240}};  // "NV12", "Y16 "
  DWORD unitNode = 2;
  std::vector<bool> deviceSpecific = {false, true, true};  ///< the nodes
  std::vector<std::uint8_t> sample = std::vector<std::uint8_t>(320 * 240 * 2);
  std::atomic<bool> endOfStream{false};    ///< instead of the next sample
  std::atomic<bool> shutdownHangs{false};  ///< ending the stream waits until this is false

  // What happened to it.
  std::atomic<int> objects{0};  ///< source, stream, nodes and activation objects that live
  std::atomic<int> shutDowns{0};
  std::atomic<std::uint64_t> delivered{0};
  std::vector<Transfer> transfers() const EXCLUDES(mutex);
  void record(Transfer transfer) EXCLUDES(mutex);
  std::string lastCommand() const EXCLUDES(mutex);

  /// A new activation object for it, one reference.
  IMFActivate* activation();

 private:
  mutable Mutex mutex;
  std::vector<Transfer> done GUARDED_BY(mutex);
};

/// The platform with these cameras instead of the system's.
std::shared_ptr<mediafoundation::MediaFoundationPlatform> platformOf(
    std::vector<std::shared_ptr<FakeSource>> cameras);
