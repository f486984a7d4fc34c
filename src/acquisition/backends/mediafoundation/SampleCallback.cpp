#include "acquisition/backends/mediafoundation/SampleCallback.h"

#include <mferror.h>

#include <exception>

#include "acquisition/backends/mediafoundation/ComPointer.h"
#include "acquisition/backends/mediafoundation/Steps.h"

namespace mediafoundation {
namespace {

/// The bytes of a sample's first buffer, for as long as this lives.
class LockedSample {
 public:
  explicit LockedSample(IMFSample* sample) {
    if (!sample || FAILED(sample->GetBufferByIndex(0, buffer.put()))) return;
    BYTE* bytes = nullptr;
    DWORD size = 0;
    locked = SUCCEEDED(buffer->Lock(&bytes, nullptr, &size));
    if (locked) view.bytes = {bytes, size};
  }
  ~LockedSample() {
    if (locked) buffer->Unlock();
  }
  LockedSample(const LockedSample&) = delete;
  LockedSample& operator=(const LockedSample&) = delete;

  /// Null when there is none.
  const transport::Sample* get() const { return locked ? &view : nullptr; }

 private:
  ComPointer<IMFMediaBuffer> buffer;
  bool locked = false;
  transport::Sample view;
};

}  // namespace

void SampleCallback::beginDetach() {
  MutexLock lock(mutex);
  receiver = nullptr;
}

void SampleCallback::detach() {
  MutexLock lock(mutex);
  receiver = nullptr;
  while (inCallback) condition.wait(lock.native());
}

bool SampleCallback::awaitFlush(std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  MutexLock lock(mutex);
  while (!flushed && std::chrono::steady_clock::now() < deadline)
    condition.wait_until(lock.native(), deadline);
  return flushed;
}

HRESULT SampleCallback::QueryInterface(REFIID id, void** object) {
  if (!object) return E_POINTER;
  const bool known = IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IMFSourceReaderCallback);
  *object = known ? static_cast<IMFSourceReaderCallback*>(this) : nullptr;
  if (!known) return E_NOINTERFACE;
  AddRef();
  return S_OK;
}

ULONG SampleCallback::AddRef() { return ++references; }

ULONG SampleCallback::Release() {
  const ULONG left = --references;
  if (left == 0) delete this;
  return left;
}

HRESULT SampleCallback::OnReadSample(HRESULT status, DWORD, DWORD flags, LONGLONG timestamp,
                                     IMFSample* sample) {
  transport::SampleReceiver* target = nullptr;
  {
    MutexLock lock(mutex);
    target = receiver;
    if (!target) return status;
    inCallback = true;
  }
  // A stream that has ended would answer each further request at once.
  if (SUCCEEDED(status) && (flags & MF_SOURCE_READERF_ENDOFSTREAM) != 0) status = MF_E_END_OF_STREAM;
  if (SUCCEEDED(status) && (flags & MF_SOURCE_READERF_ERROR) != 0) status = E_FAIL;
  {
    const LockedSample locked(SUCCEEDED(status) ? sample : nullptr);
    try {
      target->onSample(statusOf(status), timestamp / 10, locked.get());
    } catch (const std::exception&) {  // no memory for a line of the log: nothing to throw through the system
    }
  }
  MutexLock lock(mutex);
  inCallback = false;
  condition.notify_all();
  return status;
}

HRESULT SampleCallback::OnFlush(DWORD) {
  MutexLock lock(mutex);
  flushed = true;
  condition.notify_all();
  return S_OK;
}

HRESULT SampleCallback::OnEvent(DWORD, IMFMediaEvent*) { return S_OK; }

}  // namespace mediafoundation
