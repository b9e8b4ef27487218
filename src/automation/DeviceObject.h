#pragma once

#include <memory>

#include "automation/Object.h"
#include "conduits/CDevice.h"

namespace pylon {

class DeviceObject final : public Object<DeviceObject, ::_CDevice> {
 public:
  static constexpr ClassInfo kClass = {CLSID_CDevice, u"Pylon.CDevice"};

  DeviceObject(Server& server, std::shared_ptr<pylon::CDevice> device)
      : Object(server), device_(std::move(device)) {}

  STDMETHODIMP get_DeviceName(BSTR* value) noexcept override {
    return GetText(value, [&] { return device_->DeviceName(); });
  }
  STDMETHODIMP get_DeviceType(::eDeviceType* value) noexcept override {
    return Get(value, [&] { return static_cast<::eDeviceType>(device_->DeviceType()); });
  }
  STDMETHODIMP get_DeviceDateTime(DATE* value) noexcept override {
    return Get(value, [&] { return device_->DeviceDateTime(); });
  }
  STDMETHODIMP get_SyncDateTime(DATE* value) noexcept override {
    return Get(value, [&] { return device_->SyncDateTime(); });
  }
  STDMETHODIMP GetSettings(BSTR Section, BSTR Key, BSTR Default, BSTR* result) noexcept override {
    return GetText(result, [&] {
      return device_->GetSettings(com::Text(Section), com::Text(Key), com::Text(Default));
    });
  }
  STDMETHODIMP SaveSettings(BSTR Section, BSTR Key, BSTR Value, VARIANT* result) noexcept override {
    return GetVariant(result, [&] {
      device_->SaveSettings(com::Text(Section), com::Text(Key), com::Text(Value));
      return com::Variant();
    });
  }

 private:
  std::shared_ptr<pylon::CDevice> device_;
};

}  // namespace pylon
