#pragma once

#include <memory>

#include "automation/Object.h"
#include "conduits/CConduitInfo.h"

namespace pylon {

class ConduitInfoObject final : public Object<ConduitInfoObject, ::_CConduitInfo> {
 public:
  static constexpr ClassInfo kClass = {CLSID_CConduitInfo, u"Pylon.CConduitInfo"};

  ConduitInfoObject(Server& server, std::shared_ptr<pylon::CConduitInfo> info)
      : Object(server), info_(std::move(info)) {}

  STDMETHODIMP get_AppId(BSTR* value) noexcept override {
    return GetText(value, [&] { return info_->AppId(); });
  }
  STDMETHODIMP get_AppFolder(BSTR* value) noexcept override {
    return GetText(value, [&] { return info_->AppFolder(); });
  }
  STDMETHODIMP get_SyncDateTime(DATE* value) noexcept override {
    return Get(value, [&] { return info_->SyncDateTime(); });
  }
  STDMETHODIMP GetSettings(BSTR Section, BSTR Key, BSTR Default, BSTR* result) noexcept override {
    return GetText(result, [&] {
      return info_->GetSettings(com::Text(Section), com::Text(Key), com::Text(Default));
    });
  }
  STDMETHODIMP SaveSettings(BSTR Section, BSTR Key, BSTR Value, VARIANT* result) noexcept override {
    return GetVariant(result, [&] {
      info_->SaveSettings(com::Text(Section), com::Text(Key), com::Text(Value));
      return com::Variant();
    });
  }

 private:
  std::shared_ptr<pylon::CConduitInfo> info_;
};

}  // namespace pylon
