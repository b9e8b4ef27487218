#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace pylon {

// Changes to the text of a settings file that leave every other line, blank and comment as it is.

using SettingsEntries = std::vector<std::pair<std::u16string, std::u16string>>;

// A new section at the end, set off by an empty line, with the line ends that the text has.
std::u16string WithSection(std::u16string_view text, std::u16string_view section,
                           const SettingsEntries& entries);

// Without the first section of exactly that name: its header and all lines up to the next header,
// except comments that stand right above that one. The same text when there is none.
std::u16string WithoutSection(std::u16string_view text, std::u16string_view section);

}  // namespace pylon
