#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pylon {

// The arguments that start a sync of a conduit with files on the PC. Nothing for an AppId that no
// argument text can carry: an empty one, one with a double quote, one that begins like a switch.
std::optional<std::u16string> SyncArguments(std::u16string_view app_id);

}  // namespace pylon
