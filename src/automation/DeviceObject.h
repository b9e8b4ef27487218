#pragma once

#include <memory>

#include "automation/Object.h"
#include "conduits/CDevice.h"

namespace pylon {

class DeviceObject final : public Object<DeviceObject, ::_CDevice> {
 public:
  static const ClassInfo kClass;

  DeviceObject(Server& server, std::shared_ptr<pylon::CDevice> device)
      : Object(server), device_(std::move(device)) {}

  STDMETHODIMP get_DeviceName(BSTR* value) noexcept override;
  STDMETHODIMP get_DeviceType(::eDeviceType* value) noexcept override;
  STDMETHODIMP get_DeviceDateTime(DATE* value) noexcept override;
  STDMETHODIMP get_SyncDateTime(DATE* value) noexcept override;
  STDMETHODIMP GetSettings(BSTR Section, BSTR Key, BSTR Default, BSTR* result) noexcept override;
  STDMETHODIMP SaveSettings(BSTR Section, BSTR Key, BSTR Value, VARIANT* result) noexcept override;

 private:
  std::shared_ptr<pylon::CDevice> device_;
};

}  // namespace pylon
