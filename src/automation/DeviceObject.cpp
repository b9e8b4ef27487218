#include "automation/DeviceObject.h"

namespace pylon {

const ClassInfo DeviceObject::kClass = {CLSID_CDevice, u"Pylon.CDevice"};

STDMETHODIMP DeviceObject::get_DeviceName(BSTR* value) noexcept {
  return GetText(value, [&] { return device_->DeviceName(); });
}
STDMETHODIMP DeviceObject::get_DeviceType(::eDeviceType* value) noexcept {
  return Get(value, [&] { return static_cast<::eDeviceType>(device_->DeviceType()); });
}
STDMETHODIMP DeviceObject::get_DeviceDateTime(DATE* value) noexcept {
  return Get(value, [&] { return device_->DeviceDateTime(); });
}
STDMETHODIMP DeviceObject::get_SyncDateTime(DATE* value) noexcept {
  return Get(value, [&] { return device_->SyncDateTime(); });
}
STDMETHODIMP DeviceObject::GetSettings(BSTR Section, BSTR Key, BSTR Default,
                                       BSTR* result) noexcept {
  return GetText(result, [&] {
    return device_->GetSettings(com::Text(Section), com::Text(Key), com::Text(Default));
  });
}
STDMETHODIMP DeviceObject::SaveSettings(BSTR Section, BSTR Key, BSTR Value,
                                        VARIANT* result) noexcept {
  if (!result) return Refuse(E_POINTER);
  ::VariantInit(result);
  return Do([&] { device_->SaveSettings(com::Text(Section), com::Text(Key), com::Text(Value)); });
}

}  // namespace pylon
