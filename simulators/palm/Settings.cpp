#include "Settings.h"

#include <algorithm>
#include <functional>
#include <string_view>
#include <utility>

#include "ConduitRegistry.h"
#include "Link.h"
#include "base/Text.h"
#include "base/Win32.h"
#include "files/ProgramFiles.h"

namespace pylon::palm {
namespace {

// The texts that Get(buffer, size) writes, each ended by NUL, the last by two. Get returns size - 2
// when they don't fit.
template <class Get>
std::vector<std::u16string> ReadTexts(Get get) {
  std::wstring buffer(4096, L'\0');
  DWORD length = 0;
  while ((length = get(buffer.data(), static_cast<DWORD>(buffer.size()))) >= buffer.size() - 2) {
    buffer.resize(2 * buffer.size());
  }
  std::vector<std::u16string> texts;
  for (const wchar_t* at = buffer.c_str(); at < buffer.data() + length && *at;) {
    texts.push_back(FromWide(at));
    at += texts.back().size() + 1;
  }
  return texts;
}

std::optional<uint64_t> ParseNumber(std::u16string_view text) {
  if (text.empty() || text.size() > 18) return std::nullopt;
  uint64_t number = 0;
  for (const char16_t c : text) {
    if (c < u'0' || c > u'9') return std::nullopt;
    number = 10 * number + (c - u'0');
  }
  return number;
}

// Sets what the text says; false when it makes no sense.
using Reader = std::function<bool(const std::u16string& text, Settings& settings)>;

template <class T>
Reader Number(T Settings::*member, uint64_t max) {
  return [=](const std::u16string& text, Settings& settings) {
    const std::optional<uint64_t> number = ParseNumber(text);
    if (!number || *number > max) return false;
    if constexpr (std::is_arithmetic_v<T>) {
      settings.*member = static_cast<T>(*number);
    } else {
      settings.*member = *number;
    }
    return true;
  };
}

Reader Path(std::filesystem::path Settings::*member) {
  return [=](const std::u16string& text, Settings& settings) {
    settings.*member = settings.ini.parent_path() / std::filesystem::path(text);
    return true;
  };
}

template <class T>
Reader OneOf(T Settings::*member, std::vector<std::pair<const char16_t*, bool>> names) {
  return [=](const std::u16string& text, Settings& settings) {
    const auto found = std::ranges::find_if(
        names, [&](const auto& entry) { return EqualsIgnoringCase(entry.first, text); });
    if (found == names.end()) return false;
    settings.*member = found->second;
    return true;
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

// The text up to the last blank, and the number behind it.
std::optional<std::pair<std::u16string, uint64_t>> NameAndNumber(std::u16string_view text) {
  const size_t blank = text.rfind(u' ');
  if (blank == text.npos) return std::nullopt;
  const auto number = ParseNumber(text.substr(blank + 1));
  const std::u16string_view name = Trim(text.substr(0, blank));
  if (!number || name.empty()) return std::nullopt;
  return std::pair(std::u16string(name), *number);
}

bool ReadLostAt(const std::u16string& text, Settings& settings) {
  const auto parts = NameAndNumber(text).value_or(std::pair(text, uint64_t{1}));
  settings.lost_at = LostAt{parts.first, parts.second};
  return IsCountedFunction(parts.first) && parts.second > 0;
}

bool ReadBusyRecord(const std::u16string& text, Settings& settings) {
  const auto parts = NameAndNumber(text);
  if (!parts || parts->second > 0xFFFFFF) return false;
  settings.busy_record = BusyRecord{parts->first, static_cast<uint32_t>(parts->second)};
  return true;
}

constexpr uint64_t kMany = uint64_t{1} << 40;
constexpr uint64_t kLongestDelay = 60'000;

struct Field {
  const char16_t* section;
  const char16_t* key;
  Reader read;
  const char16_t* expected;
};

const std::vector<Field>& Fields() {
  static const std::vector<Field> fields = {
      {u"Handheld", u"Folder", Path(&Settings::folder), u"a folder"},
      {u"Handheld", u"UserName", ReadUserName, u"a name of 40 characters at most"},
      {u"Handheld", u"UserId", Number(&Settings::user_id, 0x7FFFFFFF), u"a number"},
      {u"Handheld", u"Clock", ReadClock, u"now or a date like 2003-05-17 09:30:00"},
      {u"Session", u"SyncType", Number(&Settings::sync_type, 6), u"a number, 0 to 6"},
      {u"Session", u"Conduits", ReadConduits, u"creators of four characters, between commas"},
      {u"Link", u"CallDelay", Number(&Settings::call_delay, kLongestDelay),
       u"a number of milliseconds, of a minute at most"},
      {u"Log", u"Calls", Path(&Settings::call_log), u"a file"},
      {u"Log", u"Session", Path(&Settings::session_log), u"a file"},
      {u"Suite", u"Library",
       OneOf(&Settings::second_library, {{u"first", false}, {u"second", true}}),
       u"first or second"},
      {u"Suite", u"UniqueIds", OneOf(&Settings::ids_as_long, {{u"bytes", false}, {u"long", true}}),
       u"bytes or long"},
      {u"Suite", u"Names",
       OneOf(&Settings::names_as_variants, {{u"texts", false}, {u"variants", true}}),
       u"texts or variants"},
      {u"Faults", u"Connect", OneOf(&Settings::answers, {{u"ok", true}, {u"no-answer", false}}),
       u"ok or no-answer"},
      {u"Faults", u"LinkLostAfterCalls", Number(&Settings::lost_after_calls, kMany),
       u"a number of calls"},
      {u"Faults", u"LinkLostAt", ReadLostAt, u"the name of a function and a number from 1"},
      {u"Faults", u"RecordBusy", ReadBusyRecord, u"a database and the id of a record"},
      {u"Faults", u"DatabaseReadOnly", ReadReadOnly, u"a database"},
      {u"Faults", u"MemoryFullAfterBytes", Number(&Settings::full_after_bytes, kMany),
       u"a number of bytes"},
  };
  return fields;
}

void ReadSection(const std::u16string& section, Settings& settings) {
  const bool known = std::ranges::any_of(
      Fields(), [&](const Field& field) { return EqualsIgnoringCase(field.section, section); });
  if (!known) {
    settings.mistakes.push_back(u"[" + section + u"]: there is no such section");
    return;
  }
  const auto lines = ReadTexts([&](wchar_t* buffer, DWORD size) {
    return ::GetPrivateProfileSectionW(Wide(section), buffer, size, settings.ini.c_str());
  });
  for (const std::u16string& line : lines) {
    const std::u16string_view text = Trim(line);
    if (text.empty() || text.front() == u';') continue;
    const size_t equals = std::min(text.find(u'='), text.size());
    const std::u16string key(Trim(text.substr(0, equals)));
    const std::u16string value(equals == text.size() ? u"" : Trim(text.substr(equals + 1)));
    const auto field = std::ranges::find_if(Fields(), [&](const Field& entry) {
      return EqualsIgnoringCase(entry.section, section) && EqualsIgnoringCase(entry.key, key);
    });
    if (field == Fields().end()) {
      settings.mistakes.push_back(u"[" + section + u"] " + key + u": there is no such setting");
    } else if (!value.empty() && !field->read(value, settings)) {
      settings.mistakes.push_back(u"[" + section + u"] " + key + u"=" + value + u": this must be " +
                                  field->expected);
    }
  }
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
  const auto sections = ReadTexts([&](wchar_t* buffer, DWORD size) {
    return ::GetPrivateProfileSectionNamesW(buffer, size, settings.ini.c_str());
  });
  for (const std::u16string& section : sections) ReadSection(section, settings);
  return settings;
}

}  // namespace pylon::palm
