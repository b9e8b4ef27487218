#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace pylon {

// UTF-16 helpers that depend on no locale, so that a switch or an AppId means the same on every
// machine: letters fold one to one in the Latin-1, Greek and Cyrillic blocks only.

std::string ToUtf8(std::u16string_view text);     // a lone surrogate becomes U+FFFD
std::u16string FromUtf8(std::string_view text);   // an invalid byte becomes U+FFFD
std::u16string FromAscii(std::string_view text);  // bytes 0 to 127
std::u16string ToText(int64_t number);            // decimal

char16_t ToLower(char16_t c) noexcept;
char16_t ToUpper(char16_t c) noexcept;
std::u16string ToLower(std::u16string_view text);
bool EqualsIgnoringCase(std::u16string_view a, std::u16string_view b) noexcept;
std::u16string_view Trim(std::u16string_view text) noexcept;  // blanks only

}  // namespace pylon
