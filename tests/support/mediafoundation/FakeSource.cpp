#include "support/mediafoundation/FakeSource.h"

#include <mferror.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "acquisition/backends/mediafoundation/ComPointer.h"
#include "acquisition/backends/mediafoundation/kernelStreaming.h"
#include "support/mediafoundation/objects.h"

using mediafoundation::ComPointer;
using Camera = std::shared_ptr<FakeSource>;

namespace {

constexpr GUID kUnit = {0x39D89422, 0xA0A4, 0x443E, {0x87, 0xCC, 0xB4, 0x99, 0x07, 0x43, 0xDD, 0x5A}};
constexpr HRESULT kMoreData = static_cast<HRESULT>(0x800700EA);
constexpr HRESULT kSetNotFound = static_cast<HRESULT>(0x80070492);

/// Counts the objects of a camera.
class Counted {
 public:
  explicit Counted(Camera counted) : camera(std::move(counted)) { ++camera->objects; }
  ~Counted() { --camera->objects; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  const Camera camera;
};

ComPointer<IMFStreamDescriptor> describeStream(const FakeSource& camera) {
  std::vector<ComPointer<IMFMediaType>> types;
  std::vector<IMFMediaType*> pointers;
  for (const FakeSource::Type& each : camera.types) {
    GUID subtype = MFVideoFormat_Base;
    subtype.Data1 = each.fourcc;
    auto& type = types.emplace_back();
    MFCreateMediaType(type.put());
    type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Video);
    type->SetGUID(MF_MT_SUBTYPE, subtype);
    if (each.width) type->SetUINT64(MF_MT_FRAME_SIZE, UINT64{each.width} << 32 | each.height);
    pointers.push_back(type.get());
  }
  ComPointer<IMFStreamDescriptor> stream;
  ComPointer<IMFMediaTypeHandler> handler;
  MFCreateStreamDescriptor(0, static_cast<DWORD>(pointers.size()), pointers.data(), stream.put());
  stream->GetMediaTypeHandler(handler.put());
  handler->SetCurrentMediaType(pointers.front());
  return stream;
}

/// The node instance: takes property requests.
class Node final : public Object<mediafoundation::IKsControl>, Counted {
 public:
  Node(Camera of, DWORD id) : Counted(std::move(of)), node(id) {}
  bool knows(REFIID id) const override { return IsEqualIID(id, mediafoundation::kControlId); }

