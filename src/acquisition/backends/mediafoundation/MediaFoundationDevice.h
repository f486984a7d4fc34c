#pragma once

#include <windows.h>

#include <mfapi.h>
#include <mfidl.h>
#include <mfreadwrite.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <thread>
#include <vector>

#include "acquisition/backends/mediafoundation/ComPointer.h"
#include "acquisition/backends/mediafoundation/SampleCallback.h"
#include "acquisition/backends/mediafoundation/Steps.h"
#include "acquisition/backends/mediafoundation/kernelStreaming.h"
#include "acquisition/transport/videoPlatform.h"
#include "common/mutex.h"

namespace mediafoundation {

/// Held for as long as a camera is open, until the last step of its release.
struct InUse {};

/// A camera opened through Media Foundation.
class MediaFoundationDevice : public transport::VideoDevice {
 public:
  explicit MediaFoundationDevice(transport::SampleReceiver& sampleReceiver);
  ~MediaFoundationDevice() override;
  MediaFoundationDevice(const MediaFoundationDevice&) = delete;
  MediaFoundationDevice& operator=(const MediaFoundationDevice&) = delete;

  /// Activates the device; once, before all else. `use` is let go of when the device is free again.
  transport::StepResult open(ComPointer<IMFActivate> activation, std::shared_ptr<const InUse> use);

  transport::StepResult streamTypes(std::vector<transport::StreamType>& found) override;
  transport::StepResult selectType(std::size_t index, transport::SelectedType& actual) override;
  transport::StepResult requestSample() override;
  void beginClose() override;
  void close() override;
  void postFailure(std::int32_t status) override;
  transport::StepResult topologyNodes(std::vector<transport::TopologyNode>& nodes) override;
  transport::StepResult probeUnit(int node, const transport::Guid& unit) override;
  transport::StepResult transferUnit(int node, const transport::Guid& unit, std::uint32_t selector,
                                     transport::TransferFlags flags, std::span<std::uint8_t> bytes) override;

 private:
  /// What the camera is held by, in the order of acquisition; released in the opposite one.
  struct Camera {
    std::shared_ptr<const InUse> use;
    ComPointer<IMFActivate> activation;
    ComPointer<IMFMediaSource> source;
    ComPointer<IMFSourceReader> reader;
    ComPointer<IMFPresentationDescriptor> presentation;
    ComPointer<IMFStreamDescriptor> stream;
    ComPointer<IMFMediaTypeHandler> handler;
    std::vector<ComPointer<IMFMediaType>> types;
    ComPointer<IMFMediaType> currentType;
    /// Ends the stream and frees the device. Asks the camera something, which may take long.
    void release(SampleCallback& callback);
    void drainReader(SampleCallback& callback);
  };
  /// A release that runs on a thread of its own, shared with that thread.
  struct Ending {
    explicit Ending(SampleCallback* of) : callback(ComPointer<SampleCallback>::sharing(of)) {}
    const ComPointer<SampleCallback> callback;
    Mutex mutex;
    std::condition_variable condition;
    bool done GUARDED_BY(mutex) = false;
    Camera camera;  ///< the thread's own
    void releaseThreadProc();
  };
  using Clock = std::chrono::steady_clock;

  void listTypes(Steps& steps, std::vector<transport::StreamType>& found) REQUIRES(mutex);
  static void nodeControl(Steps& steps, IKsTopologyInfo& topologyInfo, int node,
                          ComPointer<IKsControl>& control);
  void queryTopology(Steps& steps, ComPointer<IKsTopologyInfo>& found) EXCLUDES(mutex);

  const ComPointer<SampleCallback> callback;
  Mutex mutex;  // of what closing takes away from threads that request or transfer
  Camera camera GUARDED_BY(mutex);
  std::shared_ptr<Ending> ending GUARDED_BY(mutex);
  std::thread endingThread GUARDED_BY(mutex);
  Clock::time_point closeDeadline GUARDED_BY(mutex){};
  ComPointer<IKsTopologyInfo> topology;  ///< of the thread that opens, until it has found the units
};

}  // namespace mediafoundation
