#pragma once

#include <string>

#include "base/AnsiCodePage.h"

namespace pylon {

// Where the running program lies and in which code page this PC writes its text.

std::u16string ProgramPath();    // full path of the executable
std::u16string ProgramFolder();  // its folder, without a trailing backslash

// The system's ANSI code page, byte by byte; the lead bytes of a double-byte page, which are no
// characters alone, map to the code points of the same number.
AnsiCodePage SystemAnsiCodePage();

}  // namespace pylon
