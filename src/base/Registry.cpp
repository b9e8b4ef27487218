#include "base/Registry.h"

namespace pylon {
namespace {

struct Stored {
  LSTATUS status = ERROR_SUCCESS;
  DWORD type = REG_NONE;
  std::u16string text;
};

Stored Query(HKEY root, const std::u16string& path, const wchar_t* name, REGSAM view) {
  RegistryKey key;
  Stored stored;
  stored.status = ::RegOpenKeyExW(root, Wide(path), 0, KEY_QUERY_VALUE | view, key.Receive());
  if (stored.status != ERROR_SUCCESS) return stored;
  DWORD size = 0;
  // Again when another program makes the value longer in between.
  do {
    stored.text.resize(size / sizeof(char16_t) + 1);
    size = static_cast<DWORD>(stored.text.size() * sizeof(char16_t));
    stored.status = ::RegQueryValueExW(key.get(), name, nullptr, &stored.type,
                                       reinterpret_cast<BYTE*>(stored.text.data()), &size);
  } while (stored.status == ERROR_MORE_DATA);
  if (stored.status == ERROR_SUCCESS && stored.type != REG_SZ && stored.type != REG_EXPAND_SZ) {
    stored.status = ERROR_UNSUPPORTED_TYPE;
  }
  // The value's own NUL may be missing, or there may be more behind it.
  stored.text.resize(stored.status == ERROR_SUCCESS ? size / sizeof(char16_t) : 0);
  const size_t end = stored.text.find(u'\0');
  if (end != stored.text.npos) stored.text.resize(end);
  return stored;
}

std::u16string Expanded(const std::u16string& text) {
  std::wstring expanded(::ExpandEnvironmentStringsW(Wide(text), nullptr, 0), L'\0');
  const DWORD size =
      ::ExpandEnvironmentStringsW(Wide(text), expanded.data(), static_cast<DWORD>(expanded.size()));
  return size == 0 || size > expanded.size() ? text : FromWide(expanded.c_str());
}

}  // namespace

RegistryText QueryRegistryText(HKEY root, const std::u16string& path, const wchar_t* name,
                               REGSAM view) {
  Stored stored = Query(root, path, name, view);
  return {stored.status, std::move(stored.text)};
}

std::u16string ReadRegistryText(HKEY root, const std::u16string& path, const wchar_t* name,
                                REGSAM view) {
  Stored stored = Query(root, path, name, view);
  return stored.type == REG_EXPAND_SZ ? Expanded(stored.text) : std::move(stored.text);
}

LSTATUS WriteRegistryText(HKEY root, const std::u16string& path, const wchar_t* name,
                          const std::u16string& text, REGSAM view) {
  RegistryKey key;
  const LSTATUS status = ::RegCreateKeyExW(root, Wide(path), 0, nullptr, 0, KEY_SET_VALUE | view,
                                           nullptr, key.Receive(), nullptr);
  if (status != ERROR_SUCCESS) return status;
  return ::RegSetValueExW(key.get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>((text.size() + 1) * sizeof(char16_t)));
}

LSTATUS DeleteRegistryTree(HKEY root, const std::u16string& path, REGSAM view) {
  RegistryKey key;
  LSTATUS status =
      ::RegOpenKeyExW(root, Wide(path), 0, KEY_READ | KEY_WRITE | DELETE | view, key.Receive());
  if (status == ERROR_SUCCESS) status = ::RegDeleteTreeW(key.get(), nullptr);
  key.Reset();
  if (status == ERROR_SUCCESS) status = ::RegDeleteKeyExW(root, Wide(path), view, 0);
  return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
}

}  // namespace pylon