  HRESULT STDMETHODCALLTYPE KsProperty(mediafoundation::NodeProperty* request, ULONG requestBytes, void* data,
                                       ULONG dataBytes, ULONG* bytesReturned) override {
    if (requestBytes != 32 || request->node != node || (request->flags & 0x10000000) == 0)
      return E_INVALIDARG;
    *bytesReturned = 0;
    if (!IsEqualGUID(request->set, kUnit) || node != camera->unitNode) return kSetNotFound;
    if (!data) return kMoreData;
    auto* const bytes = static_cast<std::uint8_t*>(data);
    const ULONG direction = request->flags & 3;
    if (direction == 1) {
      const std::string command = camera->lastCommand();
      std::copy_n(command.begin(), std::min<std::size_t>(command.size(), dataBytes), bytes);
      *bytesReturned = dataBytes;
    }
    camera->record({request->id, direction, request->node, {bytes, bytes + dataBytes}});
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE KsMethod(void*, ULONG, void*, ULONG, ULONG*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE KsEvent(void*, ULONG, void*, ULONG, ULONG*) override { return E_NOTIMPL; }

 private:
  const DWORD node;
};

class Topology final : public Object<mediafoundation::IKsTopologyInfo>, Counted {
 public:
  explicit Topology(Camera of) : Counted(std::move(of)) {}
  bool knows(REFIID id) const override { return IsEqualIID(id, mediafoundation::kTopologyInfoId); }

  HRESULT STDMETHODCALLTYPE get_NumCategories(DWORD*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_Category(DWORD, GUID*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_NumConnections(DWORD*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_ConnectionInfo(DWORD, void*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_NodeName(DWORD, WCHAR*, DWORD, DWORD*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_NumNodes(DWORD* count) override {
    *count = static_cast<DWORD>(camera->deviceSpecific.size());
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get_NodeType(DWORD node, GUID* type) override {
    *type = camera->deviceSpecific.at(node) ? mediafoundation::kDeviceSpecificNode : GUID_NULL;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE CreateNodeInstance(DWORD node, REFIID, void** object) override {
    *object = static_cast<IUnknown*>(new Node(camera, node));
    return S_OK;
  }
};

class Stream final : public Eventful<IMFMediaStream>, Counted {
 public:
  Stream(Camera of, IMFMediaSource* its, ComPointer<IMFStreamDescriptor> description)
      : Counted(std::move(of)), source(its), descriptor(std::move(description)) {}
  bool knows(REFIID id) const override {
    return IsEqualIID(id, IID_IMFMediaStream) || IsEqualIID(id, IID_IMFMediaEventGenerator);
  }
  HRESULT STDMETHODCALLTYPE GetMediaSource(IMFMediaSource** owner) override {
    source->AddRef();
    *owner = source;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetStreamDescriptor(IMFStreamDescriptor** description) override {
    *description = descriptor.get();
    descriptor->AddRef();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE RequestSample(IUnknown* token) override {
    if (camera->endOfStream) return queue()->QueueEventParamVar(MEEndOfStream, GUID_NULL, S_OK, nullptr);
    ComPointer<IMFSample> sample;
    ComPointer<IMFMediaBuffer> buffer;
    const auto size = static_cast<DWORD>(camera->sample.size());
    BYTE* bytes = nullptr;
    MFCreateMemoryBuffer(size, buffer.put());
    buffer->Lock(&bytes, nullptr, nullptr);
    std::copy(camera->sample.begin(), camera->sample.end(), bytes);
    buffer->Unlock();
    buffer->SetCurrentLength(size);
    MFCreateSample(sample.put());
    sample->AddBuffer(buffer.get());
    sample->SetSampleTime(static_cast<LONGLONG>(++camera->delivered) * 166667);
    if (token) sample->SetUnknown(MFSampleExtension_Token, token);
    return queue()->QueueEventParamUnk(MEMediaSample, GUID_NULL, S_OK, sample.get());
  }

 private:
  IMFMediaSource* const source;  // lives as long as it has this stream
  const ComPointer<IMFStreamDescriptor> descriptor;
};

class Source final : public Eventful<IMFMediaSource>, Counted {
 public:
  explicit Source(Camera of) : Counted(std::move(of)) {}
  bool knows(REFIID id) const override {
    return IsEqualIID(id, IID_IMFMediaSource) || IsEqualIID(id, IID_IMFMediaEventGenerator);
  }
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (!IsEqualIID(id, mediafoundation::kTopologyInfoId)) return Eventful::QueryInterface(id, object);
    *object = static_cast<mediafoundation::IKsTopologyInfo*>(new Topology(camera));
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetCharacteristics(DWORD* characteristics) override {
    *characteristics = MFMEDIASOURCE_IS_LIVE;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE CreatePresentationDescriptor(IMFPresentationDescriptor** descriptor) override {
    const auto description = describeStream(*camera);
    IMFStreamDescriptor* const streams[] = {description.get()};
    const HRESULT made =
        MFCreatePresentationDescriptor(1, const_cast<IMFStreamDescriptor**>(streams), descriptor);
    if (SUCCEEDED(made)) (*descriptor)->SelectStream(0);
    return made;
  }
  HRESULT STDMETHODCALLTYPE Start(IMFPresentationDescriptor* presentation, const GUID*,
                                  const PROPVARIANT* position) override {
    BOOL selected = FALSE;
    ComPointer<IMFStreamDescriptor> description;
    presentation->GetStreamDescriptorByIndex(0, &selected, description.put());
    const bool fresh = !stream;
    if (fresh) stream = ComPointer<Stream>(new Stream(camera, this, std::move(description)));
    queue()->QueueEventParamUnk(fresh ? MENewStream : MEUpdatedStream, GUID_NULL, S_OK, stream.get());
    queue()->QueueEventParamVar(MESourceStarted, GUID_NULL, S_OK, position);
    return stream->queue()->QueueEventParamVar(MEStreamStarted, GUID_NULL, S_OK, position);
  }
  HRESULT STDMETHODCALLTYPE Stop() override {
    return queue()->QueueEventParamVar(MESourceStopped, GUID_NULL, S_OK, nullptr);
  }
  HRESULT STDMETHODCALLTYPE Pause() override { return MF_E_INVALID_STATE_TRANSITION; }
  HRESULT STDMETHODCALLTYPE Shutdown() override {
    if (down) return MF_E_SHUTDOWN;
    down = true;
    ++camera->shutDowns;
    while (camera->shutdownHangs) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    if (stream) stream->queue()->Shutdown();
    stream.reset();
    return queue()->Shutdown();
  }

 private:
  ComPointer<Stream> stream;
  std::atomic<bool> down{false};
};

class Activation final : public Attributes<IMFActivate>, Counted {
 public:
  explicit Activation(Camera of) : Counted(std::move(of)) {
    inner()->SetString(MF_DEVSOURCE_ATTRIBUTE_FRIENDLY_NAME, camera->friendlyName.c_str());
    inner()->SetString(MF_DEVSOURCE_ATTRIBUTE_SOURCE_TYPE_VIDCAP_SYMBOLIC_LINK, camera->link.c_str());
  }
  bool knows(REFIID id) const override {
    return IsEqualIID(id, IID_IMFActivate) || IsEqualIID(id, IID_IMFAttributes);
  }
  HRESULT STDMETHODCALLTYPE ActivateObject(REFIID, void** object) override {
    *object = static_cast<IMFMediaSource*>(new Source(camera));
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE ShutdownObject() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE DetachObject() override { return E_NOTIMPL; }
};

}  // namespace

std::vector<FakeSource::Transfer> FakeSource::transfers() const {
  MutexLock lock(mutex);
  return done;
}

void FakeSource::record(Transfer transfer) {
  MutexLock lock(mutex);
  done.push_back(std::move(transfer));
}

std::string FakeSource::lastCommand() const {
  MutexLock lock(mutex);
  for (auto each = done.rbegin(); each != done.rend(); ++each) {
    if (each->flags == 2) return {each->bytes.begin(), std::find(each->bytes.begin(), each->bytes.end(), 0)};
  }
  return {};
}

IMFActivate* FakeSource::activation() { return new Activation(shared_from_this()); }

std::shared_ptr<mediafoundation::MediaFoundationPlatform> platformOf(
    std::vector<std::shared_ptr<FakeSource>> cameras) {
  return std::make_shared<mediafoundation::MediaFoundationPlatform>(
      [cameras = std::move(cameras)](IMFAttributes* wanted, IMFActivate*** devices, UINT32* count) {
        GUID kind{};
        wanted->GetGUID(MF_DEVSOURCE_ATTRIBUTE_SOURCE_TYPE, &kind);
        if (!IsEqualGUID(kind, MF_DEVSOURCE_ATTRIBUTE_SOURCE_TYPE_VIDCAP_GUID)) return E_INVALIDARG;
        *devices = static_cast<IMFActivate**>(CoTaskMemAlloc(cameras.size() * sizeof(IMFActivate*)));
        *count = 0;
        for (const auto& camera : cameras) (*devices)[(*count)++] = camera->activation();
        return S_OK;
      });
}
