#pragma once

#include <windows.h>

#include <mfapi.h>
#include <mfidl.h>

#include <functional>
#include <memory>
#include <vector>

#include "acquisition/backends/mediafoundation/ComPointer.h"
#include "acquisition/transport/videoPlatform.h"
#include "common/mutex.h"

namespace mediafoundation {

/// Lists devices as MFEnumDeviceSources does.
using Enumerate = std::function<HRESULT(IMFAttributes*, IMFActivate***, UINT32*)>;

struct InUse;

/// Windows: cameras behind Media Foundation.
class MediaFoundationPlatform : public transport::VideoPlatform {
 public:
  explicit MediaFoundationPlatform(Enumerate deviceSources = MFEnumDeviceSources);

  transport::StepResult start() override;
  void stop() override;
  transport::StepResult enumerate(std::vector<transport::DeviceRecord>& devices) override;
  transport::StepResult open(std::size_t index, transport::SampleReceiver& receiver,
                             std::unique_ptr<transport::VideoDevice>& device) override;
  transport::Obstacle explain(std::size_t index, const transport::StepResult& failed) override;

 private:
  struct Listed {
    ComPointer<IMFActivate> activation;
    std::weak_ptr<const InUse> user;  ///< who has it open, or has not finished closing it
  };

  const Enumerate enumerateSources;
  Mutex mutex{LockRank::platform};
  std::vector<Listed> enumerated GUARDED_BY(mutex);  ///< until the last start is given back
  int starts GUARDED_BY(mutex) = 0;
  /// Threads that this platform brought into an apartment, one entry for each time.
  std::vector<DWORD> apartmentThreads GUARDED_BY(mutex);
};

}  // namespace mediafoundation
