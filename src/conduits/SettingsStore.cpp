#include "conduits/SettingsStore.h"

#include <optional>
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

SettingsStore::SettingsStore(std::unique_ptr<StoreFile> file, std::shared_ptr<LogSink> log)
    : file_(std::move(file)), log_(log ? std::move(log) : std::make_shared<NullLog>()) {}

void SettingsStore::SetFolder(std::u16string_view folder) {
  file_->SetFolder(folder);
  has_folder_ = !folder.empty();
}

std::u16string SettingsStore::GetSettings(std::u16string_view Section, std::u16string_view Key,
                                          std::u16string_view Default) {
  // A key that can't be written reads as missing; a NUL would make it the name of another setting.
  if (!has_folder_ || !IsIniSection(Section) || !IsIniKey(Key)) return std::u16string(Default);
  return file_->Read(Section, Key, Default);
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
  const std::optional<std::u16string> reason =
      has_folder_ ? file_->Write(section, key, value) : u"there is no folder for it";
  if (!reason) return true;
  log_->UpdateLog(u"The setting '" + std::u16string(key) + u"' of section '" +
                  std::u16string(section) + u"' could not be saved: " + *reason);
  return false;
}

}  // namespace pylon
