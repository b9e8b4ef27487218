#include "DevicePath.h"

#include <windows.h>

#include <algorithm>
#include <cwchar>

#include "Errors.h"

namespace pocketpc {
namespace {

int Compare(std::wstring_view a, std::wstring_view b) noexcept {
  return ::CompareStringOrdinal(a.data(), static_cast<int>(a.size()), b.data(),
                                static_cast<int>(b.size()), TRUE);
}

// Names that mean a device of the PC, with any extension.
bool IsReserved(std::wstring_view name) {
  std::wstring_view stem = name.substr(0, name.find(L'.'));
  while (stem.ends_with(L' ')) stem.remove_suffix(1);
  for (const wchar_t* reserved : {L"CON", L"PRN", L"AUX", L"NUL"}) {
    if (EqualIgnoringCase(stem, reserved)) return true;
  }
  return stem.size() == 4 && stem[3] >= L'0' && stem[3] <= L'9' &&
         (EqualIgnoringCase(stem.substr(0, 3), L"COM") ||
          EqualIgnoringCase(stem.substr(0, 3), L"LPT"));
}

void CheckName(std::wstring_view name, bool pattern) {
  const std::wstring_view illegal = pattern ? L"/:<>|\"" : L"/:<>|\"*?";
  const bool legal = std::ranges::all_of(
      name, [&](wchar_t c) { return c >= L' ' && illegal.find(c) == illegal.npos; });
  // Windows drops dots and blanks at the end, which makes another name, or the folder above.
  Check(legal && !name.ends_with(L' ') && !name.ends_with(L'.') && !IsReserved(name),
        ERROR_INVALID_NAME);
}

}  // namespace

bool LessIgnoringCase::operator()(std::wstring_view a, std::wstring_view b) const noexcept {
  return Compare(a, b) == CSTR_LESS_THAN;
}

std::wstring CleanDevicePath(const wchar_t* path, bool pattern) {
  Check(path != nullptr, ERROR_INVALID_PARAMETER);
  std::wstring_view rest = path;
  Check(rest.size() < MAX_PATH, ERROR_FILENAME_EXCED_RANGE);
  Check(rest.starts_with(L'\\'), ERROR_INVALID_NAME);
  Check(!rest.starts_with(L"\\\\"), ERROR_BAD_NETPATH);

  std::wstring clean;
  while (!rest.empty()) {
    rest.remove_prefix(1);
    const std::wstring_view name = rest.substr(0, rest.find(L'\\'));
    rest.remove_prefix(name.size());
    if (name.empty()) continue;
    CheckName(name, pattern && rest.empty());
    clean.append(L"\\").append(name);
  }
  if (clean.empty()) clean = L"\\";
  return clean;
}

bool MatchesPattern(std::wstring_view name, std::wstring_view pattern) {
  if (pattern == L"*.*") return true;
  size_t at = 0;
  size_t in_pattern = 0;
  size_t star = pattern.npos;  // the last "*" passed
  size_t star_at = 0;          // where what it stands for ends in the name
  while (at < name.size()) {
    if (in_pattern < pattern.size() && pattern[in_pattern] == L'*') {
      star = in_pattern++;
      star_at = at;
    } else if (in_pattern < pattern.size() &&
               (pattern[in_pattern] == L'?' ||
                EqualIgnoringCase(name.substr(at, 1), pattern.substr(in_pattern, 1)))) {
      ++in_pattern;
      ++at;
    } else if (star != pattern.npos) {
      in_pattern = star + 1;
      at = ++star_at;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of(L'*', in_pattern) == pattern.npos;
}

std::wstring VerbatimPath(const std::wstring& path) {
  if (path.starts_with(L"\\\\?\\")) return path;
  if (path.starts_with(L"\\\\")) return L"\\\\?\\UNC" + path.substr(1);
  return L"\\\\?\\" + path;
}

std::wstring FullPath(const std::wstring& path, const std::wstring& folder) {
  const bool absolute =
      path.starts_with(L'\\') || path.starts_with(L'/') || (path.size() > 1 && path[1] == L':');
  const std::wstring joined = absolute ? path : folder + L"\\" + path;
  std::wstring full(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length =
        ::GetFullPathNameW(joined.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    CheckWindows(length != 0);
    const bool whole = length < full.size();
    full.resize(length);
    if (whole) break;
  }
  if (full.size() > 3 && full.ends_with(L'\\')) full.pop_back();
  return full;
}

std::wstring FolderOf(const std::wstring& path) {
  const size_t backslash = path.rfind(L'\\');
  return backslash == path.npos ? std::wstring() : path.substr(0, backslash);
}

}  // namespace pocketpc
