#pragma once

#include <windows.h>

#include <mfapi.h>
#include <mfidl.h>
#include <mfreadwrite.h>

#include <atomic>
#include <chrono>
#include <condition_variable>

#include "acquisition/transport/videoPlatform.h"
#include "common/mutex.h"

namespace mediafoundation {

/// What the source reader calls on a thread of Media Foundation. It hands samples on until it is detached;
/// the reader keeps it alive for as long as it may call.
class SampleCallback : public IMFSourceReaderCallback {
 public:
  explicit SampleCallback(transport::SampleReceiver& sampleReceiver) : receiver(&sampleReceiver) {}
  SampleCallback(const SampleCallback&) = delete;
  SampleCallback& operator=(const SampleCallback&) = delete;

  /// From now on nothing is handed on.
  void beginDetach() EXCLUDES(mutex);
  /// Waits until the receiver has returned; it is not called again.
  void detach() EXCLUDES(mutex);
  /// Whether the reader has said within `limit` that its flush is done.
  bool awaitFlush(std::chrono::milliseconds limit) EXCLUDES(mutex);

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;
  HRESULT STDMETHODCALLTYPE OnReadSample(HRESULT status, DWORD stream, DWORD flags, LONGLONG timestamp,
                                         IMFSample* sample) override;
  HRESULT STDMETHODCALLTYPE OnFlush(DWORD stream) override;
  HRESULT STDMETHODCALLTYPE OnEvent(DWORD stream, IMFMediaEvent* event) override;

 private:
  virtual ~SampleCallback() = default;

  std::atomic<ULONG> references{1};
  Mutex mutex{LockRank::delivery};
  std::condition_variable condition;
  transport::SampleReceiver* receiver GUARDED_BY(mutex);  ///< null once detached
  bool inCallback GUARDED_BY(mutex) = false;
  bool flushed GUARDED_BY(mutex) = false;
};

}  // namespace mediafoundation
