#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace pylon {

// The request that the command line makes. README.md lists the switches for users; the setup window
// starts Pylon with the others.
struct ProgramArguments {
  enum class Task {
    kRegister,
    kUnregister,
    kServe,  // COM has started the program
    kInstall,
    kUninstall,
    kSync,
    kGuestMode,  // of ActiveSync, to be changed
    kManage,     // in the setup window
  };

  Task task = Task::kManage;  // the first that is asked for, in that order
  std::u16string app_id;
  std::u16string database;     // see DatabaseType
  std::u16string save_folder;  // as given, may be relative
  std::u16string system;       // installing for one sync system only; empty: for all
  std::u16string guest_mode;   // see GuestModeNamed

  // A whole number of 16 bits; an empty one is dftWindows. Raises error 13 for other text and error
  // 6 for a larger number.
  int16_t DatabaseType() const;
};

// `command_line` is the process's whole command line, the program's own name included.
ProgramArguments ReadArguments(std::u16string_view command_line);

// The lines that explain the command line.
std::u16string UsageText();
// Its lines on the switch Database.
std::u16string DatabaseUsageText();

}  // namespace pylon
