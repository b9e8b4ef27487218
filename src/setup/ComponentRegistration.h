#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pylon {

// The program that registers a component file with Windows, and its arguments: a DLL registers
// itself by the system's own tool in a process of its own, so that one which crashes harms nobody;
// an EXE is started with /regserver. Nothing for a file of another kind. `system_folder`: where
// regsvr32.exe of this program's kind, 32- or 64-bit, lies.
struct RegistrationCommand {
  std::u16string program;
  std::u16string arguments;
};
std::optional<RegistrationCommand> CommandToRegister(std::u16string_view file,
                                                     std::u16string_view system_folder);

// The file that a registered server's text names: without quotes and arguments.
std::u16string ServerFile(std::u16string_view registered);

// Class names (ProgIDs) of this PC, sorted; those of one component file, in both places where a
// class may be registered; all that have a server.
std::vector<std::u16string> ClassNamesOf(const std::u16string& file);
std::vector<std::u16string> AllClassNames();

}  // namespace pylon
