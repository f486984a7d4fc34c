// Calls of the kernel that fail while a V4L2 camera is used.

#include "acquisition/backends/v4l2/V4L2Platform.h"
#include "acquisition/transport/UVCConnection.h"
#include "faults/FaultSession.h"
#include "support/v4l2/FakeKernel.h"
#include "support/waitFor.h"

namespace {

enum class During { listing, connecting, command, starting, streaming, stopping };

struct CallRow {
  During during;
  const char* call;
  int error;         ///< of the one call that fails
  const char* line;  ///< the beginning of what is said; null: it passes
};

// An error on the bus may pass where the camera is asked again.
const CallRow kCalls[] = {
    {During::listing, "openNode", -EIO, nullptr},  // the camera's first node counts all the same
    {During::listing, "VIDIOC_QUERYCAP", -EIO, "No video capture device found"},
    {During::connecting, "openNode", -EMFILE, "Activating video device failed (error code -24)"},
    {During::connecting, "VIDIOC_QUERYCAP", -EIO,
     "ks_topology_info->get_NumNodes(...) failed (error code -5)"},
    {During::connecting, "VIDIOC_ENUM_FMT", -EIO, "Get media type failed (error code -5)"},
    {During::connecting, "VIDIOC_ENUM_FRAMESIZES", -EIO, "Get media type failed (error code -5)"},
    {During::connecting, "VIDIOC_S_FMT", -EBUSY, "set media type failed (error code -16)"},
    {During::command, "UVCIOC_CTRL_QUERY", -EPIPE, "ks_control->KsProperty(...) failed (error code -32)"},
    {During::starting, "openEvent", -EMFILE, "Asking for first sample failed (error code -24)"},
    {During::starting, "VIDIOC_REQBUFS", -EBUSY, "Asking for first sample failed (error code -16)"},
    {During::starting, "VIDIOC_QUERYBUF", -EINVAL, "Asking for first sample failed (error code -22)"},
    {During::starting, "map", -ENOMEM, "Asking for first sample failed (error code -12)"},
    {During::starting, "VIDIOC_QBUF", -EIO, "Asking for first sample failed (error code -5)"},
    {During::starting, "VIDIOC_STREAMON", -ENOSPC, "Asking for first sample failed (error code -28)"},
    {During::streaming, "VIDIOC_DQBUF", -EINVAL, "Sample delivery failed (error code -22), camera lost"},
    {During::streaming, "VIDIOC_QBUF", -EINVAL, "Sample delivery failed (error code -22), camera lost"},
    {During::stopping, "VIDIOC_STREAMOFF", -EIO, nullptr},
    {During::stopping, "VIDIOC_REQBUFS", -EIO, nullptr},
};

const CallRow* rowOf(During during, const std::string& call) {
  const auto found = std::find_if(std::begin(kCalls), std::end(kCalls), [&](const CallRow& row) {
    return row.during == during && row.call == call;
  });
  return found == std::end(kCalls) ? nullptr : &*found;
}

constexpr int kPictures = 3;

/// The whole road of a camera, once. begins: the number of the first call of each part.
bool goTheRoad(const std::shared_ptr<FakeKernel>& kernel, std::vector<int>& begins) {
  transport::installVideoPlatform(std::make_shared<v4l2::V4L2Platform>(kernel));
  begins = {kernel->calls()};
  const auto next = [&](bool ok) {
    begins.push_back(kernel->calls());
    return ok;
  };
  bool ok = UVCConnection::init() && next(UVCConnection::deviceCount() == 1);
  {
    UVCConnection connection("camera", uvcBackendDefault);
    ok = ok && next(connection.connectUVC(0x5c2b, 0x96eb, 0, dataTypeThermal));
    // A command that fails does not end the road.
    const bool commanded = ok && next(connection.registers().writeCoreConfiguration(0));
    if (ok && (ok = next(connection.startStreaming(nullptr, 640, 480, 0)))) {
      kernel->produce(kPictures);
      // There is no ring to take them.
      EXPECT_TRUE(waitFor([&] { return connection.isLost() || connection.droppedSamples() >= kPictures; }));
      begins.push_back(kernel->calls());
      ok = !connection.isLost() && commanded;
      EXPECT_TRUE(connection.stopStreaming());
    }
  }
  UVCConnection::shutdown();
  transport::installVideoPlatform(nullptr);
  return ok;
}

struct Call {
  std::string name;
  int earlier;  ///< calls of the same name before it
  During during;
};

/// What a clean road asks of the kernel.
std::vector<Call> callsOfTheRoad() {
  const LogCapture log;
  const auto kernel = std::make_shared<FakeKernel>();
  kernel->addCamera(0);
  std::vector<int> begins;
  EXPECT_TRUE(goTheRoad(kernel, begins));
  std::map<std::string, int> seen;
  std::vector<Call> calls;
  for (int i = 0; i < kernel->calls(); ++i) {
    const std::string& name = kernel->log[static_cast<std::size_t>(i)];
    const auto part = std::upper_bound(begins.begin(), begins.end(), i) - begins.begin() - 1;
    auto during = static_cast<During>(part);
    // The last picture's buffer may go back while the stop has begun.
    if (during == During::stopping && name == "VIDIOC_QBUF") during = During::streaming;
    calls.push_back({name, seen[name]++, during});
  }
  return calls;
}

}  // namespace

TEST(FaultMatrix, EveryCallOfTheKernelFailsOnce) {
  const std::vector<Call> calls = callsOfTheRoad();
  std::set<std::string> rows;
  for (const CallRow& row : kCalls) rows.insert(row.call);
  expectRows(inSources("acquisition/backends/v4l2", R"re(\b((?:VIDIOC|UVCIOC)_\w+))re"), rows);
  for (std::size_t number = 0; number < calls.size(); ++number) {
    const Call& call = calls[number];
    const CallRow* const row = rowOf(call.during, call.name);
    ASSERT_NE(row, nullptr) << "no row for: " << call.name;
    for (const bool vanishes : {false, true}) {
      SCOPED_TRACE(call.name + " " + std::to_string(call.earlier) + (vanishes ? ", gone" : ""));
      const LogCapture log(logger::verbosityInfo);
      const auto kernel = std::make_shared<FakeKernel>();
      kernel->addCamera(0);
      if (vanishes) {
        kernel->vanishAtCall = static_cast<int>(number);
      } else {
        auto& results = kernel->errors[call.name];
        results.assign(static_cast<std::size_t>(call.earlier), 0);
        results.push_back(row->error);
      }
      std::vector<int> begins;
      const auto begin = std::chrono::steady_clock::now();
      const bool passed = goTheRoad(kernel, begins);
      EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
      EXPECT_EQ(kernel->openDescriptors(), 0u);
      EXPECT_EQ(kernel->mappings(), 0u);
      if (vanishes) {
        EXPECT_TRUE(!passed || call.during >= During::streaming) << log.text();
        continue;
      }
      EXPECT_EQ(log.count(row->line ? row->line : " failed"), row->line ? 1u : 0u) << log.text();
      EXPECT_EQ(passed, row->line == nullptr);
      EXPECT_TRUE(goTheRoad(kernel, begins)) << "the second attempt: " << log.text();
    }
  }
}
