#pragma once

#include "appforge/AppforgeAppSettings.h"
#include "appforge/RegistryUserSettings.h"
#include "automation/Object.h"

namespace pylon {

// Belongs to the sync that runs in its process, if there is one.
class AppSettingsObject final : public Object<AppSettingsObject, ::_AppforgeAppSettings> {
 public:
  static const ClassInfo kClass;

  explicit AppSettingsObject(Server& server);

  STDMETHODIMP GetSettings(BSTR AppName, BSTR Section, BSTR Key, BSTR Default,
                           BSTR* result) noexcept override;
  STDMETHODIMP SaveSettings(BSTR AppName, BSTR Section, BSTR Key, BSTR Value) noexcept override;
  STDMETHODIMP DeleteSettings(BSTR AppName, BSTR Section, BSTR Key) noexcept override;

 private:
  RegistryUserSettings store_;
  pylon::AppforgeAppSettings settings_;
};

}  // namespace pylon
