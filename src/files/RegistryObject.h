#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "base/Bytes.h"
#include "base/TaggedValue.h"
#include "base/Win32.h"

namespace pylon {

// A value of the registry: one value, the texts of a multi-text, or bytes. Made without arguments
// it is empty.
using RegistryValue = std::variant<TaggedValue, std::vector<std::u16string>, Bytes>;

// The empty value and the empty text, which both stand for a value that nobody has set.
bool IsEmpty(const RegistryValue& value) noexcept;
// The text that the value is; empty when it is none.
std::u16string TextIn(const RegistryValue& value);

// The registry of this PC. Keys are plain handles, which the caller closes; see OpenRegistryKey.
//
// Names and texts go through the system's code page. What it lacks is refused, never replaced by
// something similar, which could be the name of another value. Nothing here raises an error for
// what the registry refuses: a status is one of Windows, 0 for success.
class RegistryObject {
 public:
  // An HKEY as a number. Wide enough for 64-bit programs; 32 bits of it carry a sign and the value
  // everywhere, the root keys included.
  using KeyHandle = intptr_t;
  static constexpr KeyHandle kNoKey = -1;
  static constexpr KeyHandle kCurrentUser = static_cast<int32_t>(0x80000001);
  static constexpr KeyHandle kLocalMachine = static_cast<int32_t>(0x80000002);

  // Creates the key when it is missing, even to be only read. kNoKey when it can't be opened.
  static KeyHandle OpenKey(KeyHandle parent, std::u16string_view path, bool read_only);
  static void CloseKey(KeyHandle key) noexcept;

  // A text without its NUL, a multi-text, a 32-bit number, or bytes; 4, 2 and 1 bytes are a number
  // of 32 or 16 bits and a byte. Other types read as text. A missing value and one of no bytes
  // become the default, which is stored unless it is empty.
  static RegistryValue GetValue(KeyHandle key, std::u16string_view name,
                                const RegistryValue& default_value = {});
  // Each text of a multi-text ends with a NUL, the whole with one more; either of the last two may
  // be missing.
  static std::vector<std::u16string> GetMultiSZ(std::u16string_view raw);
  static std::u16string ToMultiSZ(const std::vector<std::u16string>& texts);
  // Texts are stored as text, several as a multi-text, 16- and 32-bit numbers as a 32-bit number,
  // a byte and a boolean (1 or 0) as one byte, everything else as the text that the user's settings
  // give it. Bytes are an array like any other: a multi-text of their numbers.
  static int32_t SetValue(KeyHandle key, std::u16string_view name, const RegistryValue& value);
  static int32_t DeleteValue(KeyHandle key, std::u16string_view name);
  static int32_t DeleteKey(KeyHandle parent, std::u16string_view name);  // one without subkeys

  // Whether the system's code page has all its characters.
  static bool CanStore(std::u16string_view text);
};

using OpenRegistryKey =
    UniqueHandle<RegistryObject::KeyHandle, &RegistryObject::CloseKey, RegistryObject::kNoKey>;

}  // namespace pylon
