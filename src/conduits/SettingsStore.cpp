#include "conduits/SettingsStore.h"

#include <utility>

#include "base/AutomationError.h"
#include "files/IniText.h"

namespace pylon {
namespace {

constexpr char16_t kSyncSection[] = u"Pylon";
constexpr char16_t kSyncKey[] = u"Sync";

}  // namespace

void RequireIniText(std::u16string_view section, std::u16string_view key,
                    std::u16string_view value) {
  if (!IsIniSection(section)) {
    throw AutomationError(ErrorNumber::kInvalidArgument,
                          u"'" + std::u16string(section) + u"' can't be the name of a section.");
  }
  if (!IsIniKey(key)) {
    throw AutomationError(ErrorNumber::kInvalidArgument,
                          u"'" + std::u16string(key) + u"' can't be the key of a setting.");
  }
  if (!IsIniValue(value)) {
    throw AutomationError(
        ErrorNumber::kInvalidArgument,
        u"The value of '" + std::u16string(key) + u"' holds a line break or a NUL character.");
  }
}

SettingsStore::SettingsStore(std::u16string_view file_name, const AnsiCodePage& code_page,
                             std::shared_ptr<LogSink> log)
    : file_({}, code_page), log_(log ? std::move(log) : std::make_shared<NullLog>()) {
  file_.SetFullFileName(file_name);
}

void SettingsStore::SetFolder(std::u16string_view folder) {
  file_.SetFilePath(folder);
  has_folder_ = !folder.empty();
}

std::u16string SettingsStore::GetSettings(std::u16string_view Section, std::u16string_view Key,
                                          std::u16string_view Default) {
  // What can't be written is not there; a NUL would make it the name of another setting.
  if (!has_folder_ || !IsIniSection(Section) || !IsIniKey(Key)) return std::u16string(Default);
  return file_.ReadINI(Section, Key, Default);
}

void SettingsStore::SaveSettings(std::u16string_view Section, std::u16string_view Key,
                                 std::u16string_view Value) {
  RequireIniText(Section, Key, Value);
  Write(Section, Key, Value);
}

Date SettingsStore::SyncDateTime() {
  return ParseDate(GetSettings(kSyncSection, kSyncKey, u"0")).value_or(0);
}

bool SettingsStore::SetSyncDateTime(Date date) noexcept {
  try {
    return Write(kSyncSection, kSyncKey, FormatDate(date));
  } catch (const std::exception&) {  // no calendar date, or no memory: the caller reports it
    return false;
  }
}

bool SettingsStore::Write(std::u16string_view section, std::u16string_view key,
                          std::u16string_view value) {
  std::u16string reason = u"there is no folder for it";
  if (has_folder_) {
    file_.ValidateDirectory({});
    if (file_.WriteIni(section, key, value)) return true;
    int32_t number = 0;
    file_.ReadErrorHandler(reason, number);
  }
  log_->UpdateLog(u"The setting '" + std::u16string(key) + u"' of section '" +
                  std::u16string(section) + u"' could not be saved: " + reason);
  return false;
}

}  // namespace pylon
