#include "files/IniText.h"

#include <algorithm>

namespace pylon {
namespace {

bool IsBlank(char16_t c) { return c == u' ' || c == u'\t'; }

bool StaysOneLine(std::u16string_view text) {
  return std::ranges::none_of(text, [](char16_t c) {
    return c == u'\r' || c == u'\n' || c == u'\0' || c == u'\x1A';  // 1A: the end of a text file
  });
}

bool IsName(std::u16string_view text) {
  return !text.empty() && !IsBlank(text.front()) && !IsBlank(text.back()) && StaysOneLine(text);
}

bool IsQuoted(std::u16string_view value) {
  return value.size() >= 2 && (value.front() == u'"' || value.front() == u'\'') &&
         value.front() == value.back();
}

std::u16string_view WithoutOuterBlanks(std::u16string_view value) {
  while (!value.empty() && IsBlank(value.front())) value.remove_prefix(1);
  while (!value.empty() && IsBlank(value.back())) value.remove_suffix(1);
  return value;
}

}  // namespace

bool IsIniSection(std::u16string_view section) {
  return IsName(section) && section.find(u']') == std::u16string_view::npos;
}

bool IsIniKey(std::u16string_view key) {
  return IsName(key) && key.find(u'=') == std::u16string_view::npos && key.front() != u'[' &&
         key.front() != u';';
}

bool IsIniValue(std::u16string_view value) { return StaysOneLine(value); }

std::u16string QuoteIniValue(std::u16string_view value) {
  value = WithoutOuterBlanks(value);
  std::u16string quoted(value);
  if (IsQuoted(value)) quoted = u'"' + quoted + u'"';
  return quoted;
}

std::u16string UnquoteIniValue(std::u16string_view value) {
  value = WithoutOuterBlanks(value);
  if (IsQuoted(value)) value = value.substr(1, value.size() - 2);
  return std::u16string(value);
}

}  // namespace pylon
