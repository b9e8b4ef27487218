#include "Settings.h"

#include <cwchar>
#include <utility>

#include "../common/SettingsFile.h"
#include "DevicePath.h"
#include "Errors.h"
#include "Link.h"

namespace pocketpc {
namespace {

constexpr wchar_t kVariable[] = L"PYLON_SIMULATED_POCKETPC";

using simulator::EqualIgnoringCase;
using simulator::Field;
using simulator::Number;
using simulator::OneOf;
using Reader = simulator::Reader<Settings>;

Reader PcPath(std::wstring Settings::*member) {
  return [=](const std::wstring& text, Settings& settings) {
    try {
      settings.*member = FullPath(text, FolderOf(settings.ini));
      return true;
    } catch (const DeviceError&) {
      return false;
    }
  };
}

bool IsDevicePath(const std::wstring& text) {
  try {
    CleanDevicePath(text.c_str());
    return true;
  } catch (const DeviceError&) {
    return false;
  }
}

Reader DevicePath(std::wstring Settings::*member) {
  return [=](const std::wstring& text, Settings& settings) {
    if (!IsDevicePath(text)) return false;
    settings.*member = CleanDevicePath(text.c_str());
    return true;
  };
}

// As it stands: whether it ends in a backslash is part of the answer.
bool ReadTempPath(const std::wstring& text, Settings& settings) {
  settings.temp_path = text;
  return IsDevicePath(text);
}

bool ReadLostAt(const std::wstring& text, Settings& settings) {
  const auto parsed = simulator::ParseLostAt(text);
  const wchar_t* const function = parsed ? FindCountedFunction(parsed->function) : nullptr;
  if (function) settings.link.lost_at = simulator::LostAt{function, parsed->number};
  return function != nullptr;
}

// As HRESULTs are written: 0x and up to eight hexadecimal digits. Those below 0x80000000 are no
// errors.
bool ReadLostError(const std::wstring& text, Settings& settings) {
  if (!EqualIgnoringCase(text.substr(0, 2), L"0x") ||
      text.find_first_not_of(L"0123456789abcdefABCDEF", 2) != text.npos) {
    return false;
  }
  const uint64_t number = std::wcstoull(text.c_str(), nullptr, 16);
  if (number < 0x80000000 || number > 0xFFFFFFFF) return false;
  settings.lost_error = static_cast<uint32_t>(number);
  return true;
}

constexpr int64_t kMaxBytes = int64_t{1} << 40;
constexpr int64_t kMaxDelay = 10 * 60 * 1000;
constexpr int64_t kMaxOffset = int64_t{100} * 366 * 24 * 60 * 60;

template <class Member>
Reader Between(Member member, int64_t min, int64_t max) {
  return Number<Settings>(member, min, max);
}

const std::vector<Field<Settings>>& Fields() {
  using simulator::LinkSettings;
  const auto link = [](auto LinkSettings::*member, int64_t max) {
    return Between(
        [=](Settings & settings) -> auto& { return settings.link.*member; }, 0, max);
  };
  const auto connect = OneOf<Settings, ConnectFault, ConnectFault>(
      &Settings::connect, {{L"ok", ConnectFault::kNone},
                           {L"error", ConnectFault::kError},
                           {L"refused", ConnectFault::kRefused},
                           {L"no-answer", ConnectFault::kNoAnswer}});
  static const std::vector<Field<Settings>> fields = {
      {L"Device", L"Folder", PcPath(&Settings::folder), L"a folder"},
      {L"Device", L"DiskSize", Between(&Settings::disk_size, 0, kMaxBytes), L"a number of bytes"},
      {L"Device", L"ClockOffset", Between(&Settings::clock_offset, -kMaxOffset, kMaxOffset),
       L"a number of seconds, of a century at most"},
      {L"Device", L"TempPath", ReadTempPath, L"a device path"},
      {L"Link", L"ConnectDelay", Between(&Settings::connect_delay, 0, kMaxDelay),
       L"a number of milliseconds, of ten minutes at most"},
      {L"Link", L"CallDelay", link(&LinkSettings::call_delay, kMaxDelay),
       L"a number of milliseconds, of ten minutes at most"},
      {L"Link", L"Bandwidth", link(&LinkSettings::bandwidth, kMaxBytes),
       L"a number of bytes a second"},
      {L"Log", L"File", PcPath(&Settings::log), L"a file"},
      {L"Faults", L"Connect", connect, L"ok, error, refused or no-answer"},
      {L"Faults", L"LinkLostAfterCalls", link(&LinkSettings::lost_after_calls, kMaxBytes),
       L"a number of calls"},
      {L"Faults", L"LinkLostAfterBytes", link(&LinkSettings::lost_after_bytes, kMaxBytes),
       L"a number of bytes"},
      {L"Faults", L"LinkLostAt", ReadLostAt, L"the name of a function and a number from 1"},
      {L"Faults", L"LinkLostError", ReadLostError, L"a number from 0x80000000 to 0xffffffff"},
      {L"Faults", L"UnreadableFile", DevicePath(&Settings::unreadable_file), L"a device path"},
      {L"Faults", L"LockedFile", DevicePath(&Settings::locked_file), L"a device path"},
      {L"Faults", L"ShortWrites", Between(&Settings::short_writes, 0, 1), L"0 or 1"},
  };
  return fields;
}

bool IsRegistrySection(std::wstring_view section) {
  const std::wstring_view root = section.substr(0, section.find(L'\\'));
  return EqualIgnoringCase(root, L"HKLM") || EqualIgnoringCase(root, L"HKCU") ||
         EqualIgnoringCase(root, L"HKCR");
}

void ReadRegistry(const std::wstring& section, Settings& settings) {
  RegistryValues::mapped_type& values = settings.registry[section];  // a key without values, too
  for (const auto& [key, value] :
       simulator::ReadSection(settings.ini, section, settings.mistakes)) {
    const std::optional<RegistryValue> parsed = ParseRegistryValue(value);
    if (parsed) {
      values[key == L"@" ? L"" : key] = *parsed;
    } else {
      settings.mistakes.push_back(L"[" + section + L"] " + key + L"=" + value +
                                  L": the digits after dword: or hex: are wrong");
    }
  }
}

std::wstring ModulePath(HMODULE module) {
  std::wstring path(MAX_PATH, L'\0');
  DWORD length = 0;
  while ((length = ::GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()))) ==
         path.size()) {
    path.resize(2 * path.size());
  }
  CheckWindows(length != 0);
  path.resize(length);
  return path;
}

