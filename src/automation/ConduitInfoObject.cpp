#include "automation/ConduitInfoObject.h"

namespace pylon {

const ClassInfo ConduitInfoObject::kClass = {CLSID_CConduitInfo, u"Pylon.CConduitInfo"};

STDMETHODIMP ConduitInfoObject::get_AppId(BSTR* value) noexcept {
  return GetText(value, [&] { return info_->AppId(); });
}
STDMETHODIMP ConduitInfoObject::get_AppFolder(BSTR* value) noexcept {
  return GetText(value, [&] { return info_->AppFolder(); });
}
STDMETHODIMP ConduitInfoObject::get_SyncDateTime(DATE* value) noexcept {
  return Get(value, [&] { return info_->SyncDateTime(); });
}
STDMETHODIMP ConduitInfoObject::GetSettings(BSTR Section, BSTR Key, BSTR Default,
                                            BSTR* result) noexcept {
  return GetText(result, [&] {
    return info_->GetSettings(com::Text(Section), com::Text(Key), com::Text(Default));
  });
}
STDMETHODIMP ConduitInfoObject::SaveSettings(BSTR Section, BSTR Key, BSTR Value,
                                             VARIANT* result) noexcept {
  if (!result) return Refuse(E_POINTER);
  ::VariantInit(result);
  return Do([&] { info_->SaveSettings(com::Text(Section), com::Text(Key), com::Text(Value)); });
}

}  // namespace pylon
