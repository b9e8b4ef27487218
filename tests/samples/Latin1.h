#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "samples/common/Text.h"

namespace sample {

// Code page and case of a system where both are Latin-1.
class Latin1 final : public SystemText {
 public:
  std::u16string Decode(std::string_view bytes) const override {
    std::u16string text;
    for (const char c : bytes) text += static_cast<unsigned char>(c);
    return text;
  }
  std::optional<std::string> Encode(std::u16string_view text) const override {
    std::string bytes;
    for (const char16_t c : text) {
      if (c > 0xFF) return std::nullopt;
      bytes += static_cast<char>(c);
    }
    return bytes;
  }
  std::u16string FoldCase(std::u16string_view text) const override {
    std::u16string folded(text);
    for (char16_t& c : folded) {
      if ((c >= u'a' && c <= u'z') || (c >= 0xE0 && c <= 0xFE && c != 0xF7)) {
        c = static_cast<char16_t>(c - 0x20);
      }
    }
    return folded;
  }
};

}  // namespace sample
