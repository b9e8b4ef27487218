#pragma once

#include "appforge/AppforgeAppSettings.h"
#include "appforge/RegistryUserSettings.h"
#include "automation/Object.h"

namespace pylon {

// Belongs to the sync that runs in its process, if there is one.
class AppSettingsObject final : public Object<AppSettingsObject, ::_AppforgeAppSettings> {
 public:
  static constexpr ClassInfo kClass = {CLSID_AppforgeAppSettings, u"Pylon.AppforgeAppSettings"};

  explicit AppSettingsObject(Server& server);

  STDMETHODIMP GetSettings(BSTR AppName, BSTR Section, BSTR Key, BSTR Default,
                           BSTR* result) noexcept override {
    return GetText(result, [&] {
      return settings_.GetSettings(com::Text(AppName), com::Text(Section), com::Text(Key),
                                   com::Text(Default));
    });
  }
  STDMETHODIMP SaveSettings(BSTR AppName, BSTR Section, BSTR Key, BSTR Value) noexcept override {
    return Do([&] {
      settings_.SaveSettings(com::Text(AppName), com::Text(Section), com::Text(Key),
                             com::Text(Value));
    });
  }
  STDMETHODIMP DeleteSettings(BSTR AppName, BSTR Section, BSTR Key) noexcept override {
    return Do(
        [&] { settings_.DeleteSettings(com::Text(AppName), com::Text(Section), com::Text(Key)); });
  }

 private:
  RegistryUserSettings store_;
  pylon::AppforgeAppSettings settings_;
};

}  // namespace pylon
