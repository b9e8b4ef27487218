#include "appforge/RegistryUserSettings.h"

#include <algorithm>

#include "base/AutomationError.h"
#include "base/Text.h"
#include "base/Win32.h"

namespace pylon {
namespace {

constexpr char16_t kRoot[] = u"Software\\VB and VBA Program Settings\\";
// https://learn.microsoft.com/windows/win32/sysinfo/registry-element-size-limits
constexpr size_t kMaxKeyName = 255;
constexpr size_t kMaxValueName = 16383;

std::u16string PathOf(std::u16string_view application, std::u16string_view section) {
  return kRoot + std::u16string(application) + u"\\" + std::u16string(section);
}

bool FitsRegistry(std::u16string_view path, std::u16string_view key) {
  for (;;) {
    const size_t end = path.find(u'\\');
    if (path.substr(0, end).size() > kMaxKeyName) return false;
    if (end == path.npos) break;
    path.remove_prefix(end + 1);
  }
  return key.size() <= kMaxValueName;
}

void RequireFit(std::u16string_view path, std::u16string_view key) {
  if (FitsRegistry(path, key)) return;
  throw AutomationError(ErrorNumber::kInvalidArgument,
                        u"A setting's application and section have up to " +
                            ToText(int64_t{kMaxKeyName}) + u" characters, its key has up to " +
                            ToText(int64_t{kMaxValueName}) + u".");
}

bool IsMissing(LSTATUS status) {
  return status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND;
}

void Require(LSTATUS status, std::u16string_view what, const std::u16string& path,
             std::u16string_view key) {
  if (status == ERROR_SUCCESS) return;
  throw AutomationError(ErrorNumber::kDeviceIo, u"The setting '" + std::u16string(key) +
                                                    u"' of HKEY_CURRENT_USER\\" + path +
                                                    u" can't be " + std::u16string(what) + u" (" +
                                                    ToText(status) + u").");
}

}  // namespace

std::optional<std::u16string> RegistryUserSettings::Read(std::u16string_view application,
                                                         std::u16string_view section,
                                                         std::u16string_view key) {
  const std::u16string path = PathOf(application, section);
  const std::u16string name(key);
  if (!FitsRegistry(path, name)) return {};
  RegistryKey opened;
  LSTATUS status =
      ::RegOpenKeyExW(HKEY_CURRENT_USER, Wide(path), 0, KEY_QUERY_VALUE, opened.Receive());
  if (IsMissing(status)) return {};
  Require(status, u"read", path, key);

  std::u16string text;
  DWORD type = REG_NONE;
  DWORD size = 0;
  // Again when another program makes the value longer in between.
  do {
    text.resize(size / sizeof(char16_t) + 1);
    size = static_cast<DWORD>(text.size() * sizeof(char16_t));
    status = ::RegQueryValueExW(opened.get(), Wide(name), nullptr, &type,
                                reinterpret_cast<BYTE*>(text.data()), &size);
  } while (status == ERROR_MORE_DATA);
  if (IsMissing(status)) return {};
  Require(status, u"read", path, key);
  if (type != REG_SZ && type != REG_EXPAND_SZ) return {};
  // The terminator that belongs to the value may be missing, or there may be more behind it.
  text.resize(size / sizeof(char16_t));
  text.resize(std::min(text.find(u'\0'), text.size()));
  return text;
}

void RegistryUserSettings::Write(std::u16string_view application, std::u16string_view section,
                                 std::u16string_view key, std::u16string_view value) {
  const std::u16string path = PathOf(application, section);
  const std::u16string name(key);
  const std::u16string text(value);
  RequireFit(path, name);
  RegistryKey opened;
  Require(::RegCreateKeyExW(HKEY_CURRENT_USER, Wide(path), 0, nullptr, 0, KEY_SET_VALUE, nullptr,
                            opened.Receive(), nullptr),
          u"saved", path, key);
  Require(::RegSetValueExW(opened.get(), Wide(name), 0, REG_SZ,
                           reinterpret_cast<const BYTE*>(text.c_str()),
                           static_cast<DWORD>((text.size() + 1) * sizeof(char16_t))),
          u"saved", path, key);
}

bool RegistryUserSettings::Delete(std::u16string_view application, std::u16string_view section,
                                  std::u16string_view key) {
  const std::u16string path = PathOf(application, section);
  const std::u16string name(key);
  RequireFit(path, name);
  RegistryKey opened;
  LSTATUS status =
      ::RegOpenKeyExW(HKEY_CURRENT_USER, Wide(path), 0, KEY_SET_VALUE, opened.Receive());
  if (IsMissing(status)) return false;
  Require(status, u"deleted", path, key);
  status = ::RegDeleteValueW(opened.get(), Wide(name));
  if (IsMissing(status)) return false;
  Require(status, u"deleted", path, key);
  return true;
}

}  // namespace pylon
