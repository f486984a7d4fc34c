#include "acquisition/backends/mediafoundation/MediaFoundationPlatform.h"

#include <mferror.h>

#include <algorithm>
#include <utility>

#include "acquisition/backends/mediafoundation/MediaFoundationDevice.h"
#include "acquisition/backends/mediafoundation/Steps.h"
#include "acquisition/backends/mediafoundation/text.h"
#include "common/format.h"
#include "core/logger.h"

namespace mediafoundation {
namespace {

namespace step = transport::step;
using transport::StepResult;

/// What MFEnumDeviceSources hands out: an array and a reference to each of its objects.
std::vector<ComPointer<IMFActivate>> takeOver(IMFActivate** devices, UINT32 count) {
  std::vector<ComPointer<IMFActivate>> owned;
  for (UINT32 i = 0; i < count; ++i) owned.emplace_back(devices[i]);
  CoTaskMemFree(devices);
  return owned;
}

/// One text of a device, as UTF-8.
void readText(Steps& steps, const char* name, IMFActivate& device, REFGUID key, std::string& text) {
  WCHAR* wide = nullptr;
  UINT32 length = 0;
  if (!steps.take(name, [&] { return device.GetAllocatedString(key, &wide, &length); })) return;
  const std::unique_ptr<WCHAR, decltype(&CoTaskMemFree)> owner(wide, CoTaskMemFree);
  text = narrowText(wide);
}

}  // namespace

MediaFoundationPlatform::MediaFoundationPlatform(Enumerate deviceSources)
    : enumerateSources(std::move(deviceSources)) {}

StepResult MediaFoundationPlatform::start() {
  MutexLock lock(mutex);
  apartmentThreads.reserve(apartmentThreads.size() + 1);
  // An application that lives in another kind of apartment keeps it: both serve.
  const HRESULT entered = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
  const HRESULT started = MFStartup(MF_VERSION, MFSTARTUP_FULL);
  if (SUCCEEDED(started)) {
    ++starts;
    if (SUCCEEDED(entered)) apartmentThreads.push_back(GetCurrentThreadId());
    return {};
  }
  if (SUCCEEDED(entered)) CoUninitialize();
  const auto status = static_cast<std::int32_t>(started);
  logger::error(format("Media Foundation does not start (error code {:d})", status), LOG_HERE);
  return {status, ""};
}

void MediaFoundationPlatform::stop() {
  std::vector<Listed> unused;
  {
    MutexLock lock(mutex);
    if (--starts == 0) unused.swap(enumerated);
  }
  unused.clear();  // what Media Foundation made goes before it
  MFShutdown();
  MutexLock lock(mutex);
  // Each thread leaves its own apartment; one that ended without was taken out by the system.
  const auto own = std::find(apartmentThreads.begin(), apartmentThreads.end(), GetCurrentThreadId());
  if (own == apartmentThreads.end()) return;
  apartmentThreads.erase(own);
  CoUninitialize();
}

StepResult MediaFoundationPlatform::enumerate(std::vector<transport::DeviceRecord>& devices) {
  devices.clear();
  Steps steps;
  ComPointer<IMFAttributes> wanted;
  IMFActivate** found = nullptr;
  UINT32 count = 0;
  steps.take(step::kCreateAttributeStore, [&] { return MFCreateAttributes(wanted.put(), 1); });
  steps.take(step::kSetCaptureGuid, [&] {
    return wanted->SetGUID(MF_DEVSOURCE_ATTRIBUTE_SOURCE_TYPE,
                           MF_DEVSOURCE_ATTRIBUTE_SOURCE_TYPE_VIDCAP_GUID);
  });
  steps.take(step::kEnumerate, [&] { return enumerateSources(wanted.get(), &found, &count); });
  std::vector<ComPointer<IMFActivate>> sources = takeOver(found, count);
  for (const auto& source : sources) {
    transport::DeviceRecord record;
    readText(steps, step::kFriendlyName, *source.get(), MF_DEVSOURCE_ATTRIBUTE_FRIENDLY_NAME,
             record.friendlyName);
    readText(steps, step::kDevicePath, *source.get(), MF_DEVSOURCE_ATTRIBUTE_SOURCE_TYPE_VIDCAP_SYMBOLIC_LINK,
             record.path);
    devices.push_back(std::move(record));
  }
  if (steps.result().failed()) {
    devices.clear();
    return steps.result();
  }
  if (devices.empty()) logger::info("No video capture device found", LOG_HERE);
  MutexLock lock(mutex);
  enumerated.clear();
  for (auto& source : sources) enumerated.push_back({std::move(source), {}});
  return steps.result();
}

StepResult MediaFoundationPlatform::open(std::size_t index, transport::SampleReceiver& receiver,
                                         std::unique_ptr<transport::VideoDevice>& device) {
  ComPointer<IMFActivate> source;
  auto use = std::make_shared<const InUse>();
  {
    MutexLock lock(mutex);
    if (index >= enumerated.size()) return {static_cast<std::int32_t>(E_INVALIDARG), step::kActivate};
    Listed& listed = enumerated[index];
    // A second activation gives the source of the first, and whoever is done with it shuts down both.
    if (!listed.user.expired())
      return {static_cast<std::int32_t>(MF_E_VIDEO_RECORDING_DEVICE_PREEMPTED), step::kActivate};
    listed.user = use;
    source = ComPointer<IMFActivate>::sharing(listed.activation.get());
  }
  auto opened = std::make_unique<MediaFoundationDevice>(receiver);
  const StepResult result = opened->open(std::move(source), std::move(use));
  if (!result.failed()) device = std::move(opened);
  return result;
}

transport::Obstacle MediaFoundationPlatform::explain(std::size_t index, const StepResult& failed) {
  const std::string text = format("{:s} failed (error code {:d})", failed.step, failed.status);
  switch (static_cast<std::uint32_t>(failed.status)) {
    case static_cast<std::uint32_t>(E_ACCESSDENIED):
      return {"no-permission", text, "let desktop apps use the camera (Settings, Privacy, Camera)"};
    case static_cast<std::uint32_t>(MF_E_HW_MFT_FAILED_START_STREAMING):
    case static_cast<std::uint32_t>(MF_E_VIDEO_RECORDING_DEVICE_PREEMPTED):
      return {"busy", text, "end the program that uses the camera"};
    default:
      return VideoPlatform::explain(index, failed);
  }
}

}  // namespace mediafoundation
