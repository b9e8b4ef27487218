#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "base/Date.h"
#include "base/LogSink.h"
#include "conduits/StoreFile.h"

namespace pylon {

// Raises error 5 for a section, key or value that an INI file can't hold: text after a line break
// would become a setting of its own.
void RequireIniText(std::u16string_view section, std::u16string_view key,
                    std::u16string_view value);

// A small private INI file: the settings of a device or of an application, and when it was last
// synced.
//
// A file or key that is missing reads as the default. Writing creates file and folder. When the
// system refuses a write, or another process holds the file for more than a moment, the log names
// the setting and the reason.
class SettingsStore {
 public:
  // The file is not null; `log` may be.
  SettingsStore(std::unique_ptr<StoreFile> file, std::shared_ptr<LogSink> log);

  void SetFolder(std::u16string_view folder);  // of the file; until then there is none

  // The value without outer blanks.
  std::u16string GetSettings(std::u16string_view Section, std::u16string_view Key,
                             std::u16string_view Default);
  // Raises error 5 for text that the file can't hold. A failed write is not an error, so that a
  // sync does not end because a setting could not be kept.
  void SaveSettings(std::u16string_view Section, std::u16string_view Key,
                    std::u16string_view Value);

  Date SyncDateTime();  // 0 before the first sync
  // False when it could not be written. To the second; a date without a calendar day is refused.
  bool SetSyncDateTime(Date date) noexcept;

 private:
  bool Write(std::u16string_view section, std::u16string_view key, std::u16string_view value);

  std::unique_ptr<StoreFile> file_;
  std::shared_ptr<LogSink> log_;  // not null
  bool has_folder_ = false;
};

}  // namespace pylon
