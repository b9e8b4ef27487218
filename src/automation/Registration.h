#pragma once

#include <string>

#include "automation/TypeLibrary.h"

namespace pylon {

// Where COM finds the program: for every user of the machine, or for one user.
enum class RegistrationScope { kMachine, kUser };

// The machine when this process runs elevated, else the user.
RegistrationScope ScopeOfThisProcess();

// Registers the type library of `types`, which also sets up the marshalling of its interfaces, and
// the creatable classes as served by the program at `program_path`. Clients of either kind use
// them: the 64-bit program registers its second type library for 32-bit clients too, and on 64-bit
// Windows the classes go into both views of the registry. A registration that is there already is
// renewed. Raises the system's error with what was being written.
void RegisterServer(TypeLibrary& types, const std::u16string& program_path,
                    RegistrationScope scope);

// Removes what RegisterServer made. What another copy of the program has registered since stays.
// A missing entry is not an error.
void UnregisterServer(TypeLibrary& types, const std::u16string& program_path,
                      RegistrationScope scope);

}  // namespace pylon
