// The extension unit of MediaFoundationDevice: kernel streaming's properties of a node.

#include <algorithm>
#include <limits>

#include "acquisition/backends/mediafoundation/ComApartment.h"
#include "acquisition/backends/mediafoundation/MediaFoundationDevice.h"
#include "common/format.h"
#include "core/logger.h"

namespace mediafoundation {
namespace {

namespace step = transport::step;
using transport::StepResult;

// No device has as many; one that tells nonsense does not hold us up.
constexpr DWORD kMostNodes = 256;

GUID systemGuid(const transport::Guid& unit) {
  GUID guid{unit.a, unit.b, unit.c, {}};
  std::copy(std::begin(unit.d), std::end(unit.d), std::begin(guid.Data4));
  return guid;
}

}  // namespace

void MediaFoundationDevice::queryTopology(Steps& steps, ComPointer<IKsTopologyInfo>& found) {
  ComPointer<IMFMediaSource> source;
  {
    MutexLock lock(mutex);
    source = ComPointer<IMFMediaSource>::sharing(camera.source.get());
  }
  steps.take(step::kQueryTopology, [&]() -> HRESULT {
    return source ? source->QueryInterface(kTopologyInfoId, found.putVoid()) : E_ABORT;
  });
}

void MediaFoundationDevice::nodeControl(Steps& steps, IKsTopologyInfo& topologyInfo, int node,
                                        ComPointer<IKsControl>& control) {
  ComPointer<IUnknown> instance;
  steps.take(step::kNodeInstance, [&] {
    return topologyInfo.CreateNodeInstance(static_cast<DWORD>(node), IID_IUnknown, instance.putVoid());
  });
  steps.take(step::kNodeControl, [&] { return instance->QueryInterface(kControlId, control.putVoid()); });
}

StepResult MediaFoundationDevice::topologyNodes(std::vector<transport::TopologyNode>& nodes) {
  nodes.clear();
  Steps steps;
  DWORD count = 0;
  queryTopology(steps, topology);
  steps.take(step::kNumNodes, [&] { return topology->get_NumNodes(&count); });
  for (DWORD i = 0; i < std::min(count, kMostNodes); ++i) {
    GUID type{};
    steps.take(step::kNodeType, [&] { return topology->get_NodeType(i, &type); });
    nodes.push_back({static_cast<int>(i), IsEqualGUID(type, kDeviceSpecificNode) != FALSE});
  }
  return steps.result();
}

StepResult MediaFoundationDevice::probeUnit(int node, const transport::Guid& unit) {
  if (!topology) return {static_cast<std::int32_t>(E_ABORT), step::kNodeInstance};
  Steps steps;
  ComPointer<IKsControl> control;
  nodeControl(steps, *topology.get(), node, control);
  steps.take(step::kNodeProperty, [&] {
    NodeProperty request{systemGuid(unit), 0, kPropertyGet | kPropertyOfNode, static_cast<ULONG>(node), 0};
    ULONG returned = 0;
    return control->KsProperty(&request, sizeof request, nullptr, 0, &returned);
  });
  return steps.result();
}

StepResult MediaFoundationDevice::transferUnit(int node, const transport::Guid& unit, std::uint32_t selector,
                                               transport::TransferFlags flags,
                                               std::span<std::uint8_t> bytes) {
  if (bytes.empty() || bytes.size() > std::numeric_limits<std::uint16_t>::max())
    return {static_cast<std::int32_t>(E_INVALIDARG), step::kTransfer};
  const ComApartment apartment;  // any thread of the application may ask
  Steps steps;
  ComPointer<IKsTopologyInfo> topologyInfo;
  ComPointer<IKsControl> control;
  queryTopology(steps, topologyInfo);
  if (topologyInfo) nodeControl(steps, *topologyInfo.get(), node, control);
  if (flags == transport::kTransferGet) std::fill(bytes.begin(), bytes.end(), std::uint8_t{0});
  steps.take(step::kTransfer, [&] {
    NodeProperty request{systemGuid(unit), selector, flags | kPropertyOfNode, static_cast<ULONG>(node), 0};
    ULONG returned = 0;
    return control->KsProperty(&request, sizeof request, bytes.data(), static_cast<ULONG>(bytes.size()),
                               &returned);
  });
  return steps.result();
}

}  // namespace mediafoundation
