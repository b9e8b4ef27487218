#include "Settings.h"

#include <algorithm>
#include <string_view>
#include <type_traits>
#include <utility>

#include "../common/SettingsFile.h"
#include "ConduitRegistry.h"
#include "Link.h"
#include "base/Text.h"
#include "base/Win32.h"
#include "files/ProgramFiles.h"

namespace pylon::palm {
namespace {

using simulator::Field;
using simulator::OneOf;
using Reader = simulator::Reader<Settings>;

template <class Member>
Reader Number(Member member, int64_t max) {
  return simulator::Number<Settings>(member, 0, max);
}

Reader Path(std::filesystem::path Settings::*member) {
  return [=](const std::wstring& text, Settings& settings) {
    settings.*member = settings.ini.parent_path() / std::filesystem::path(text);
    return true;
  };
}

// What a text of Pylon's own kind sets.
Reader Text(bool (*read)(const std::u16string& text, Settings& settings)) {
  return [=](const std::wstring& text, Settings& settings) {
    return read(FromWide(text.c_str()), settings);
  };
}

bool ReadUserName(const std::u16string& text, Settings& settings) {
  constexpr size_t kLongestUserName = 40;  // of a handheld
  settings.user_name = text;
  return text.size() <= kLongestUserName;
}

bool ReadClock(const std::u16string& text, Settings& settings) {
  settings.clock = ParseDate(text);
  return settings.clock || EqualsIgnoringCase(text, u"now");
}

// Creators between commas.
bool ReadConduits(const std::u16string& text, Settings& settings) {
  for (size_t start = 0; start <= text.size();) {
    const size_t end = std::min(text.find(u',', start), text.size());
    const auto creator = ParseCreator(Trim(std::u16string_view(text).substr(start, end - start)));
    if (!creator) return false;
    settings.conduits.push_back(*creator);
    start = end + 1;
  }
  return true;
}

bool ReadReadOnly(const std::u16string& text, Settings& settings) {
  settings.read_only_database = text;
  return true;
}

bool ReadLostAt(const std::wstring& text, Settings& settings) {
  settings.link.lost_at = simulator::ParseLostAt(text);
  const auto& at = settings.link.lost_at;
  return at && IsCountedFunction(FromWide(at->function.c_str()));
}

bool ReadBusyRecord(const std::wstring& text, Settings& settings) {
  const auto parts = simulator::ParseNameAndNumber(text);
  if (!parts || parts->second < 0 || parts->second > 0xFFFFFF) return false;
  settings.busy_record =
      BusyRecord{FromWide(parts->first.c_str()), static_cast<uint32_t>(parts->second)};
  return true;
}

constexpr int64_t kMany = int64_t{1} << 40;
constexpr int64_t kLongestDelay = 60'000;

const std::vector<Field<Settings>>& Fields() {
  using simulator::LinkSettings;
  const auto link = [](auto LinkSettings::*member, int64_t max) {
    return Number(
        [=](Settings & settings) -> auto& { return settings.link.*member; }, max);
  };
  const auto either = [](auto Settings::*member, const wchar_t* no, const wchar_t* yes) {
    using T = std::remove_reference_t<decltype(std::declval<Settings>().*member)>;
    return OneOf<Settings, T, bool>(member, {{no, false}, {yes, true}});
  };
  static const std::vector<Field<Settings>> fields = {
      {L"Handheld", L"Folder", Path(&Settings::folder), L"a folder"},
      {L"Handheld", L"UserName", Text(ReadUserName), L"a name of 40 characters at most"},
      {L"Handheld", L"UserId", Number(&Settings::user_id, 0x7FFFFFFF), L"a number"},
      {L"Handheld", L"Clock", Text(ReadClock), L"now or a date like 2003-05-17 09:30:00"},
      {L"Session", L"SyncType", Number(&Settings::sync_type, 6), L"a number, 0 to 6"},
      {L"Session", L"Conduits", Text(ReadConduits), L"creators of four characters, between commas"},
      {L"Link", L"CallDelay", link(&LinkSettings::call_delay, kLongestDelay),
       L"a number of milliseconds, of a minute at most"},
      {L"Log", L"Calls", Path(&Settings::call_log), L"a file"},
      {L"Log", L"Session", Path(&Settings::session_log), L"a file"},
      {L"Suite", L"Library", either(&Settings::second_library, L"first", L"second"),
       L"first or second"},
      {L"Suite", L"UniqueIds", either(&Settings::ids_as_long, L"bytes", L"long"), L"bytes or long"},
      {L"Suite", L"Names", either(&Settings::names_as_variants, L"texts", L"variants"),
       L"texts or variants"},
      {L"Faults", L"Connect", either(&Settings::answers, L"no-answer", L"ok"), L"ok or no-answer"},
      {L"Faults", L"LinkLostAfterCalls", link(&LinkSettings::lost_after_calls, kMany),
       L"a number of calls"},
      {L"Faults", L"LinkLostAt", ReadLostAt, L"the name of a function and a number from 1"},
      {L"Faults", L"RecordBusy", ReadBusyRecord, L"a database and the id of a record"},
      {L"Faults", L"DatabaseReadOnly", Text(ReadReadOnly), L"a database"},
      {L"Faults", L"MemoryFullAfterBytes", Number(&Settings::full_after_bytes, kMany),
       L"a number of bytes"},
  };
  return fields;
}

}  // namespace

Settings ReadSettings(const std::filesystem::path& ini) {
  const std::filesystem::path program_folder(ProgramFolder());
  Settings settings;
  settings.ini = ini.empty() ? program_folder / "handheld.ini" : std::filesystem::absolute(ini);
  const std::filesystem::path home = settings.ini.parent_path();
  settings.folder = home / "handheld";
  settings.call_log = home / "handheld.log";
  settings.session_log = home / "hotsync.log";
  if (!std::filesystem::is_regular_file(settings.ini)) {
    if (!ini.empty()) {
      settings.mistakes.push_back(settings.ini.u16string() + u": there is no such file");
    }
    return settings;
  }
  std::vector<std::wstring> mistakes;
  for (const std::wstring& section : simulator::SectionsOf(settings.ini.wstring())) {
    simulator::ReadSection(settings.ini.wstring(), section, Fields(), settings, mistakes);
  }
  for (const std::wstring& mistake : mistakes) {
    settings.mistakes.push_back(FromWide(mistake.c_str()));
  }
  return settings;
}

}  // namespace pylon::palm
