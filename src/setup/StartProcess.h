#pragma once

#include <string>

#include "base/Win32.h"

namespace pylon {

struct StartedProcess {
  KernelHandle process;  // null when it was not started
  DWORD id = 0;
  DWORD error = ERROR_SUCCESS;  // the system's
};

// Starts a program as a process of its own, its window normal and with the focus, and doesn't wait
// for it. `flags` are those of CreateProcess.
//
// The program is what `program`, its full path, names, whatever the command line looks like: a
// blank in it starts nothing else. Empty: the system looks for what the command line begins with.
StartedProcess StartProcess(const std::u16string& program, std::u16string command_line,
                            DWORD flags = 0);

}  // namespace pylon
