#pragma once

#include <windows.h>

#include <mfapi.h>
#include <mfidl.h>

#include <atomic>

#include "acquisition/backends/mediafoundation/ComPointer.h"

// What every COM object of a test needs.

/// Counts references, and answers for the interfaces that it knows.
template <typename Interface>
class Object : public Interface {
 public:
  virtual bool knows(REFIID id) const = 0;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    const bool known = IsEqualIID(id, IID_IUnknown) || knows(id);
    *object = known ? static_cast<Interface*>(this) : nullptr;
    if (!known) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references;
    if (left == 0) delete this;
    return left;
  }

 protected:
  virtual ~Object() = default;

 private:
  std::atomic<ULONG> references{1};
};

/// With a queue of events.
template <typename Interface>
class Eventful : public Object<Interface> {
 public:
  Eventful() { MFCreateEventQueue(events.put()); }
  IMFMediaEventQueue* queue() const { return events.get(); }

  HRESULT STDMETHODCALLTYPE GetEvent(DWORD flags, IMFMediaEvent** event) override {
    return events->GetEvent(flags, event);
  }
  HRESULT STDMETHODCALLTYPE BeginGetEvent(IMFAsyncCallback* callback, IUnknown* state) override {
    return events->BeginGetEvent(callback, state);
  }
  HRESULT STDMETHODCALLTYPE EndGetEvent(IMFAsyncResult* result, IMFMediaEvent** event) override {
    return events->EndGetEvent(result, event);
  }
  HRESULT STDMETHODCALLTYPE QueueEvent(MediaEventType type, REFGUID extended, HRESULT status,
                                       const PROPVARIANT* value) override {
    return events->QueueEventParamVar(type, extended, status, value);
  }

 private:
  mediafoundation::ComPointer<IMFMediaEventQueue> events;
};

/// With attributes, which another object keeps.
template <typename Interface>
class Attributes : public Object<Interface> {
 public:
  Attributes() { MFCreateAttributes(kept.put(), 2); }
  IMFAttributes* inner() const { return kept.get(); }

#define PASS_ON(name, parameters, arguments) \
  HRESULT STDMETHODCALLTYPE name parameters override { return kept->name arguments; }
  PASS_ON(GetItem, (REFGUID k, PROPVARIANT* v), (k, v))
  PASS_ON(GetItemType, (REFGUID k, MF_ATTRIBUTE_TYPE* t), (k, t))
  PASS_ON(CompareItem, (REFGUID k, REFPROPVARIANT v, BOOL* r), (k, v, r))
  PASS_ON(Compare, (IMFAttributes * o, MF_ATTRIBUTES_MATCH_TYPE t, BOOL* r), (o, t, r))
  PASS_ON(GetUINT32, (REFGUID k, UINT32* v), (k, v))
  PASS_ON(GetUINT64, (REFGUID k, UINT64* v), (k, v))
  PASS_ON(GetDouble, (REFGUID k, double* v), (k, v))
  PASS_ON(GetGUID, (REFGUID k, GUID* v), (k, v))
  PASS_ON(GetStringLength, (REFGUID k, UINT32* n), (k, n))
  PASS_ON(GetString, (REFGUID k, WCHAR* v, UINT32 s, UINT32* n), (k, v, s, n))
  PASS_ON(GetAllocatedString, (REFGUID k, WCHAR** v, UINT32* n), (k, v, n))
  PASS_ON(GetBlobSize, (REFGUID k, UINT32* n), (k, n))
  PASS_ON(GetBlob, (REFGUID k, UINT8* v, UINT32 s, UINT32* n), (k, v, s, n))
  PASS_ON(GetAllocatedBlob, (REFGUID k, UINT8** v, UINT32* n), (k, v, n))
  PASS_ON(GetUnknown, (REFGUID k, REFIID i, void** v), (k, i, v))
  PASS_ON(SetItem, (REFGUID k, REFPROPVARIANT v), (k, v))
  PASS_ON(DeleteItem, (REFGUID k), (k))
  PASS_ON(DeleteAllItems, (), ())
  PASS_ON(SetUINT32, (REFGUID k, UINT32 v), (k, v))
  PASS_ON(SetUINT64, (REFGUID k, UINT64 v), (k, v))
  PASS_ON(SetDouble, (REFGUID k, double v), (k, v))
  PASS_ON(SetGUID, (REFGUID k, REFGUID v), (k, v))
  PASS_ON(SetString, (REFGUID k, const WCHAR* v), (k, v))
  PASS_ON(SetBlob, (REFGUID k, const UINT8* v, UINT32 n), (k, v, n))
  PASS_ON(SetUnknown, (REFGUID k, IUnknown* v), (k, v))
  PASS_ON(LockStore, (), ())
  PASS_ON(UnlockStore, (), ())
  PASS_ON(GetCount, (UINT32 * n), (n))
  PASS_ON(GetItemByIndex, (UINT32 n, GUID* k, PROPVARIANT* v), (n, k, v))
  PASS_ON(CopyAllItems, (IMFAttributes * o), (o))
#undef PASS_ON

 private:
  mediafoundation::ComPointer<IMFAttributes> kept;
};
