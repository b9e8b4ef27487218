#pragma once

#include <functional>
#include <string>

#include "base/Win32.h"

namespace pylon {

// Starting another program and waiting for its end while the windows of this thread stay alive.

enum class WaitEnd {
  kEnded,       // `code` is its exit code
  kTimedOut,    // it runs on
  kStopped,     // by the yield function; it runs on
  kNotStarted,  // `code` is the system's error
  kNoProcess,   // a program that ran already took the document: there is nothing to wait for
};
struct WaitResult {
  WaitEnd end = WaitEnd::kNotStarted;
  DWORD code = 0;
};

// Takes the messages that wait; false ends the wait. Called a few times a second at least.
using WaitYield = std::function<bool()>;
// The yield of who has no windows of its own kind. A WM_QUIT ends the wait and stays in the queue.
bool DispatchWaiting();

// Starts a command line that names an .exe file as a program, its window normal and with the focus;
// hands any other to the shell with the verb, so that a document opens in its program. Then waits:
// a time-out in seconds, 0 or less for as long as it takes.
WaitResult ShellandWait(std::u16string command_line, int timeout_seconds,
                        const std::u16string& verb, const WaitYield& yield = DispatchWaiting);

// By the shell's verb; "runas" asks the user for the rights of an administrator. Waits like
// ShellandWait. `owner` may be null.
WaitResult ShellVerbAndWait(HWND owner, const std::u16string& file,
                            const std::u16string& parameters, const std::u16string& verb,
                            int timeout_seconds, const WaitYield& yield = DispatchWaiting);

// The program is what its full path says; one of the console gets none. `on_start` gets the process
// id before the wait.
WaitResult ProgramAndWait(const std::u16string& program, std::u16string command_line,
                          const WaitYield& yield, const std::function<void(DWORD)>& on_start = {});

}  // namespace pylon
