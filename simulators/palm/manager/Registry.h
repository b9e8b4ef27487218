#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace palm {

// What HotSync keeps in the registry of the current user, below
// "Software\U.S. Robotics\Pilot Desktop".

// An open key; closed with the object.
class Key {
 public:
  explicit Key(HKEY key = nullptr) noexcept : key_(key) {}
  Key(Key&& other) noexcept : key_(other.key_) { other.key_ = nullptr; }
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;
  ~Key() {
    if (key_) ::RegCloseKey(key_);
  }
  HKEY get() const noexcept { return key_; }
  explicit operator bool() const noexcept { return key_ != nullptr; }

  std::optional<std::string> Text(const char* name) const;
  std::optional<uint32_t> Number(const char* name) const;
  bool SetText(const char* name, const std::string& text) const;
  bool SetNumber(const char* name, uint32_t number) const;

 private:
  HKEY key_;
};

Key OpenDesktop(const std::string& path);    // no key when there is none
Key CreateDesktop(const std::string& path);  // no key when the registry refuses
bool RemoveDesktop(const std::string& path);

std::vector<std::string> Users();
// The folder that HotSync's users and libraries are in; empty when there is none.
std::string HotSyncFolder();

// One conduit: a key "Component<n>", numbered from 0, with holes where one was removed.
struct Component {
  std::string key;
  uint32_t creator = 0;
};
std::vector<Component> Components();  // in the order of their numbers

}  // namespace palm
