#include "base/AnsiCodePage.h"

#include <algorithm>

namespace pylon {
namespace {

AnsiCodePage::Table Windows1252Table() {
  static constexpr char16_t k80To9F[] = {
      0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
      0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
      0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};
  AnsiCodePage::Table table;
  for (size_t i = 0; i < table.size(); ++i) table[i] = static_cast<char16_t>(i);
  std::copy(std::begin(k80To9F), std::end(k80To9F), table.begin() + 0x80);
  return table;
}

}  // namespace

AnsiCodePage::AnsiCodePage(const Table& decode) : decode_(decode) {
  encode_.reserve(decode_.size());
  for (size_t i = 0; i < decode_.size(); ++i) encode_.emplace(decode_[i], static_cast<uint8_t>(i));
}

const AnsiCodePage& AnsiCodePage::Windows1252() {
  static const AnsiCodePage page(Windows1252Table());
  return page;
}

std::u16string AnsiCodePage::Decode(ByteSpan bytes) const {
  std::u16string text;
  text.reserve(bytes.size());
  for (const std::byte byte : bytes) text.push_back(Decode(std::to_integer<uint8_t>(byte)));
  return text;
}

std::optional<uint8_t> AnsiCodePage::FindByte(char16_t c) const noexcept {
  const auto found = encode_.find(c);
  if (found == encode_.end()) return std::nullopt;
  return found->second;
}

Bytes AnsiCodePage::Encode(std::u16string_view text) const {
  Bytes bytes;
  bytes.reserve(text.size());
  for (const char16_t c : text) bytes.push_back(std::byte{Encode(c)});
  return bytes;
}

bool AnsiCodePage::Holds(std::u16string_view text) const noexcept {
  return std::all_of(text.begin(), text.end(),
                     [this](char16_t c) { return TryEncode(c).has_value(); });
}

}  // namespace pylon
