#pragma once

#include <string>
#include <string_view>

#include "../common/SettingsFile.h"

namespace pocketpc {

// Ignores case as file systems do: without regard to the language.
struct LessIgnoringCase {
  using is_transparent = void;
  bool operator()(std::wstring_view a, std::wstring_view b) const noexcept;
};
using simulator::EqualIgnoringCase;

// The device path without doubled and trailing backslashes; "\" is the device's root. Throws
// DeviceError when it is null, doesn't begin with a backslash, or names what no file on the device
// can be: above all a place outside the device's folder. In a pattern the last name may hold "*"
// and
// "?".
std::wstring CleanDevicePath(const wchar_t* path, bool pattern = false);

// Whether "*" (any text) and "?" (any character) in the pattern make the name; "*.*" is any name.
bool MatchesPattern(std::wstring_view name, std::wstring_view pattern);

// A full path of the PC in the form that Windows takes as it is, whatever its length and names.
std::wstring VerbatimPath(const std::wstring& path);

// Full path of a path that starts, when relative, at the folder.
std::wstring FullPath(const std::wstring& path, const std::wstring& folder);

// Without the backslash; empty for a path without one.
std::wstring FolderOf(const std::wstring& path);

}  // namespace pocketpc
