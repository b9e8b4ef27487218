#include "ConduitRegistry.h"

#include <algorithm>
#include <cwchar>
#include <utility>

#include "SuiteError.h"
#include "base/AnsiCodePage.h"
#include "base/Com.h"
#include "base/Registry.h"
#include "base/SystemMessage.h"
#include "base/Text.h"
#include "base/Win32.h"

namespace pylon::palm {
namespace {

constexpr wchar_t kMaker[] = L"Software\\U.S. Robotics";
constexpr wchar_t kDesktop[] = L"Software\\U.S. Robotics\\Pilot Desktop";
constexpr std::wstring_view kComponent = L"Component";

RegistryKey Open(HKEY parent, const wchar_t* path, REGSAM access = KEY_READ) {
  RegistryKey key;
  ::RegOpenKeyExW(parent, path, 0, access, key.Receive());
  return key;
}

std::u16string ReadText(HKEY key, const wchar_t* name) { return ReadRegistryText(key, {}, name); }

std::optional<uint32_t> ReadNumber(HKEY key, const wchar_t* name) {
  DWORD value = 0;
  DWORD size = sizeof(value);
  if (::RegGetValueW(key, nullptr, name, RRF_RT_REG_DWORD, nullptr, &value, &size) !=
      ERROR_SUCCESS) {
    return std::nullopt;
  }
  return value;
}

void DeleteIfEmpty(const wchar_t* path) {
  const RegistryKey key = Open(HKEY_CURRENT_USER, path);
  DWORD keys = 0;
  DWORD values = 0;
  if (::RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values,
                         nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
    return;
  }
  if (keys + values == 0) ::RegDeleteKeyW(HKEY_CURRENT_USER, path);
}

void CheckRegistry(LSTATUS status) {
  if (status == ERROR_SUCCESS) return;
  const HRESULT result = HRESULT_FROM_WIN32(static_cast<DWORD>(status));
  throw SuiteError{static_cast<uint32_t>(result),
                   u"HotSync's registry key: " + SystemMessage(result)};
}

// The names of the components' keys, by number.
std::vector<std::wstring> ComponentKeys(HKEY desktop) {
  std::vector<std::pair<long, std::wstring>> found;
  wchar_t name[256];
  for (DWORD i = 0;; ++i) {
    DWORD length = std::size(name);
    if (::RegEnumKeyExW(desktop, i, name, &length, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      break;
    }
    const std::wstring text(name, length);
    if (!EqualsIgnoringCase(FromWide(text.substr(0, kComponent.size())), u"Component")) continue;
    found.emplace_back(std::wcstol(text.c_str() + kComponent.size(), nullptr, 10), text);
  }
  std::ranges::sort(found);
  std::vector<std::wstring> names;
  for (auto& [number, text] : found) names.push_back(std::move(text));
  return names;
}

void WriteText(HKEY key, const wchar_t* name, const std::u16string& value) {
  CheckRegistry(WriteRegistryText(key, {}, name, value));
}

void WriteNumber(HKEY key, const wchar_t* name, DWORD value) {
  CheckRegistry(::RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                                 sizeof(value)));
}

}  // namespace

std::u16string Conduit::Label() const {
  if (!title.empty()) return title;
  return name.empty() ? CreatorText(creator) : name;
}

std::vector<Conduit> RegisteredConduits() {
  std::vector<Conduit> conduits;
  const RegistryKey desktop = Open(HKEY_CURRENT_USER, kDesktop);
  if (!desktop) return conduits;
  for (const std::wstring& name : ComponentKeys(desktop.get())) {
    const RegistryKey key = Open(desktop.get(), name.c_str());
    if (!key) continue;
    const auto creator = ReadNumber(key.get(), L"Creator");
    if (!creator) continue;
    conduits.push_back({.creator = *creator,
                        .name = ReadText(key.get(), L"Name"),
                        .title = ReadText(key.get(), L"Title"),
                        .directory = ReadText(key.get(), L"Directory"),
                        .com_client = ReadText(key.get(), L"COMClient"),
                        .priority = ReadNumber(key.get(), L"Priority").value_or(2)});
  }
  std::ranges::stable_sort(conduits, {}, &Conduit::priority);
  return conduits;
}

std::optional<Conduit> FindConduit(uint32_t creator) {
  for (Conduit& conduit : RegisteredConduits()) {
    if (conduit.creator == creator) return std::move(conduit);
  }
  return std::nullopt;
}

void AddConduit(const Conduit& conduit) {
  if (const auto other = FindConduit(conduit.creator)) {
    throw SuiteError{kExists, u"The creator " + CreatorText(conduit.creator) +
                                  u" has the conduit " + other->Label() + u" already"};
  }
  RegistryKey desktop;
  CheckRegistry(::RegCreateKeyExW(HKEY_CURRENT_USER, kDesktop, 0, nullptr, 0, KEY_READ | KEY_WRITE,
                                  nullptr, desktop.Receive(), nullptr));
  RegistryKey key;
  for (int64_t number = 0; !key; ++number) {
    const std::u16string name = u"Component" + ToText(number);
    DWORD disposition = 0;
    CheckRegistry(::RegCreateKeyExW(desktop.get(), Wide(name), 0, nullptr, 0, KEY_WRITE, nullptr,
                                    key.Receive(), &disposition));
    if (disposition == REG_OPENED_EXISTING_KEY) key.Reset();
  }
  WriteNumber(key.get(), L"Creator", conduit.creator);
  WriteNumber(key.get(), L"Priority", conduit.priority);
  WriteText(key.get(), L"Conduit", u"COMConduit.dll");
  WriteText(key.get(), L"Name", conduit.name);
  WriteText(key.get(), L"Title", conduit.title);
  WriteText(key.get(), L"Directory", conduit.directory);
  WriteText(key.get(), L"COMClient", conduit.com_client);
}

bool RemoveConduit(uint32_t creator) {
  RegistryKey desktop = Open(HKEY_CURRENT_USER, kDesktop, KEY_READ | KEY_WRITE);
  if (!desktop) return false;
  for (const std::wstring& name : ComponentKeys(desktop.get())) {
    RegistryKey key = Open(desktop.get(), name.c_str());
    if (!key || ReadNumber(key.get(), L"Creator") != creator) continue;
    key.Reset();
    CheckRegistry(::RegDeleteTreeW(desktop.get(), name.c_str()));
    desktop.Reset();
    // A PC that had no HotSync looks like it again.
    for (const wchar_t* const path : {kDesktop, kMaker}) DeleteIfEmpty(path);
    return true;
  }
  return false;
}

std::u16string HotSyncFolder() {
  const RegistryKey desktop = Open(HKEY_CURRENT_USER, kDesktop);
  const RegistryKey core = desktop ? Open(desktop.get(), L"Core") : RegistryKey();
  std::u16string path = core ? ReadText(core.get(), L"Path") : std::u16string();
  while (!path.empty() && path.back() == u'\\') path.pop_back();
  return path;
}

std::optional<uint32_t> ParseCreator(std::u16string_view text) {
  const AnsiCodePage& code_page = AnsiCodePage::Windows1252();
  if (text.size() != 4 || !code_page.Holds(text)) return std::nullopt;
  uint32_t creator = 0;
  for (const char16_t c : text) creator = creator << 8 | code_page.Encode(c);
  return creator;
}

std::u16string CreatorText(uint32_t creator) {
  std::u16string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    text += AnsiCodePage::Windows1252().Decode(static_cast<uint8_t>(creator >> shift));
  }
  return text;
}

}  // namespace pylon::palm
