#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pylon {

// Windows file names as text: nothing here looks at a disk.

struct SplitName {
  std::u16string folder;  // with its trailing separator; empty when the text holds none
  std::u16string name;
};

// Splits behind the last backslash or forward slash.
SplitName SplitFullName(std::u16string_view full_name);
// Always puts a backslash between: a folder that ends in one gets a second, which Windows accepts.
std::u16string JoinFullName(std::u16string_view folder, std::u16string_view name);

std::u16string_view NameWithoutExtension(std::u16string_view name);  // up to the last point
std::u16string_view ExtensionOf(std::u16string_view name);           // after it, or empty
// The extension may come with its point; an empty one takes the point away too.
std::u16string ReplaceExtension(std::u16string_view name, std::u16string_view extension);

// The suffix of a file that will take the place of another, until then.
inline constexpr std::u16string_view kReplacementSuffix = u".new";
std::u16string_view NameWithoutSuffix(std::u16string_view name);

// Whether a path means something else in another current folder. One with a drive but no separator
// behind it ("C:x") does too, but names its place clearly enough to be left alone: false.
bool IsRelative(std::u16string_view path);

// The folders to create, outermost first, each with a trailing backslash, for `path` to exist. A
// drive and the server and share of a UNC name exist already or can't be created.
std::vector<std::u16string> FolderLevels(std::u16string_view path);

// A path on a handheld, which has one root and no current folder: a separator in front, single ones
// between, none at the end. Windows CE would take doubled ones for a network name.
std::u16string DevicePath(std::u16string_view path);

// Makes one component of a path out of any text, such as a device's name: what Windows forbids in
// a name becomes '_', and a name that would be a DOS device gets one in front. A text that is a
// good name stays as it is.
std::u16string FolderName(std::u16string_view text);

}  // namespace pylon
