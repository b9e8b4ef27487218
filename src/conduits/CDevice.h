#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "base/Date.h"
#include "base/LogSink.h"
#include "base/Types.h"
#include "conduits/SettingsStore.h"

namespace pylon {

// The device of a sync, with settings of its own for each application:
//
//   folder of the application \ device name \ DeviceStore.ini
//
// The device name is made fit for a path (see FolderName).
class CDevice {
 public:
  // The clock outlives the object. `log` may be null; see SettingsStore for the lines that it gets.
  CDevice(const StoreFileFactory& files, const Clock& clock,
          std::shared_ptr<LogSink> log = nullptr);

  const std::u16string& DeviceName() const noexcept { return device_name_; }
  eDeviceType DeviceType() const noexcept { return device_type_; }
  // The device's clock: what was read from it, and the time that has passed on the PC since.
  Date DeviceDateTime() const { return device_date_time_ + (clock_.Now() - stamp_); }
  Date SyncDateTime() { return store_.SyncDateTime(); }
  // See SettingsStore.
  std::u16string GetSettings(std::u16string_view Section, std::u16string_view Key,
                             std::u16string_view Default) {
    return store_.GetSettings(Section, Key, Default);
  }
  void SaveSettings(std::u16string_view Section, std::u16string_view Key,
                    std::u16string_view Value) {
    store_.SaveSettings(Section, Key, Value);
  }

  // Not for components.
  void SetDeviceName(std::u16string_view name);
  void SetDeviceType(eDeviceType type) noexcept { device_type_ = type; }
  void SetDeviceDateTime(Date date);
  const std::u16string& AppId() const noexcept { return app_id_; }
  void SetAppId(std::u16string_view app_id) { app_id_ = app_id; }
  const std::u16string& Folder() const noexcept { return folder_; }
  void SetFolder(std::u16string_view folder);  // of the application, on the PC
  bool SetSyncDateTime(Date date) noexcept { return store_.SetSyncDateTime(date); }

 private:
  void PlaceStore();

  const Clock& clock_;
  SettingsStore store_;
  std::u16string device_name_;
  eDeviceType device_type_ = dtHotSync;
  Date device_date_time_ = 0;
  Date stamp_;  // on the PC, when device_date_time_ was set
  std::u16string app_id_;
  std::u16string folder_;
};

}  // namespace pylon
