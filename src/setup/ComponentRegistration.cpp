#include "setup/ComponentRegistration.h"

#include <algorithm>

#include "base/Registry.h"
#include "base/Text.h"
#include "base/Win32.h"
#include "files/WindowsFile.h"

namespace pylon {
namespace {

constexpr const wchar_t* kServers[] = {L"InprocServer32", L"LocalServer32"};

RegistryKey OpenForReading(HKEY parent, const wchar_t* path) noexcept {
  RegistryKey key;
  ::RegOpenKeyExW(parent, path, 0, KEY_READ, key.Receive());
  return key;
}

// The unnamed value of a subkey; empty when there is none.
std::u16string DefaultOf(HKEY parent, const std::wstring& path) {
  return ReadRegistryText(parent, FromWide(path), nullptr);
}

template <class Visit>
void ForEachSubkey(HKEY key, Visit&& visit) {
  wchar_t name[256];
  for (DWORD index = 0;; ++index) {
    DWORD length = 256;
    const LSTATUS status =
        ::RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
    if (status != ERROR_SUCCESS) return;  // there are no more, or the key is gone
    visit(std::wstring(name, length));
  }
}

void SortOut(std::vector<std::u16string>& names) {
  std::ranges::sort(names);
  const auto same = std::ranges::unique(names);
  names.erase(same.begin(), same.end());
}

bool IsSameFile(const std::u16string& registered, const std::u16string& file) {
  const std::u16string server = ServerFile(registered);
  if (server.empty()) return false;
  if (win::EqualPaths(server, file)) return true;
  wchar_t full[1024];  // some servers register a short name
  const DWORD length = ::GetLongPathNameW(Wide(server), full, 1024);
  return length > 0 && length < 1024 && win::EqualPaths(FromWide(full), file);
}

}  // namespace

std::vector<std::u16string> ClassNamesOf(const std::u16string& file) {
  std::vector<std::u16string> names;
  const RegistryKey classes = OpenForReading(HKEY_CLASSES_ROOT, L"CLSID");
  if (!classes) return names;
  ForEachSubkey(classes.get(), [&](const std::wstring& id) {
    const bool served = std::ranges::any_of(kServers, [&](const wchar_t* server) {
      return IsSameFile(DefaultOf(classes.get(), id + L"\\" + server), file);
    });
    if (!served) return;
    std::u16string name = DefaultOf(classes.get(), id + L"\\VersionIndependentProgID");
    if (name.empty()) name = DefaultOf(classes.get(), id + L"\\ProgID");
    if (!name.empty()) names.push_back(std::move(name));
  });
  SortOut(names);
  return names;
}

std::vector<std::u16string> AllClassNames() {
  std::vector<std::u16string> names;
  ForEachSubkey(HKEY_CLASSES_ROOT, [&](const std::wstring& name) {
    if (name.find(L'.') == std::wstring::npos || name.starts_with(L'.')) return;
    const std::u16string id = DefaultOf(HKEY_CLASSES_ROOT, name + L"\\CLSID");
    if (id.empty()) return;
    const bool served = std::ranges::any_of(kServers, [&](const wchar_t* server) {
      return OpenForReading(HKEY_CLASSES_ROOT,
                            (L"CLSID\\" + std::wstring(Wide(id)) + L"\\" + server).c_str())
                 .get() != nullptr;
    });
    if (served) names.push_back(FromWide(name));
  });
  SortOut(names);
  return names;
}

}  // namespace pylon
