#include "Conduit.h"

#include "InventorySync.h"

namespace inventory {
namespace {

template <class Body>
HRESULT Guard(Body&& body) noexcept {
  return com::Guard(__uuidof(ISyncNotify), kProgId, std::forward<Body>(body));
}

}  // namespace

STDMETHODIMP Conduit::QueryInterface(REFIID id, void** object) noexcept {
  if (!object) return E_POINTER;
  if (id == IID_IUnknown || id == IID_IDispatch || id == __uuidof(ISyncNotify)) {
    *object = static_cast<ISyncNotify*>(this);
  } else if (id == IID_ISupportErrorInfo) {
    *object = static_cast<ISupportErrorInfo*>(this);
  } else {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  AddRef();
  return S_OK;
}

STDMETHODIMP_(ULONG) Conduit::Release() noexcept {
  const ULONG left = --references_;
  if (left == 0) delete this;
  return left;
}

STDMETHODIMP Conduit::GetTypeInfoCount(UINT* count) noexcept {
  if (!count) return E_POINTER;
  *count = 1;
  return S_OK;
}

STDMETHODIMP Conduit::GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) noexcept {
  if (!info) return E_POINTER;
  *info = nullptr;
  if (index != 0) return DISP_E_BADINDEX;
  com::Ptr<ITypeLib> library;
  const HRESULT loaded = ::LoadRegTypeLib(LIBID_Pylon, 1, 0, locale, &library);
  return FAILED(loaded) ? loaded : library->GetTypeInfoOfGuid(__uuidof(ISyncNotify), info);
}

STDMETHODIMP Conduit::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID locale,
                                    DISPID* ids) noexcept {
  com::Ptr<ITypeInfo> info;
  const HRESULT got = GetTypeInfo(0, locale, &info);
  return FAILED(got) ? got : info->GetIDsOfNames(names, count, ids);
}

STDMETHODIMP Conduit::Invoke(DISPID member, REFIID, LCID locale, WORD flags, DISPPARAMS* arguments,
                             VARIANT* result, EXCEPINFO* exception, UINT* bad_argument) noexcept {
  com::Ptr<ITypeInfo> info;
  const HRESULT got = GetTypeInfo(0, locale, &info);
  if (FAILED(got)) return got;
  return info->Invoke(static_cast<ISyncNotify*>(this), member, flags, arguments, result, exception,
                      bad_argument);
}

STDMETHODIMP Conduit::InterfaceSupportsErrorInfo(REFIID id) noexcept {
  return id == __uuidof(ISyncNotify) ? S_OK : S_FALSE;
}

STDMETHODIMP Conduit::BeginSynchronize(_oSyncInfo** oSync) noexcept {
  if (!oSync || !*oSync) return E_POINTER;
  return Guard([&] { InventorySync(*oSync).Run(); });
}

STDMETHODIMP Conduit::GetConduitInfo(eConduitType infoType, BSTR* result) noexcept {
  if (!result) return E_POINTER;
  *result = nullptr;
  return Guard([&] {
    const auto answer = [&](std::u16string_view text) { *result = com::Bstr(text).Detach(); };
    switch (infoType) {
      case ctVersion:
        return answer(u"1.0");
      case ctCreatorID:
        return answer(u"PyIv");
      case ctAuthor:
        return answer(u"The Pylon project");
      case ctApplicationName:
        return answer(u"Inventory");
      case ctAppPath:
        return answer(u"");  // the folder that Pylon.ini names as PCPath
      case ctIcon:
        return answer(u"RES:" + ModulePath());
    }
  });
}

STDMETHODIMP Conduit::ConfigureConduit() noexcept {
  return Guard([] {
    ::MessageBoxW(nullptr,
                  L"Inventory has one setting, in the section Inventory of AppStore.ini:\n\n"
                  L"File: the CSV file.",
                  L"Inventory", MB_OK | MB_ICONINFORMATION);
  });
}

// BeginSynchronize has let go of everything already.
STDMETHODIMP Conduit::SynchronizeClose() noexcept { return S_OK; }

}  // namespace inventory
