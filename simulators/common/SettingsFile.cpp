#include "SettingsFile.h"

#include <cerrno>
#include <cwchar>

namespace simulator {
namespace {

// The texts that Get(buffer, size) writes, each ended by NUL, the last by two. Get returns size - 2
// when they don't fit.
template <class Get>
std::vector<std::wstring> ReadTexts(Get get) {
  std::wstring buffer(4096, L'\0');
  DWORD length = 0;
  while ((length = get(buffer.data(), static_cast<DWORD>(buffer.size()))) >= buffer.size() - 2) {
    buffer.resize(2 * buffer.size());
  }
  std::vector<std::wstring> texts;
  for (const wchar_t* at = buffer.c_str(); at < buffer.data() + length && *at;) {
    texts.emplace_back(at);
    at += texts.back().size() + 1;
  }
  return texts;
}

}  // namespace

bool EqualIgnoringCase(std::wstring_view a, std::wstring_view b) noexcept {
  return ::CompareStringOrdinal(a.data(), static_cast<int>(a.size()), b.data(),
                                static_cast<int>(b.size()), TRUE) == CSTR_EQUAL;
}

std::wstring_view Trim(std::wstring_view text) {
  const size_t first = text.find_first_not_of(L" \t");
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(L" \t") - first + 1);
}

std::optional<int64_t> ParseNumber(std::wstring_view text) {
  if (text.find_first_not_of(L"-0123456789") != text.npos) return std::nullopt;
  const std::wstring digits(text);
  wchar_t* end = nullptr;
  errno = 0;
  const int64_t number = std::wcstoll(digits.c_str(), &end, 10);
  if (errno != 0 || *end != L'\0' || end == digits.c_str()) return std::nullopt;
  return number;
}

std::optional<std::pair<std::wstring, int64_t>> ParseNameAndNumber(std::wstring_view text) {
  const size_t blank = text.rfind(L' ');
  if (blank == text.npos) return std::nullopt;
  const auto number = ParseNumber(text.substr(blank + 1));
  const std::wstring_view name = Trim(text.substr(0, blank));
  if (!number || name.empty()) return std::nullopt;
  return std::pair(std::wstring(name), *number);
}

std::optional<LostAt> ParseLostAt(std::wstring_view text) {
  if (text.find(L' ') == text.npos) return LostAt{std::wstring(text), 1};
  const auto parts = ParseNameAndNumber(text);
  if (!parts || parts->second < 1) return std::nullopt;
  return LostAt{parts->first, static_cast<uint64_t>(parts->second)};
}

std::vector<std::wstring> SectionsOf(const std::wstring& ini) {
  return ReadTexts([&](wchar_t* buffer, DWORD size) {
    return ::GetPrivateProfileSectionNamesW(buffer, size, ini.c_str());
  });
}

Entries ReadSection(const std::wstring& ini, const std::wstring& section,
                    std::vector<std::wstring>& mistakes) {
  Entries entries;
  const std::vector<std::wstring> lines = ReadTexts([&](wchar_t* buffer, DWORD size) {
    return ::GetPrivateProfileSectionW(section.c_str(), buffer, size, ini.c_str());
  });
  for (const std::wstring& line : lines) {
    const std::wstring_view text = Trim(line);
    if (text.empty() || text.starts_with(L';')) continue;
    const size_t equals = text.find(L'=');
    if (equals == text.npos) {
      mistakes.push_back(L"[" + section + L"] " + std::wstring(text) +
                         L": there is no = in this line");
      continue;
    }
    entries.emplace_back(Trim(text.substr(0, equals)), Trim(text.substr(equals + 1)));
  }
  return entries;
}

}  // namespace simulator
