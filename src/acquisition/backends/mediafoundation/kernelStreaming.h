#pragma once

#include <windows.h>

#include <cstdint>

// The part of kernel streaming that reaches a camera's extension unit, declared here because MinGW's headers
// lack the topology.
namespace mediafoundation {

inline constexpr GUID kTopologyInfoId = {
    0x720D4AC0, 0x7533, 0x11D0, {0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00, 0x00}};
inline constexpr GUID kControlId = {
    0x28F54685, 0x06FD, 0x11D2, {0xB2, 0x7A, 0x00, 0xA0, 0xC9, 0x22, 0x31, 0x96}};
/// The type of a node that only its device understands, as extension units are.
inline constexpr GUID kDeviceSpecificNode = {
    0x941C7AC0, 0xC559, 0x11D0, {0x8A, 0x2B, 0x00, 0xA0, 0xC9, 0x25, 0x5A, 0xC1}};

/// A property of one node: what IKsControl::KsProperty takes as its request.
struct alignas(std::int64_t) NodeProperty {
  GUID set;
  ULONG id;
  ULONG flags;
  ULONG node;
  ULONG reserved;
};
static_assert(sizeof(NodeProperty) == 32);
inline constexpr ULONG kPropertyGet = 0x00000001;
inline constexpr ULONG kPropertyOfNode = 0x10000000;

struct IKsControl : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE KsProperty(NodeProperty* request, ULONG requestBytes, void* data,
                                               ULONG dataBytes, ULONG* bytesReturned) = 0;
  virtual HRESULT STDMETHODCALLTYPE KsMethod(void* method, ULONG methodBytes, void* data, ULONG dataBytes,
                                             ULONG* bytesReturned) = 0;
  virtual HRESULT STDMETHODCALLTYPE KsEvent(void* event, ULONG eventBytes, void* data, ULONG dataBytes,
                                            ULONG* bytesReturned) = 0;

 protected:
  ~IKsControl() = default;
};

struct IKsTopologyInfo : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE get_NumCategories(DWORD* count) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Category(DWORD index, GUID* category) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_NumConnections(DWORD* count) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_ConnectionInfo(DWORD index, void* connection) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_NodeName(DWORD node, WCHAR* name, DWORD bytes, DWORD* needed) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_NumNodes(DWORD* count) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_NodeType(DWORD node, GUID* type) = 0;
  virtual HRESULT STDMETHODCALLTYPE CreateNodeInstance(DWORD node, REFIID id, void** object) = 0;

 protected:
  ~IKsTopologyInfo() = default;
};

}  // namespace mediafoundation
