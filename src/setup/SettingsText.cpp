#include "setup/SettingsText.h"

#include "files/IniText.h"

namespace pylon {
namespace {

// The line at `from`, its end included.
std::u16string_view LineAt(std::u16string_view text, size_t from) noexcept {
  const size_t end = text.find(u'\n', from);
  return text.substr(from, end == text.npos ? text.npos : end + 1 - from);
}

bool IsHeader(std::u16string_view line) noexcept {
  return line.starts_with(u'[') && line.find(u']') != line.npos;
}

std::u16string_view NameIn(std::u16string_view header) noexcept {
  return header.substr(1, header.find(u']') - 1);
}

bool IsComment(std::u16string_view line) noexcept {
  const size_t first = line.find_first_not_of(u" \t");
  return first != line.npos && (line[first] == u';' || line[first] == u'#');
}

}  // namespace

std::u16string WithSection(std::u16string_view text, std::u16string_view section,
                           const SettingsEntries& entries) {
  const bool bare = text.find(u'\n') != text.npos && text.find(u"\r\n") == text.npos;
  const std::u16string_view end = bare ? u"\n" : u"\r\n";
  std::u16string result(text);
  const auto add = [&](std::u16string_view line) { result.append(line).append(end); };
  if (!result.empty() && !result.ends_with(u'\n')) result.append(end);
  if (!result.empty()) result.append(end);
  add(u"[" + std::u16string(section) + u"]");
  for (const auto& [key, value] : entries) add(key + u"=" + QuoteIniValue(value));
  return result;
}

std::u16string WithoutSection(std::u16string_view text, std::u16string_view section) {
  size_t begin = text.npos;
  size_t comments = text.npos;  // where the last run of comments begins
  size_t at = 0;
  while (at < text.size()) {
    const std::u16string_view line = LineAt(text, at);
    if (begin == text.npos) {
      if (IsHeader(line) && NameIn(line) == section) begin = at;
    } else if (IsHeader(line)) {
      break;
    } else if (!IsComment(line)) {
      comments = text.npos;
    } else if (comments == text.npos) {
      comments = at;
    }
    at += line.size();
  }
  if (begin == text.npos) return std::u16string(text);
  // At the end of the file the comments are the section's own.
  const size_t rest = at < text.size() && comments != text.npos ? comments : at;
  return std::u16string(text.substr(0, begin)).append(text.substr(rest));
}

}  // namespace pylon
