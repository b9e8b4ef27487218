#pragma once

#include <windows.h>

#include <oaidl.h>

#include <atomic>

#include "com.h"

#include "Pylon.h"

namespace memos {

inline constexpr CLSID kConduitId = {
    0x2f0c9a5e, 0x7c41, 0x4b7d, {0x9d, 0x1c, 0x53, 0x8e, 0x0a, 0x64, 0xb2, 0x17}};
inline constexpr wchar_t kProgId[] = L"Memos.Conduit";

// Counts what keeps the DLL loaded: objects and locks.
inline std::atomic<long> g_uses = 0;

// The component: Pylon creates it by its class name, asks it to describe itself, and lets it do the
// whole sync inside BeginSynchronize. All calls come on Pylon's one thread.
class Conduit final : public ISyncNotify, public ISupportErrorInfo {
 public:
  Conduit() noexcept { ++g_uses; }

  STDMETHODIMP QueryInterface(REFIID id, void** object) noexcept override;
  STDMETHODIMP_(ULONG) AddRef() noexcept override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() noexcept override;

  // For scripts and other callers by name; Pylon calls the methods below directly.
  STDMETHODIMP GetTypeInfoCount(UINT* count) noexcept override;
  STDMETHODIMP GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) noexcept override;
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID,
                             DISPID* ids) noexcept override;
  STDMETHODIMP Invoke(DISPID member, REFIID, LCID, WORD flags, DISPPARAMS* arguments,
                      VARIANT* result, EXCEPINFO* exception, UINT* bad_argument) noexcept override;

  STDMETHODIMP InterfaceSupportsErrorInfo(REFIID id) noexcept override;

  STDMETHODIMP BeginSynchronize(_oSyncInfo** oSync) noexcept override;
  STDMETHODIMP GetConduitInfo(eConduitType infoType, BSTR* result) noexcept override;
  STDMETHODIMP ConfigureConduit() noexcept override;
  STDMETHODIMP SynchronizeClose() noexcept override;

 private:
  ~Conduit() { --g_uses; }

  std::atomic<ULONG> references_ = 1;
};

// Full path of this DLL.
std::u16string ModulePath();

}  // namespace memos
