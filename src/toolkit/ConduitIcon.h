#pragma once

#include <string>

#include "base/Win32.h"

namespace pylon {

// The icon of a conduit, `size` pixels square: "RES:file", in any case, is the first icon embedded
// in that file; any other text is a picture file (.ico, .bmp, .gif, .jpg, .wmf, .emf), fitted into
// the square. An empty text, and one that names no icon or picture, gives the program's own.
Icon ConduitIcon(const std::u16string& text, int size);

// The program's own icon, or the system's for programs when it has none.
Icon ProgramIcon(int size);

}  // namespace pylon
