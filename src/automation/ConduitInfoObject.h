#pragma once

#include <memory>

#include "automation/Object.h"
#include "conduits/CConduitInfo.h"

namespace pylon {

class ConduitInfoObject final : public Object<ConduitInfoObject, ::_CConduitInfo> {
 public:
  static const ClassInfo kClass;

  ConduitInfoObject(Server& server, std::shared_ptr<pylon::CConduitInfo> info)
      : Object(server), info_(std::move(info)) {}

  STDMETHODIMP get_AppId(BSTR* value) noexcept override;
  STDMETHODIMP get_AppFolder(BSTR* value) noexcept override;
  STDMETHODIMP get_SyncDateTime(DATE* value) noexcept override;
  STDMETHODIMP GetSettings(BSTR Section, BSTR Key, BSTR Default, BSTR* result) noexcept override;
  STDMETHODIMP SaveSettings(BSTR Section, BSTR Key, BSTR Value, VARIANT* result) noexcept override;

 private:
  std::shared_ptr<pylon::CConduitInfo> info_;
};

}  // namespace pylon
