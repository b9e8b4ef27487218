#pragma once

#include <string>

#include "base/Win32.h"

namespace pylon {

// The system's words for an error number or an HRESULT, without the line end; empty when it has
// none. For all Windows code, simulators and tests.
std::u16string SystemMessage(DWORD code);
inline std::u16string SystemMessage(HRESULT result) {
  return SystemMessage(static_cast<DWORD>(result));
}

// The same in one line with the number, for a message to the user: "Access denied. (5)".
std::u16string SystemReason(DWORD code);

}  // namespace pylon
