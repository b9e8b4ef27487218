#pragma once

#include <windows.h>

#include <oaidl.h>

#include <atomic>
#include <string>

#include "com.h"

#include "Pylon.h"

namespace sample {

// A component's class for COM. Each sample defines its own.
struct Registration {
  CLSID class_id;
  const wchar_t* prog_id;
  const wchar_t* description;
};
extern const Registration kRegistration;

// Counts what keeps the DLL loaded: objects and locks.
inline std::atomic<long> g_uses = 0;

// What a conduit's class is apart from the four methods of ISyncNotify. Pylon creates it by its
// class name; all calls come on Pylon's one thread.
class Component : public ISyncNotify, public ISupportErrorInfo {
 public:
  Component(const Component&) = delete;
  Component& operator=(const Component&) = delete;

  STDMETHODIMP QueryInterface(REFIID id, void** object) noexcept final;
  STDMETHODIMP_(ULONG) AddRef() noexcept final { return ++references_; }
  STDMETHODIMP_(ULONG) Release() noexcept final;

  // For scripts and other callers by name; Pylon calls the methods of ISyncNotify directly.
  STDMETHODIMP GetTypeInfoCount(UINT* count) noexcept final;
  STDMETHODIMP GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) noexcept final;
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) noexcept final;
  STDMETHODIMP Invoke(DISPID member, REFIID, LCID locale, WORD flags, DISPPARAMS* arguments,
                      VARIANT* result, EXCEPINFO* exception, UINT* bad_argument) noexcept final;

  STDMETHODIMP InterfaceSupportsErrorInfo(REFIID id) noexcept final;

 protected:
  Component() noexcept { ++g_uses; }
  virtual ~Component() { --g_uses; }

  // The body of a method: an exception becomes the HRESULT and the error that Pylon shows.
  template <class Body>
  static HRESULT Guard(Body&& body) noexcept {
    return com::Guard(__uuidof(ISyncNotify), kRegistration.prog_id, std::forward<Body>(body));
  }

 private:
  std::atomic<ULONG> references_ = 1;
};

// Makes the sample's component; the caller owns the one reference.
Component* MakeComponent();

// Full path of this DLL.
std::u16string ModulePath();

}  // namespace sample
