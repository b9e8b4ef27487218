#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "appforge/UserSettings.h"

namespace pylon {

// The settings store that Basic programs use, so that each finds what the other has saved: the
// texts (REG_SZ) of the registry key
//
//   HKEY_CURRENT_USER\Software\VB and VBA Program Settings\application\section
//
// Names ignore case; a backslash makes a key within a key. An unexpanded REG_EXPAND_SZ counts as
// text too. Deleting leaves a section behind, empty or not.
class RegistryUserSettings final : public UserSettings {
 public:
  std::optional<std::u16string> Read(std::u16string_view application, std::u16string_view section,
                                     std::u16string_view key) override;
  void Write(std::u16string_view application, std::u16string_view section, std::u16string_view key,
             std::u16string_view value) override;
  bool Delete(std::u16string_view application, std::u16string_view section,
              std::u16string_view key) override;
};

}  // namespace pylon
