#include "Component.h"

namespace sample {

STDMETHODIMP Component::QueryInterface(REFIID id, void** object) noexcept {
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

STDMETHODIMP_(ULONG) Component::Release() noexcept {
  const ULONG left = --references_;
  if (left == 0) delete this;
  return left;
}

STDMETHODIMP Component::GetTypeInfoCount(UINT* count) noexcept {
  if (!count) return E_POINTER;
  *count = 1;
  return S_OK;
}

STDMETHODIMP Component::GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) noexcept {
  if (!info) return E_POINTER;
  *info = nullptr;
  if (index != 0) return DISP_E_BADINDEX;
  com::Ptr<ITypeLib> library;
  const HRESULT loaded = ::LoadRegTypeLib(LIBID_Pylon, 1, 0, locale, &library);
  return FAILED(loaded) ? loaded : library->GetTypeInfoOfGuid(__uuidof(ISyncNotify), info);
}

STDMETHODIMP Component::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID locale,
                                      DISPID* ids) noexcept {
  com::Ptr<ITypeInfo> info;
  const HRESULT got = GetTypeInfo(0, locale, &info);
  return FAILED(got) ? got : info->GetIDsOfNames(names, count, ids);
}

STDMETHODIMP Component::Invoke(DISPID member, REFIID, LCID locale, WORD flags,
                               DISPPARAMS* arguments, VARIANT* result, EXCEPINFO* exception,
                               UINT* bad_argument) noexcept {
  com::Ptr<ITypeInfo> info;
  const HRESULT got = GetTypeInfo(0, locale, &info);
  if (FAILED(got)) return got;
  return info->Invoke(static_cast<ISyncNotify*>(this), member, flags, arguments, result, exception,
                      bad_argument);
}

STDMETHODIMP Component::InterfaceSupportsErrorInfo(REFIID id) noexcept {
  return id == __uuidof(ISyncNotify) ? S_OK : S_FALSE;
}

}  // namespace sample
