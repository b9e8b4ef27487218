#include "files/FileNames.h"

#include <algorithm>
#include <array>

#include "base/Text.h"

namespace pylon {
namespace {

constexpr std::u16string_view kSeparators = u"\\/";

bool IsForbidden(char16_t c) {
  return c < u' ' || std::u16string_view(u"<>:\"/\\|?*").find(c) != std::u16string_view::npos;
}

// Windows takes these for devices in every folder, whatever extension they have.
bool IsDosDevice(std::u16string_view name) {
  const std::u16string stem = ToLower(Trim(name.substr(0, name.find(u'.'))));
  constexpr std::array<std::u16string_view, 6> kDevices = {u"con", u"prn",    u"aux",
                                                           u"nul", u"conin$", u"conout$"};
  if (std::ranges::find(kDevices, stem) != kDevices.end()) return true;
  return stem.size() == 4 && (stem.starts_with(u"com") || stem.starts_with(u"lpt")) &&
         std::u16string_view(u"0123456789\u00B9\u00B2\u00B3").find(stem[3]) !=
             std::u16string_view::npos;
}

}  // namespace

SplitName SplitFullName(std::u16string_view full_name) {
  const size_t separator = full_name.find_last_of(kSeparators);
  const size_t name = separator == std::u16string_view::npos ? 0 : separator + 1;
  return {std::u16string(full_name.substr(0, name)), std::u16string(full_name.substr(name))};
}

std::u16string JoinFullName(std::u16string_view folder, std::u16string_view name) {
  std::u16string full_name(folder);
  full_name += u'\\';
  full_name += name;
  return full_name;
}

std::u16string_view NameWithoutExtension(std::u16string_view name) {
  return name.substr(0, name.rfind(u'.'));
}

std::u16string_view ExtensionOf(std::u16string_view name) {
  const size_t point = name.rfind(u'.');
  return point == std::u16string_view::npos ? std::u16string_view() : name.substr(point + 1);
}

std::u16string ReplaceExtension(std::u16string_view name, std::u16string_view extension) {
  if (extension.starts_with(u'.')) extension.remove_prefix(1);
  std::u16string replaced(NameWithoutExtension(name));
  if (!extension.empty()) {
    replaced += u'.';
    replaced += extension;
  }
  return replaced;
}

std::u16string_view NameWithoutSuffix(std::u16string_view name) {
  if (name.ends_with(kReplacementSuffix)) name.remove_suffix(kReplacementSuffix.size());
  return name;
}

bool IsRelative(std::u16string_view path) {
  if (!path.empty() && kSeparators.find(path.front()) != std::u16string_view::npos) return false;
  return path.size() < 2 || path[1] != u':';
}

std::vector<std::u16string> FolderLevels(std::u16string_view path) {
  std::u16string whole(path);
  std::ranges::replace(whole, u'/', u'\\');
  if (!whole.empty() && !whole.ends_with(u'\\')) whole += u'\\';

  size_t start = 0;  // of the part to take next; everything before it stands already
  if (whole.starts_with(u"\\\\")) {
    start = 2;
    for (int part = 0; part < 2 && start != 0; ++part) start = whole.find(u'\\', start) + 1;
    if (start == 0) return {};
  } else if (const size_t end = whole.find(u'\\'); end == 0 || whole.find(u':') < end) {
    start = end + 1;
  }

  std::vector<std::u16string> levels;
  while (start < whole.size()) {
    const size_t end = whole.find(u'\\', start) + 1;
    if (end > start + 1) levels.push_back(whole.substr(0, end));
    start = end;
  }
  return levels;
}

std::u16string DevicePath(std::u16string_view path) {
  std::u16string device_path;
  while (!path.empty()) {
    const std::u16string_view part = path.substr(0, path.find_first_of(kSeparators));
    path.remove_prefix(std::min(part.size() + 1, path.size()));
    if (!part.empty()) (device_path += u'\\') += part;
  }
  return device_path.empty() ? u"\\" : device_path;
}

std::u16string FolderName(std::u16string_view text) {
  std::u16string name(text);
  std::ranges::replace_if(name, IsForbidden, u'_');
  for (size_t i = name.size(); i > 0 && (name[i - 1] == u'.' || name[i - 1] == u' '); --i) {
    name[i - 1] = u'_';
  }
  if (name.empty() || IsDosDevice(name)) name.insert(0, 1, u'_');
  return name;
}

}  // namespace pylon
