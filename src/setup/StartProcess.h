#pragma once

#include <string>

namespace pylon {

// Starts a program as a process of its own, its window normal and with the focus, and doesn't wait
// for it. 0 or the system's error.
//
// The program is what `program`, its full path, names, whatever the command line looks like: a
// blank in it starts nothing else.
unsigned long StartProcess(const std::u16string& program, std::u16string command_line);

}  // namespace pylon
