#pragma once

#include <string_view>

#include "files/cFileIO.h"

namespace pylon {

// For files that several processes of this program use for a moment each.
enum class WhenHeld { kWait, kFail };

// Opens the file that the object names. One that another process holds is waited for, half a second
// at most.
bool OpenAwaited(cFileIO& file, std::u16string_view read_write, WhenHeld when_held);

}  // namespace pylon
