#include "appforge/RegistryUserSettings.h"

#include <utility>

#include "base/AutomationError.h"
#include "base/Registry.h"
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
  RegistryText stored = QueryRegistryText(HKEY_CURRENT_USER, path, Wide(name));
  if (IsMissing(stored.status) || stored.status == ERROR_UNSUPPORTED_TYPE) return {};
  Require(stored.status, u"read", path, key);
  return std::move(stored.text);
}

void RegistryUserSettings::Write(std::u16string_view application, std::u16string_view section,
                                 std::u16string_view key, std::u16string_view value) {
  const std::u16string path = PathOf(application, section);
  const std::u16string name(key);
  const std::u16string text(value);
  RequireFit(path, name);
  Require(WriteRegistryText(HKEY_CURRENT_USER, path, Wide(name), text), u"saved", path, key);
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
