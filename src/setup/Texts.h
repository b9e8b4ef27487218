#pragma once

#include <string>

#include "setup/Phrase.h"

namespace pylon {

// Texts of this program's string table. A number that the table lacks gives an empty text.
std::u16string LoadText(int id);
std::u16string LoadText(int id, std::u16string_view detail);  // in place of "%1"
std::u16string LoadText(const Phrase& phrase);

}  // namespace pylon
