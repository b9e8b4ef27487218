#include "MemoText.h"

#include <algorithm>
#include <cstdio>
#include <optional>

namespace memos {
namespace {

constexpr std::u16string_view kBlanks = u" \t\r\n";
constexpr size_t kMaxName = 60;
constexpr size_t kMaxStem = 200;  // leaves room for marks, number and extension: a name has 255
constexpr std::u16string_view kConflictMark = u" (conflict)";

// CR LF and lone CR become LF.
template <class String>
String WithLf(const String& text) {
  String result;
  result.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\r') {
      result += text[i];
    } else if (i + 1 == text.size() || text[i + 1] != '\n') {
      result += '\n';
    }
  }
  return result;
}

bool IsControl(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r' && byte != '\f';
}

char32_t CodePoint(std::u16string_view character) {
  if (character.size() == 1) return character[0];
  return 0x10000 + ((character[0] - 0xD800u) << 10) + (character[1] - 0xDC00u);
}

// Names the first character that the code page lacks.
std::u16string Missing(std::u16string_view text, const SystemText& system) {
  size_t line = 1;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool pair = text[i] >= 0xD800 && text[i] < 0xDC00 && i + 1 < text.size();
    const std::u16string_view character = text.substr(i, pair ? 2 : 1);
    if (text[i] == u'\n') ++line;
    if (!system.Encode(character)) {
      char code[24];
      std::snprintf(code, sizeof code, "U+%04X", static_cast<unsigned>(CodePoint(character)));
      return u"the handheld's code page lacks the character " + *FromUtf8(code) + u" in line " +
             Decimal(static_cast<long long>(line));
    }
    if (pair) ++i;
  }
  return u"the handheld's code page lacks some of its characters";
}

}  // namespace

FileMemo ReadMemo(std::string_view bytes, const SystemText& system) {
  using Encoding = sample::FileText::Encoding;
  const sample::FileText file = sample::ReadFileText(bytes, system);
  if (file.encoding == Encoding::kUtf16 && !file.text) {
    return {{}, u"it is not text: half a character in its UTF-16"};
  }
  if (!file.text ||
      (file.encoding == Encoding::kCodePage && std::ranges::any_of(bytes, IsControl))) {
    return {{}, u"it is not text: neither UTF-8 nor the code page's characters"};
  }
  if (file.text->find(u'\0') != std::u16string::npos) {
    return {{}, u"it is not text: it has zero bytes"};
  }

  const std::u16string lines = WithLf(*file.text);
  auto memo = system.Encode(lines);
  if (!memo) return {{}, Missing(lines, system)};
  if (lines.find_first_not_of(kBlanks) == std::u16string::npos) {
    return {std::move(*memo), u"it is empty"};
  }
  if (memo->size() <= kMaxMemo) return {std::move(*memo), {}};
  auto problem = u"it is too long: " + Decimal(static_cast<long long>(memo->size())) +
                 u" bytes, a memo has up to " + Decimal(kMaxMemo);
  return {std::move(*memo), std::move(problem)};
}

std::string WriteMemo(std::string_view memo, const SystemText& system) {
  std::u16string lines;
  for (const char16_t c : system.Decode(memo)) {
    if (c == u'\n') lines += u'\r';
    lines += c;
  }
  return ToUtf8(lines);
}

std::string MemoOfRecord(std::string_view bytes) {
  return WithLf(std::string(bytes.substr(0, bytes.find('\0'))));
}

std::u16string FirstLine(std::u16string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  std::u16string line(text.substr(0, std::min(text.find_first_of(u"\r\n"), kMaxName)));
  if (!line.empty() && line.back() >= 0xD800 && line.back() < 0xDC00) line.pop_back();
  return line;
}

std::u16string NameFor(std::u16string_view text) {
  std::u16string name = FirstLine(text);
  for (char16_t& c : name) {
    if (c < 0x20 || std::u16string_view(u"<>:\"/\\|?*").find(c) != std::u16string_view::npos) {
      c = u'_';
    }
  }
  // Windows drops blanks and dots at the end of a name; "." and "~" at its start mean hidden and
  // temporary files, which are passed over.
  name.resize(name.find_last_not_of(u" .") + 1);
  if (name.empty()) return u"Untitled";
  if (name.front() == u'.' || name.front() == u'~') name.insert(name.begin(), u'_');

  // Names of devices, with any extension.
  std::string base;
  for (const char16_t c : name.substr(0, name.find(u'.'))) {
    base += c < 0x80 ? static_cast<char>(c >= u'a' && c <= u'z' ? c - u'a' + u'A' : c) : '?';
  }
  base.resize(base.find_last_not_of(' ') + 1);
  const bool numbered = base.size() == 4 && (base.starts_with("COM") || base.starts_with("LPT")) &&
                        base[3] >= '0' && base[3] <= '9';
  if (numbered || base == "CON" || base == "PRN" || base == "AUX" || base == "NUL") {
    name.insert(name.begin(), u'_');
  }
  return name;
}

bool IsNameOrNumbered(std::u16string_view stem, std::u16string_view name) {
  if (!stem.starts_with(name)) return false;
  stem.remove_prefix(name.size());
  if (stem.empty()) return true;
  if (!stem.starts_with(u" (") || !stem.ends_with(u")") || stem.size() < 4) return false;
  stem = stem.substr(2, stem.size() - 3);
  return stem.find_first_not_of(u"0123456789") == std::u16string_view::npos;
}

std::u16string ConflictName(std::u16string_view stem) {
  const size_t mark = stem.rfind(kConflictMark);
  if (mark != std::u16string_view::npos && IsNameOrNumbered(stem.substr(mark), kConflictMark)) {
    stem = stem.substr(0, mark);
  }
  if (stem.size() > kMaxStem) {
    stem = stem.substr(0, kMaxStem);
    if (stem.back() >= 0xD800 && stem.back() < 0xDC00) stem.remove_suffix(1);
  }
  return std::u16string(stem) + std::u16string(kConflictMark);
}

}  // namespace memos
