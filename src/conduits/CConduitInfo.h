#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "base/Date.h"
#include "base/LogSink.h"
#include "conduits/SettingsStore.h"

namespace pylon {

// The conduit of a sync, with settings that all its devices share: AppStore.ini in its PC folder.
class CConduitInfo {
 public:
  // `log` may be null; see SettingsStore for the lines that it gets.
  explicit CConduitInfo(const StoreFileFactory& files, std::shared_ptr<LogSink> log = nullptr);

  const std::u16string& AppId() const noexcept { return app_id_; }
  const std::u16string& AppFolder() const noexcept { return app_folder_; }
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
  void SetAppId(std::u16string_view app_id) { app_id_ = app_id; }
  void SetAppFolder(std::u16string_view folder);
  bool SetSyncDateTime(Date date) noexcept { return store_.SetSyncDateTime(date); }

 private:
  SettingsStore store_;
  std::u16string app_id_;
  std::u16string app_folder_;
};

}  // namespace pylon
