#pragma once

#include <windows.h>

#include <objbase.h>

namespace mediafoundation {

/// Makes sure that the calling thread may use COM for a while; one that may already stays as it is.
class ComApartment {
 public:
  ComApartment() : entered(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
  ~ComApartment() {
    if (SUCCEEDED(entered)) CoUninitialize();
  }
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;

 private:
  const HRESULT entered;
};

}  // namespace mediafoundation
