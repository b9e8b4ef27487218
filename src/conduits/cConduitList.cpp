#include "conduits/cConduitList.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <utility>

#include "base/AutomationError.h"
#include "base/Text.h"
#include "base/Win32.h"
#include "conduits/AwaitedFile.h"
#include "conduits/SettingsStore.h"
#include "files/FileNames.h"
#include "files/IniText.h"

namespace pylon {
namespace {

constexpr std::array kUtf8Mark = {std::byte{0xEF}, std::byte{0xBB}, std::byte{0xBF}};
constexpr char16_t kNotAsked[] = u"not asked, because the reading was cancelled";
constexpr char16_t kNotCreated[] = u"No Longer Compatible";
constexpr char16_t kUtf8[] =
    u"The settings file is saved as UTF-8 with a byte order mark, which hides its first section. "
    u"Save it as ANSI or as Unicode (UTF-16).";
constexpr size_t kMostEntries = std::numeric_limits<int16_t>::max();

}  // namespace

cConduitList::cConduitList(std::u16string program_folder, ComponentFactory& components,
                           const AnsiCodePage& code_page, Reading reading)
    : program_folder_(std::move(program_folder)),
      components_(&components),
      utf8_mark_(code_page.Decode(kUtf8Mark)),
      file_(program_folder_, code_page) {
  file_.SetFullFileName(kFileName);
  if (reading == Reading::kNow) Reload();
}

std::u16string cConduitList::FileName() { return file_.FullFileName(); }

int16_t cConduitList::FindAppId(std::u16string_view AppId) const {
  return Find(&Entry::app_id, AppId);
}

int16_t cConduitList::FindAppIdFromCreatorId(std::u16string_view CreatorId) const {
  return Find(&Entry::creator_id, CreatorId);
}

int16_t cConduitList::Find(std::u16string Entry::*field, std::u16string_view text) const {
  const auto found = std::ranges::find_if(
      entries_, [&](const Entry& entry) { return EqualsIgnoringCase(entry.*field, text); });
  return found == entries_.end() ? int16_t{0} : static_cast<int16_t>(found - entries_.begin() + 1);
}

std::u16string cConduitList::PCPath(int16_t index) {
  const std::u16string& app_path = At(index).app_path;
  return app_path.empty() ? Setting(index, settings::kPcPath) : app_path;
}

std::u16string cConduitList::PCFolder(int16_t index) {
  const std::u16string path = PCPath(index);
  if (path.empty()) return JoinFullName(program_folder_, AppId(index));
  return IsRelative(path) ? JoinFullName(program_folder_, path) : path;
}

std::u16string cConduitList::GetSettings(std::u16string_view key,
                                         std::u16string_view default_value) {
  if (!IsIniKey(key)) return std::u16string(default_value);
  return file_.ReadINI(settings::kProgramSection, key, default_value);
}

bool cConduitList::SaveSettings(std::u16string_view key, std::u16string_view value) {
  RequireIniText(settings::kProgramSection, key, value);
  return file_.WriteIni(settings::kProgramSection, key, value);
}

void cConduitList::Reload(const std::function<bool()>& keep_going) {
  std::vector<Entry> entries = ReadSections();
  bool cancelled = false;
  for (Entry& entry : entries) {
    cancelled = cancelled || (keep_going && !keep_going());
    if (!cancelled) {
      Describe(entry);
    } else {
      entry.class_id = ClassIdOf(entry);
      entry.failure = kNotAsked;
    }
  }
  entries_ = std::move(entries);
  read_ = true;
}

const cConduitList::Entry& cConduitList::At(int16_t index) const {
  if (index < 1 || index > Count()) throw SubscriptOutOfRange();
  return entries_[static_cast<size_t>(index) - 1];
}

std::u16string cConduitList::Setting(int16_t index, const SettingsKey& key) {
  return file_.ReadINI(At(index).app_id, key.name, {});
}

std::vector<cConduitList::Entry> cConduitList::ReadSections() {
  std::vector<Entry> entries;
  load_error_.clear();
  if (!OpenAwaited(file_, u"R", WhenHeld::kWait)) {
    TakeLoadError();
    return entries;
  }
  std::u16string line;
  bool first = true;
  while (entries.size() < kMostEntries && file_.InputLine(line)) {
    const size_t end = line.find(u']');
    // Windows does not see a section in such a line, and skips the entries below it.
    if (std::exchange(first, false) && line.starts_with(utf8_mark_ + u"[")) {
      file_.CloseFile();
      load_error_ = kUtf8;
      return {};
    }
    if (!line.starts_with(u'[') || end == line.npos) continue;
    const std::u16string name = line.substr(1, end - 1);
    if (!settings::IsProgramSection(name)) entries.emplace_back().app_id = name;
  }
  TakeLoadError();
  file_.CloseFile();
  return entries;
}

void cConduitList::TakeLoadError() {
  std::u16string message;
  int32_t number = 0;
  if (file_.ReadErrorHandler(message, number) && number != ERROR_FILE_NOT_FOUND) {
    load_error_ = std::move(message);
  }
}

std::u16string cConduitList::ClassIdOf(const Entry& entry) {
  return file_.ReadINI(entry.app_id, settings::kClassId.name, {});
}

void cConduitList::Describe(Entry& entry) {
  entry.class_id = ClassIdOf(entry);
  if (entry.class_id.empty()) return;
  // One component that fails must not hide the other conduits: its entry keeps its answers so far.
  try {
    const ComponentFactory::Result created = components_->Create(entry.class_id);
    if (!created.component) {
      entry.application_name = kNotCreated;
      entry.failure =
          created.reason.empty() ? entry.class_id + u" can't be created" : created.reason;
      return;
    }
    ConduitComponent& component = *created.component;
    entry.author = component.GetConduitInfo(ctAuthor);
    entry.application_name = component.GetConduitInfo(ctApplicationName);
    entry.creator_id = component.GetConduitInfo(ctCreatorID);
    entry.app_path = component.GetConduitInfo(ctAppPath);
    entry.version = component.GetConduitInfo(ctVersion);
    entry.icon = component.GetConduitInfo(ctIcon);
    if (!entry.icon.empty() && entry.icon.find(u'\\') == entry.icon.npos) {
      entry.icon = program_folder_ + u"\\" + entry.app_id + u"\\" + entry.icon;
    }
  } catch (...) {
    const AutomationError error = CurrentError();
    entry.failure =
        error.description().empty() ? u"error " + ToText(error.number()) : error.description();
  }
}

}  // namespace pylon
