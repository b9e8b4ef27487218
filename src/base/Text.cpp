#include "base/Text.h"

#include <algorithm>

namespace pylon {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

void AppendUtf8(std::string& out, char32_t c) {
  const auto put = [&out](char32_t byte) { out.push_back(static_cast<char>(byte)); };
  if (c < 0x80) {
    put(c);
  } else if (c < 0x800) {
    put(0xC0 | c >> 6);
    put(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    put(0xE0 | c >> 12);
    put(0x80 | (c >> 6 & 0x3F));
    put(0x80 | (c & 0x3F));
  } else {
    put(0xF0 | c >> 18);
    put(0x80 | (c >> 12 & 0x3F));
    put(0x80 | (c >> 6 & 0x3F));
    put(0x80 | (c & 0x3F));
  }
}

void AppendUtf16(std::u16string& out, char32_t c) {
  if (c < 0x10000) {
    out.push_back(static_cast<char16_t>(c));
    return;
  }
  out.push_back(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
  out.push_back(static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
}

// Decodes the sequence at the front of `text` and returns its length; an invalid one is one byte.
size_t DecodeUtf8(std::string_view text, char32_t& c) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(0);
  c = kReplacement;
  if (lead < 0x80) {
    c = lead;
    return 1;
  }
  const size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  static constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return 1;
  char32_t value = lead & (0xFF >> (length + 1));
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 1;
    value = value << 6 | (byte(i) & 0x3F);
  }
  if (value < kSmallest[length] || value > 0x10FFFF || (value >= 0xD800 && value < 0xE000)) {
    return 1;
  }
  c = value;
  return length;
}

// Upper-case letters, and how far behind them the lower-case ones are.
struct Range {
  char16_t first, last, distance;
};
constexpr Range kUpper[] = {
    {u'A', u'Z', 0x20},     {0x00C0, 0x00D6, 0x20}, {0x00D8, 0x00DE, 0x20},
    {0x0391, 0x03A9, 0x20}, {0x0410, 0x042F, 0x20}, {0x0400, 0x040F, 0x50},
};

}  // namespace

std::string ToUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    char32_t c = text[i];
    if (c >= 0xD800 && c < 0xE000) {
      const bool paired = c < 0xDC00 && i + 1 < text.size() && (text[i + 1] & 0xFC00) == 0xDC00;
      c = paired ? 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00) : kReplacement;
    }
    AppendUtf8(out, c);
  }
  return out;
}

std::u16string FromUtf8(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  while (!text.empty()) {
    char32_t c = 0;
    text.remove_prefix(DecodeUtf8(text, c));
    AppendUtf16(out, c);
  }
  return out;
}

std::u16string FromAscii(std::string_view text) { return {text.begin(), text.end()}; }

std::u16string ToText(int64_t number) { return FromAscii(std::to_string(number)); }

char16_t ToLower(char16_t c) noexcept {
  if (c < u'A') return c;
  for (const Range& range : kUpper) {
    if (c >= range.first && c <= range.last) return static_cast<char16_t>(c + range.distance);
  }
  return c;
}

char16_t ToUpper(char16_t c) noexcept {
  if (c < u'a') return c;
  for (const Range& range : kUpper) {
    if (c >= range.first + range.distance && c <= range.last + range.distance) {
      return static_cast<char16_t>(c - range.distance);
    }
  }
  return c;
}

std::u16string ToLower(std::u16string_view text) {
  std::u16string out(text);
  for (char16_t& c : out) c = ToLower(c);
  return out;
}

bool EqualsIgnoringCase(std::u16string_view a, std::u16string_view b) noexcept {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char16_t x, char16_t y) { return ToLower(x) == ToLower(y); });
}

std::u16string_view Trim(std::u16string_view text) noexcept {
  const size_t first = text.find_first_not_of(u' ');
  if (first == std::u16string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(u' ') - first + 1);
}

}  // namespace pylon
