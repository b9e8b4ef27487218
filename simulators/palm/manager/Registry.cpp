#include "Registry.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace palm {
namespace {

constexpr char kRoot[] = "Software\\U.S. Robotics\\Pilot Desktop\\";
constexpr std::string_view kComponent = "Component";
constexpr DWORD kMaxKeyName = 256;

std::vector<std::string> SubKeys(HKEY key) {
  std::vector<std::string> names;
  for (DWORD i = 0;; ++i) {
    char name[kMaxKeyName] = "";
    DWORD size = kMaxKeyName;
    const LSTATUS status = ::RegEnumKeyExA(key, i, name, &size, nullptr, nullptr, nullptr, nullptr);
    if (status != ERROR_SUCCESS) return names;
    names.emplace_back(name, size);
  }
}

std::optional<unsigned> ComponentNumber(std::string_view key) {
  if (!key.starts_with(kComponent)) return std::nullopt;
  key.remove_prefix(kComponent.size());
  unsigned number = 0;
  const auto [end, status] = std::from_chars(key.data(), key.data() + key.size(), number);
  if (status != std::errc() || end != key.data() + key.size()) return std::nullopt;
  return number;
}

}  // namespace

std::optional<std::string> Key::Text(const char* name) const {
  std::string text(256, '\0');
  DWORD size = 0;
  LSTATUS status = ERROR_MORE_DATA;
  while (status == ERROR_MORE_DATA) {
    text.resize(2 * text.size());
    size = static_cast<DWORD>(text.size());
    status = ::RegGetValueA(key_, nullptr, name, RRF_RT_REG_SZ, nullptr, text.data(), &size);
  }
  if (status != ERROR_SUCCESS) return std::nullopt;
  return text.substr(0, text.find('\0'));
}

std::optional<uint32_t> Key::Number(const char* name) const {
  DWORD number = 0;
  DWORD size = sizeof(number);
  const LSTATUS status =
      ::RegGetValueA(key_, nullptr, name, RRF_RT_REG_DWORD, nullptr, &number, &size);
  if (status != ERROR_SUCCESS) return std::nullopt;
  return number;
}

bool Key::SetText(const char* name, const std::string& text) const {
  return ::RegSetValueExA(key_, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>(text.size() + 1)) == ERROR_SUCCESS;
}

bool Key::SetNumber(const char* name, uint32_t number) const {
  const DWORD value = number;
  return ::RegSetValueExA(key_, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                          sizeof(value)) == ERROR_SUCCESS;
}

Key OpenDesktop(const std::string& path) {
  HKEY key = nullptr;
  ::RegOpenKeyExA(HKEY_CURRENT_USER, (kRoot + path).c_str(), 0, KEY_ALL_ACCESS, &key);
  return Key(key);
}

Key CreateDesktop(const std::string& path) {
  HKEY key = nullptr;
  ::RegCreateKeyExA(HKEY_CURRENT_USER, (kRoot + path).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                    nullptr, &key, nullptr);
  return Key(key);
}

bool RemoveDesktop(const std::string& path) {
  return ::RegDeleteTreeA(HKEY_CURRENT_USER, (kRoot + path).c_str()) == ERROR_SUCCESS;
}

std::vector<std::string> Users() {
  const Key users = OpenDesktop("Users");
  return users ? SubKeys(users.get()) : std::vector<std::string>();
}

std::string HotSyncFolder() {
  const Key core = OpenDesktop("Core");
  std::string folder = core ? core.Text("Path").value_or("") : "";
  while (folder.ends_with('\\')) folder.pop_back();
  return folder;
}

std::vector<Component> Components() {
  const Key root = OpenDesktop("");
  std::vector<std::pair<unsigned, Component>> found;
  for (const std::string& name : root ? SubKeys(root.get()) : std::vector<std::string>()) {
    const auto number = ComponentNumber(name);
    const auto creator = number ? OpenDesktop(name).Number("Creator") : std::nullopt;
    if (creator) found.push_back({*number, {name, *creator}});
  }
  std::ranges::sort(found, {}, [](const auto& entry) { return entry.first; });
  std::vector<Component> components;
  for (auto& entry : found) components.push_back(std::move(entry.second));
  return components;
}

}  // namespace palm
