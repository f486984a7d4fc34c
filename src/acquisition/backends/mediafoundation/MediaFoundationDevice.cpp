#include "acquisition/backends/mediafoundation/MediaFoundationDevice.h"

#include <algorithm>
#include <utility>

#include "acquisition/backends/mediafoundation/ComApartment.h"
#include "common/format.h"
#include "core/logger.h"
#include "core/threadStart.h"

namespace mediafoundation {
namespace {

namespace step = transport::step;
using transport::StepResult;

constexpr auto kStream = static_cast<DWORD>(MF_SOURCE_READER_FIRST_VIDEO_STREAM);
constexpr UINT kFailureMessage = 1;
constexpr auto kLongestClose = std::chrono::seconds(1);
constexpr auto kLongestFlush = std::chrono::milliseconds(200);
constexpr auto kAfterFlush = std::chrono::milliseconds(10);      // its thread returns from telling us
constexpr auto kShortestClose = std::chrono::milliseconds(250);  // also when `beginClose` was long ago

}  // namespace

MediaFoundationDevice::MediaFoundationDevice(transport::SampleReceiver& sampleReceiver)
    : callback(new SampleCallback(sampleReceiver)) {}

MediaFoundationDevice::~MediaFoundationDevice() { close(); }

StepResult MediaFoundationDevice::open(ComPointer<IMFActivate> activation, std::shared_ptr<const InUse> use) {
  Steps steps;
  ComPointer<IMFMediaSource> source;
  ComPointer<IMFSourceReader> reader;
  ComPointer<IMFAttributes> attributes;
  steps.take(step::kActivate,
             [&] { return activation->ActivateObject(IID_IMFMediaSource, source.putVoid()); });
  steps.take(step::kAllocateAttributes, [&] { return MFCreateAttributes(attributes.put(), 2); });
  steps.take(step::kDisableConverters,
             [&] { return attributes->SetUINT32(MF_READWRITE_DISABLE_CONVERTERS, TRUE); });
  steps.take(step::kSetCallback,
             [&] { return attributes->SetUnknown(MF_SOURCE_READER_ASYNC_CALLBACK, callback.get()); });
  steps.take(step::kCreateReader, [&] {
    return MFCreateSourceReaderFromMediaSource(source.get(), attributes.get(), reader.put());
  });
  MutexLock lock(mutex);
  camera.use = std::move(use);
  camera.activation = std::move(activation);
  camera.source = std::move(source);
  camera.reader = std::move(reader);
  return steps.result();
}

StepResult MediaFoundationDevice::requestSample() {
  ComPointer<IMFSourceReader> reader;
  {
    MutexLock lock(mutex);
    if (ending) return {0, step::kFirstSample};  // a stream that ends owes nothing more
    reader = ComPointer<IMFSourceReader>::sharing(camera.reader.get());
  }
  Steps steps;
  steps.take(step::kFirstSample,
             [&] { return reader->ReadSample(kStream, 0, nullptr, nullptr, nullptr, nullptr); });
  return steps.result();
}

void MediaFoundationDevice::beginClose() {
  callback->beginDetach();
  std::shared_ptr<Ending> threadless;
  {
    MutexLock lock(mutex);
    if (ending) return;
    closeDeadline = Clock::now() + kLongestClose;
    ending = std::make_shared<Ending>(callback.get());
    ending->camera = std::move(camera);
    camera = {};
    try {
      endingThread = threadStart::start("end of stream", [held = ending] { held->releaseThreadProc(); });
    } catch (const std::exception&) {
      threadless = ending;
    }
  }
  // No thread, no memory: rather wait for it than leave it streaming.
  if (threadless) threadless->releaseThreadProc();
}

void MediaFoundationDevice::close() {
  topology.reset();
  beginClose();
  callback->detach();
  std::thread finishing;
  std::shared_ptr<Ending> watched;
  Clock::time_point deadline;
  {
    MutexLock lock(mutex);
    finishing = std::exchange(endingThread, std::thread());
    watched = ending;
    deadline = std::max(closeDeadline, Clock::now() + kShortestClose);
  }
  if (!finishing.joinable()) return;
  MutexLock lock(watched->mutex);
  while (!watched->done && Clock::now() < deadline) watched->condition.wait_until(lock.native(), deadline);
  const bool done = watched->done;
  lock.unlock();
  if (done) {
    finishing.join();
  } else {
    finishing.detach();
    logger::warning("The camera does not answer the end of its stream, leaving it", LOG_HERE);
  }
}

void MediaFoundationDevice::Ending::releaseThreadProc() {
  const ComApartment apartment;
  callback->detach();  // a receiver that asks for a sample holds the reader
  camera.release(*callback.get());
  MutexLock lock(mutex);
  done = true;
  condition.notify_all();
}

/// Lets the reader finish what was asked of it. A reader whose own thread drops the last reference to it
/// waits for that thread for ever under wine, and every reader opened later with it.
void MediaFoundationDevice::Camera::drainReader(SampleCallback& callback) {
  if (FAILED(reader->Flush(static_cast<DWORD>(MF_SOURCE_READER_ALL_STREAMS)))) return;
  if (callback.awaitFlush(kLongestFlush)) std::this_thread::sleep_for(kAfterFlush);
}

void MediaFoundationDevice::Camera::release(SampleCallback& callback) {
  if (reader) drainReader(callback);
  currentType.reset();
  while (!types.empty()) types.pop_back();
  handler.reset();
  stream.reset();
  presentation.reset();
  reader.reset();
  // The reader shuts its source down; without a reader it is still to do. A second time does nothing.
  if (source) source->Shutdown();
  source.reset();
  if (activation) activation->ShutdownObject();
  activation.reset();
  use.reset();
}

void MediaFoundationDevice::postFailure(std::int32_t status) {
  logger::warning(format("Delivery ended (error code {:d})", status), LOG_HERE);
  // To the queue of the calling thread, which an application's own message loop may be.
  PostMessageW(nullptr, kFailureMessage, static_cast<WPARAM>(static_cast<LPARAM>(status)), 0);
}

}  // namespace mediafoundation
