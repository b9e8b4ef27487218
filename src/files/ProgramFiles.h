#pragma once

#include <string>

#include "base/AnsiCodePage.h"

namespace pylon {

// Where the running program lies, who runs it, and in which code page this PC writes its text.

std::u16string ProgramPath();    // full path of the executable
std::u16string ProgramFolder();  // its folder, without a trailing backslash

// The name of the logged-on user, which is also the device name of a PC; "<unknown>" when the
// system doesn't tell.
std::u16string LoggedOnUser();

// The system's ANSI code page, byte by byte; the lead bytes of a double-byte page, which are no
// characters alone, map to the code points of the same number.
AnsiCodePage SystemAnsiCodePage();

}  // namespace pylon
