#pragma once

#include <windows.h>

#include <oaidl.h>

#include <atomic>

#include "com.h"

#include "Pylon.h"

namespace inventory {

namespace com = memos::com;

inline constexpr CLSID kConduitId = {
    0x44234138, 0x48fa, 0x4e38, {0x8c, 0xad, 0x64, 0x7b, 0x89, 0x6b, 0x8d, 0x19}};
inline constexpr wchar_t kProgId[] = L"Inventory.Conduit";
inline constexpr wchar_t kDescription[] = L"Inventory conduit";

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

}  // namespace inventory
