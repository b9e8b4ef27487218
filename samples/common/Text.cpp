#include "Text.h"

#include <cstddef>

namespace sample {
namespace {

bool IsHigh(char32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool IsLow(char32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

void Append(char32_t code, std::string& bytes) {
  const auto tail = [&](int shift) { bytes += static_cast<char>(0x80 | (code >> shift & 0x3F)); };
  if (code < 0x80) {
    bytes += static_cast<char>(code);
  } else if (code < 0x800) {
    bytes += static_cast<char>(0xC0 | code >> 6);
    tail(0);
  } else if (code < 0x10000) {
    bytes += static_cast<char>(0xE0 | code >> 12);
    tail(6);
    tail(0);
  } else {
    bytes += static_cast<char>(0xF0 | code >> 18);
    tail(12);
    tail(6);
    tail(0);
  }
}

bool IsWhole(std::u16string_view text) {
  for (size_t i = 0; i < text.size(); ++i) {
    if (IsLow(text[i])) return false;
    if (IsHigh(text[i]) && (++i == text.size() || !IsLow(text[i]))) return false;
  }
  return true;
}

std::optional<std::u16string> FromUtf16(std::string_view bytes, size_t low) {
  std::u16string text(bytes.size() / 2, u'\0');
  for (size_t i = 0; i < text.size(); ++i) {
    const auto byte = [&](size_t n) { return static_cast<unsigned char>(bytes[2 * i + n]); };
    text[i] = static_cast<char16_t>(byte(1 - low) << 8 | byte(low));
  }
  if (bytes.size() % 2 != 0 || !IsWhole(text)) return std::nullopt;
  return text;
}

}  // namespace

std::optional<std::u16string> FromUtf8(std::string_view bytes) {
  auto text = UnitsFromBytes(bytes);
  if (text && !IsWhole(*text)) text.reset();
  return text;
}

std::string ToUtf8(std::u16string_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    char32_t code = text[i];
    if (IsHigh(code) && i + 1 < text.size() && IsLow(text[i + 1])) {
      code = 0x10000 + ((code - 0xD800) << 10) + (text[++i] - 0xDC00u);
    } else if (IsHigh(code) || IsLow(code)) {
      code = U'?';
    }
    Append(code, bytes);
  }
  return bytes;
}

std::string UnitsToBytes(std::u16string_view units) {
  std::string bytes;
  for (const char16_t unit : units) Append(unit, bytes);
  return bytes;
}

std::optional<std::u16string> UnitsFromBytes(std::string_view bytes) {
  std::u16string units;
  units.reserve(bytes.size());
  for (size_t i = 0; i < bytes.size();) {
    const auto lead = static_cast<unsigned char>(bytes[i++]);
    // By the length of the sequence: the bits that the lead has, and the least code.
    size_t tail = 0;
    char32_t code = lead;
    char32_t least = 0;
    if (lead >= 0xF0) {
      tail = 3, code = lead & 0x0Fu, least = 0x10000;
    } else if (lead >= 0xE0) {
      tail = 2, code = lead & 0x0Fu, least = 0x800;
    } else if (lead >= 0xC0) {
      tail = 1, code = lead & 0x1Fu, least = 0x80;
    } else if (lead >= 0x80) {
      return std::nullopt;
    }
    if (tail > bytes.size() - i) return std::nullopt;
    for (; tail > 0; --tail, ++i) {
      const auto byte = static_cast<unsigned char>(bytes[i]);
      if ((byte & 0xC0) != 0x80) return std::nullopt;
      code = code << 6 | (byte & 0x3F);
    }
    if (code < least || code > 0x10FFFF) return std::nullopt;
    if (code >= 0x10000) {
      units += static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10));
      code = 0xDC00 + (code & 0x3FF);
    }
    units += static_cast<char16_t>(code);
  }
  return units;
}

std::u16string Decimal(long long number) {
  const std::string digits = std::to_string(number);
  return {digits.begin(), digits.end()};
}

FileText ReadFileText(std::string_view bytes, const SystemText& system) {
  using Encoding = FileText::Encoding;
  if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF")) {
    return {Encoding::kUtf16, true, FromUtf16(bytes.substr(2), bytes[0] == '\xFF' ? 0 : 1)};
  }
  if (bytes.starts_with(kUtf8Mark)) {
    return {Encoding::kUtf8, true, FromUtf8(bytes.substr(kUtf8Mark.size()))};
  }
  if (auto text = FromUtf8(bytes)) return {Encoding::kUtf8, false, std::move(text)};
  return {Encoding::kCodePage, false, system.Decode(bytes)};
}

}  // namespace sample
