#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pylon::win {

// Text for the functions of Windows and of other programs that take the system's ANSI code page.
// Nothing for text that the page lacks a character of, never something similar in its place.
std::optional<std::string> ToAnsi(std::u16string_view text);
// A byte that stands for no character becomes what Windows makes of it.
std::u16string FromAnsi(std::string_view ansi);

}  // namespace pylon::win
