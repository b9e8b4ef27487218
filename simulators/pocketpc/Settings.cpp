#include "Settings.h"

#include <algorithm>
#include <cerrno>
#include <cwchar>
#include <functional>
#include <iterator>
#include <limits>
#include <utility>

#include "DevicePath.h"
#include "Errors.h"
#include "Link.h"

namespace pocketpc {
namespace {

constexpr wchar_t kVariable[] = L"PYLON_SIMULATED_POCKETPC";

std::wstring_view Trim(std::wstring_view text) {
  const size_t first = text.find_first_not_of(L" \t");
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(L" \t") - first + 1);
}

// The texts that Get(buffer, size) writes, each ended by NUL, the last by two. Get returns size - 2
// when they don't fit.
template <class Get>
std::vector<std::wstring> ReadTexts(Get get) {
  std::wstring buffer(4096, L'\0');
  DWORD length = 0;
  while ((length = get(buffer.data(), static_cast<DWORD>(buffer.size()))) >= buffer.size() - 2) {
    buffer.resize(2 * buffer.size());
  }
  std::vector<std::wstring> texts;
  for (const wchar_t* at = buffer.c_str(); at < buffer.data() + length && *at;) {
    texts.emplace_back(at);
    at += texts.back().size() + 1;
  }
  return texts;
}

std::optional<int64_t> ParseNumber(const std::wstring& text) {
  if (text.find_first_not_of(L"-0123456789") != text.npos) return std::nullopt;
  wchar_t* end = nullptr;
  errno = 0;
  const int64_t number = std::wcstoll(text.c_str(), &end, 10);
  if (errno != 0 || *end != L'\0' || end == text.c_str()) return std::nullopt;
  return number;
}

// Sets what the text says; false when it makes no sense.
using Reader = std::function<bool(const std::wstring& text, Settings& settings)>;

template <class T>
Reader Number(T Settings::*member, int64_t min, int64_t max) {
  return [=](const std::wstring& text, Settings& settings) {
    const std::optional<int64_t> number = ParseNumber(text);
    if (!number || *number < min || *number > max) return false;
    if constexpr (std::is_arithmetic_v<T>) {
      settings.*member = static_cast<T>(*number);
    } else {
      settings.*member = static_cast<uint64_t>(*number);
    }
    return true;
  };
}

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

bool ReadConnect(const std::wstring& text, Settings& settings) {
  constexpr std::pair<const wchar_t*, ConnectFault> kNames[] = {
      {L"ok", ConnectFault::kNone},
      {L"error", ConnectFault::kError},
      {L"refused", ConnectFault::kRefused},
      {L"no-answer", ConnectFault::kNoAnswer},
  };
  const auto* const found = std::ranges::find_if(
      kNames, [&](const auto& entry) { return EqualIgnoringCase(entry.first, text); });
  if (found == std::end(kNames)) return false;
  settings.connect = found->second;
  return true;
}

// A function's name and, after a blank, a number from 1.
bool ReadLostAt(const std::wstring& text, Settings& settings) {
  const size_t blank = std::min(text.find(L' '), text.size());
  const std::wstring number_text(Trim(std::wstring_view(text).substr(blank)));
  const std::optional<int64_t> number = number_text.empty() ? 1 : ParseNumber(number_text);
  const wchar_t* const function = FindCountedFunction(text.substr(0, blank));
  if (!function || !number || *number < 1) return false;
  settings.lost_at = LostAt{function, static_cast<uint64_t>(*number)};
  return true;
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

struct Field {
  const wchar_t* section;
  const wchar_t* key;
  Reader read;
  const wchar_t* expected;
};

const std::vector<Field>& Fields() {
  static const std::vector<Field> fields = {
      {L"Device", L"Folder", PcPath(&Settings::folder), L"a folder"},
      {L"Device", L"DiskSize", Number(&Settings::disk_size, 0, kMaxBytes), L"a number of bytes"},
      {L"Device", L"ClockOffset", Number(&Settings::clock_offset, -kMaxOffset, kMaxOffset),
       L"a number of seconds, of a century at most"},
      {L"Device", L"TempPath", ReadTempPath, L"a device path"},
      {L"Link", L"ConnectDelay", Number(&Settings::connect_delay, 0, kMaxDelay),
       L"a number of milliseconds, of ten minutes at most"},
      {L"Link", L"CallDelay", Number(&Settings::call_delay, 0, kMaxDelay),
       L"a number of milliseconds, of ten minutes at most"},
      {L"Link", L"Bandwidth", Number(&Settings::bandwidth, 0, kMaxBytes),
       L"a number of bytes a second"},
      {L"Log", L"File", PcPath(&Settings::log), L"a file"},
      {L"Faults", L"Connect", ReadConnect, L"ok, error, refused or no-answer"},
      {L"Faults", L"LinkLostAfterCalls", Number(&Settings::lost_after_calls, 0, kMaxBytes),
       L"a number of calls"},
      {L"Faults", L"LinkLostAfterBytes", Number(&Settings::lost_after_bytes, 0, kMaxBytes),
       L"a number of bytes"},
      {L"Faults", L"LinkLostAt", ReadLostAt, L"the name of a function and a number from 1"},
      {L"Faults", L"LinkLostError", ReadLostError, L"a number from 0x80000000 to 0xffffffff"},
      {L"Faults", L"UnreadableFile", DevicePath(&Settings::unreadable_file), L"a device path"},
      {L"Faults", L"LockedFile", DevicePath(&Settings::locked_file), L"a device path"},
      {L"Faults", L"ShortWrites", Number(&Settings::short_writes, 0, 1), L"0 or 1"},
  };
  return fields;
}

bool IsRegistrySection(std::wstring_view section) {
  const std::wstring_view root = section.substr(0, section.find(L'\\'));
  return EqualIgnoringCase(root, L"HKLM") || EqualIgnoringCase(root, L"HKCU") ||
         EqualIgnoringCase(root, L"HKCR");
}

void ReadEntry(const std::wstring& section, const std::wstring& key, const std::wstring& value,
               Settings& settings) {
  if (IsRegistrySection(section)) {
    const std::optional<RegistryValue> parsed = ParseRegistryValue(value);
    if (!parsed) {
      settings.mistakes.push_back(L"[" + section + L"] " + key + L"=" + value +
                                  L": the digits after dword: or hex: are wrong");
      return;
    }
    settings.registry[section][key == L"@" ? L"" : key] = *parsed;
    return;
  }
  const auto field = std::ranges::find_if(Fields(), [&](const Field& entry) {
    return EqualIgnoringCase(entry.section, section) && EqualIgnoringCase(entry.key, key);
  });
  if (field == Fields().end()) {
    settings.mistakes.push_back(L"[" + section + L"] " + key + L": there is no such setting");
    return;
  }
  if (!value.empty() && !field->read(value, settings)) {
    settings.mistakes.push_back(L"[" + section + L"] " + key + L"=" + value + L": this must be " +
                                field->expected);
  }
}

void ReadSection(const std::wstring& section, Settings& settings) {
  const bool known =
      IsRegistrySection(section) || std::ranges::any_of(Fields(), [&](const Field& field) {
        return EqualIgnoringCase(field.section, section);
      });
  if (!known) {
    settings.mistakes.push_back(L"[" + section + L"]: there is no such section");
    return;
  }
  // Without values it is a key all the same.
  if (IsRegistrySection(section)) settings.registry[section];
  const std::vector<std::wstring> lines = ReadTexts([&](wchar_t* buffer, DWORD size) {
    return ::GetPrivateProfileSectionW(section.c_str(), buffer, size, settings.ini.c_str());
  });
  for (const std::wstring& line : lines) {
    const std::wstring_view text = Trim(line);
    if (text.empty() || text.starts_with(L';')) continue;
    const size_t equals = text.find(L'=');
    if (equals == text.npos) {
      settings.mistakes.push_back(L"[" + section + L"] " + std::wstring(text) +
                                  L": there is no = in this line");
      continue;
    }
    ReadEntry(section, std::wstring(Trim(text.substr(0, equals))),
              std::wstring(Trim(text.substr(equals + 1))), settings);
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
    const std::vector<std::wstring> sections = ReadTexts([&](wchar_t* buffer, DWORD size) {
      return ::GetPrivateProfileSectionNamesW(buffer, size, settings.ini.c_str());
    });
    for (const std::wstring& section : sections) ReadSection(section, settings);
  }
  if (settings.registry.empty()) {
    settings.registry[L"HKLM\\Ident"][L"Name"] = *ParseRegistryValue(L"Pocket_PC");
  }
  return settings;
}

}  // namespace pocketpc
