#pragma once

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "LinkFaults.h"

// A simulator's INI file, read by a table of its settings.
namespace simulator {

bool EqualIgnoringCase(std::wstring_view a, std::wstring_view b) noexcept;
std::wstring_view Trim(std::wstring_view text);
std::optional<int64_t> ParseNumber(std::wstring_view text);
// The text up to the last blank, and the number behind it.
std::optional<std::pair<std::wstring, int64_t>> ParseNameAndNumber(std::wstring_view text);
// A function's name and, after a blank, which of its calls; the first when there is no number.
std::optional<LostAt> ParseLostAt(std::wstring_view text);

// Puts the value of a setting where it belongs; false when it makes no sense.
template <class S>
using Reader = std::function<bool(const std::wstring& text, S& settings)>;

template <class S>
struct Field {
  const wchar_t* section;
  const wchar_t* key;
  Reader<S> read;
  const wchar_t* expected;  // "this must be ..."
};

// `member` gives the place of a number in the settings.
template <class S, class Member>
Reader<S> Number(Member member, int64_t min, int64_t max) {
  return [=](const std::wstring& text, S& settings) {
    const std::optional<int64_t> number = ParseNumber(text);
    if (!number || *number < min || *number > max) return false;
    auto& place = std::invoke(member, settings);
    using Place = std::remove_reference_t<decltype(place)>;
    if constexpr (std::is_arithmetic_v<Place>) {
      place = static_cast<Place>(*number);
    } else {
      place = static_cast<typename Place::value_type>(*number);
    }
    return true;
  };
}

// One of several words.
template <class S, class T, class Value>
Reader<S> OneOf(T S::*member, std::vector<std::pair<const wchar_t*, Value>> words) {
  return [=](const std::wstring& text, S& settings) {
    const auto found = std::ranges::find_if(
        words, [&](const auto& word) { return EqualIgnoringCase(word.first, text); });
    if (found == words.end()) return false;
    settings.*member = found->second;
    return true;
  };
}

std::vector<std::wstring> SectionsOf(const std::wstring& ini);

// The keys and values of a section, without the blanks around them, without empty lines and
// comments. What can't be one goes to `mistakes`.
using Entries = std::vector<std::pair<std::wstring, std::wstring>>;
Entries ReadSection(const std::wstring& ini, const std::wstring& section,
                    std::vector<std::wstring>& mistakes);

// Reads a section by the table. A key without a value keeps its default.
template <class S>
void ReadSection(const std::wstring& ini, const std::wstring& section,
                 const std::vector<Field<S>>& fields, S& settings,
                 std::vector<std::wstring>& mistakes) {
  const auto is_here = [&](const Field<S>& field) {
    return EqualIgnoringCase(field.section, section);
  };
  if (std::ranges::none_of(fields, is_here)) {
    mistakes.push_back(L"[" + section + L"]: there is no such section");
    return;
  }
  for (const auto& [key, value] : ReadSection(ini, section, mistakes)) {
    const auto field = std::ranges::find_if(fields, [&](const Field<S>& entry) {
      return is_here(entry) && EqualIgnoringCase(entry.key, key);
    });
    if (field == fields.end()) {
      mistakes.push_back(L"[" + section + L"] " + key + L": there is no such setting");
    } else if (!value.empty() && !field->read(value, settings)) {
      mistakes.push_back(L"[" + section + L"] " + key + L"=" + value + L": this must be " +
                         field->expected);
    }
  }
}

}  // namespace simulator
