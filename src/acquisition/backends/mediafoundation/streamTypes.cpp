// The stream types of MediaFoundationDevice.

#include <mferror.h>

#include <utility>

#include "acquisition/backends/mediafoundation/MediaFoundationDevice.h"

namespace mediafoundation {
namespace {

namespace step = transport::step;
using transport::StepResult;

constexpr auto kStream = static_cast<DWORD>(MF_SOURCE_READER_FIRST_VIDEO_STREAM);
constexpr std::uint32_t kFourccY16 = 0x20363159;  // the one type whose size must be told

}  // namespace

StepResult MediaFoundationDevice::streamTypes(std::vector<transport::StreamType>& found) {
  topology.reset();
  found.clear();
  Steps steps;
  MutexLock lock(mutex);
  if (!camera.source) return {static_cast<std::int32_t>(MF_E_SHUTDOWN), step::kCreatePresentation};
  camera.types.clear();
  steps.take(step::kCreatePresentation,
             [&] { return camera.source->CreatePresentationDescriptor(camera.presentation.put()); });
  listTypes(steps, found);
  for (std::size_t i = 0; i < found.size(); ++i) {
    UINT64 size = 0;
    steps.take(step::kFrameSize, [&] {
      const HRESULT read = camera.types[i]->GetUINT64(MF_MT_FRAME_SIZE, &size);
      return found[i].fourcc == kFourccY16 ? read : S_OK;  // sounds have none
    });
    found[i].width = static_cast<std::uint32_t>(size >> 32);
    found[i].height = static_cast<std::uint32_t>(size);
  }
  return steps.result();
}

void MediaFoundationDevice::listTypes(Steps& steps, std::vector<transport::StreamType>& found) {
  DWORD streams = 0;
  steps.take(step::kStreamCount, [&] { return camera.presentation->GetStreamDescriptorCount(&streams); });
  for (DWORD i = 0; i < streams; ++i) {
    BOOL selected = FALSE;
    DWORD count = 0;
    steps.take(step::kStreamDescriptor, [&] {
      return camera.presentation->GetStreamDescriptorByIndex(i, &selected, camera.stream.put());
    });
    steps.take(step::kTypeHandler, [&] { return camera.stream->GetMediaTypeHandler(camera.handler.put()); });
    steps.take(step::kTypeCount, [&] { return camera.handler->GetMediaTypeCount(&count); });
    for (DWORD j = 0; j < count && !steps.result().failed(); ++j) {
      ComPointer<IMFMediaType> type;
      GUID subtype{};
      steps.take(step::kTypeByIndex, [&] { return camera.handler->GetMediaTypeByIndex(j, type.put()); });
      if (!steps.take(step::kSubType, [&] { return type->GetGUID(MF_MT_SUBTYPE, &subtype); })) return;
      found.push_back({subtype.Data1, 0, 0});
      camera.types.push_back(std::move(type));
    }
  }
}

StepResult MediaFoundationDevice::selectType(std::size_t index, transport::SelectedType& actual) {
  MutexLock lock(mutex);
  if (index >= camera.types.size()) return {static_cast<std::int32_t>(E_INVALIDARG), step::kSetType};
  Steps steps;
  camera.currentType = ComPointer<IMFMediaType>::sharing(camera.types[index].get());
  steps.take(step::kSetType,
             [&] { return camera.reader->SetCurrentMediaType(kStream, nullptr, camera.currentType.get()); });
  UINT64 size = 0;
  if (SUCCEEDED(camera.currentType->GetUINT64(MF_MT_FRAME_SIZE, &size)))
    actual = {static_cast<std::uint32_t>(size >> 32), static_cast<std::uint32_t>(size), 0};
  return steps.result();
}

}  // namespace mediafoundation
