#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "base/Bytes.h"

namespace pylon {

// A code page of one byte a character: the form of text in handheld records, PDB headers and INI
// files. Every byte decodes to a character; a character that the page lacks encodes as '?' unless
// the caller asks first. Lead bytes of double-byte pages count as characters of their own, since
// the formats here are one byte a character by definition.
//
// Immutable; shared by reference, so it outlives everything that was built with it.
class AnsiCodePage {
 public:
  using Table = std::array<char16_t, 256>;

  explicit AnsiCodePage(const Table& decode);

  // Windows-1252 as Windows itself maps it: the five unassigned bytes are C1 controls.
  static const AnsiCodePage& Windows1252();

  char16_t Decode(uint8_t byte) const noexcept { return decode_[byte]; }
  std::u16string Decode(ByteSpan bytes) const;

  std::optional<uint8_t> TryEncode(char16_t c) const noexcept {
    if (c < 0x80 && decode_[c] == c) return static_cast<uint8_t>(c);
    return FindByte(c);
  }
  uint8_t Encode(char16_t c) const noexcept { return TryEncode(c).value_or(uint8_t{'?'}); }
  Bytes Encode(std::u16string_view text) const;
  bool Holds(std::u16string_view text) const noexcept;  // every character has a byte

 private:
  std::optional<uint8_t> FindByte(char16_t c) const noexcept;

  Table decode_;
  std::unordered_map<char16_t, uint8_t> encode_;  // the lowest byte of each character
};

}  // namespace pylon
