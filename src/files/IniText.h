#pragma once

#include <string>
#include <string_view>

namespace pylon {

// The text that lines of an INI file can hold. Text that breaks these rules would read back
// differently or damage other settings of the file.

bool IsIniSection(std::u16string_view section);  // not empty, no ']' or line break, no outer blank
bool IsIniKey(std::u16string_view key);          // not empty, no '=' or line break, no comment
bool IsIniValue(std::u16string_view value);      // no line break, no NUL

// The profile functions take one pair of quotes off a value when they read it: QuoteIniValue
// gives a value that has a pair of its own another one, UnquoteIniValue takes one pair off.
std::u16string QuoteIniValue(std::u16string_view value);
std::u16string UnquoteIniValue(std::u16string_view value);

}  // namespace pylon
