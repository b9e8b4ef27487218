#pragma once

#include <string>

#include "base/Win32.h"

namespace pylon {

// Texts of the registry, one call each. For all Windows code, simulators and tests; what installers
// and the device do with keys of their own has classes above.
//
// `path` may be empty, for a value of `root` itself; a null `name` is the key's default value.
// `view` is 0, KEY_WOW64_32KEY or KEY_WOW64_64KEY.

struct RegistryText {
  LSTATUS status = ERROR_SUCCESS;  // ERROR_UNSUPPORTED_TYPE: the value is not a text
  std::u16string text;             // up to the first NUL; empty when `status` is an error
};

// The value as it is stored, without its variables expanded.
RegistryText QueryRegistryText(HKEY root, const std::u16string& path, const wchar_t* name,
                               REGSAM view = 0);

// The value with the variables of a REG_EXPAND_SZ expanded; empty when there is none or it can't be
// read.
std::u16string ReadRegistryText(HKEY root, const std::u16string& path, const wchar_t* name,
                                REGSAM view = 0);

// Creates the key when there is none, and stores a REG_SZ.
LSTATUS WriteRegistryText(HKEY root, const std::u16string& path, const wchar_t* name,
                          const std::u16string& text, REGSAM view = 0);

// Deletes a key and everything below it; no error when there is none.
LSTATUS DeleteRegistryTree(HKEY root, const std::u16string& path, REGSAM view = 0);

}  // namespace pylon