std::wstring Variable(const wchar_t* name) {
  std::wstring value(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length =
        ::GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size()));
    const bool whole = length < value.size();
    value.resize(length);
    if (whole) return value;
  }
}

}  // namespace

Settings ReadSettings(HMODULE module) {
  Settings settings;
  const std::wstring folder = FolderOf(ModulePath(module));
  const std::wstring named = Variable(kVariable);
  settings.ini = FullPath(named.empty() ? L"rapi.ini" : named, folder);
  settings.folder = FullPath(L"device", FolderOf(settings.ini));
  settings.log = FullPath(L"rapi.log", FolderOf(settings.ini));

  const DWORD attributes = ::GetFileAttributesW(settings.ini.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY)) {
    if (!named.empty()) {
      settings.mistakes.push_back(std::wstring(kVariable) + L" names " + settings.ini +
                                  L", and there is no such file");
    }
  } else {
    for (const std::wstring& section : simulator::SectionsOf(settings.ini)) {
      if (IsRegistrySection(section)) {
        ReadRegistry(section, settings);
      } else {
        simulator::ReadSection(settings.ini, section, Fields(), settings, settings.mistakes);
      }
    }
  }
  if (settings.registry.empty()) {
    settings.registry[L"HKLM\\Ident"][L"Name"] = *ParseRegistryValue(L"Pocket_PC");
  }
  return settings;
}

}  // namespace pocketpc
