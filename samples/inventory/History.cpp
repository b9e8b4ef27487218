#include "History.h"

#include "Text.h"

namespace inventory {
namespace {

constexpr char16_t kMark = u'\u001A';

}  // namespace

std::uint32_t ChecksumOf(std::string_view bytes) {
  std::uint64_t hash = 0xcbf29ce484222325;  // FNV-1a
  for (const char c : bytes) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  const auto folded = static_cast<std::uint32_t>(hash ^ hash >> 32);
  return folded == 0 ? 1 : folded;
}

std::u16string EntryOf(std::u16string_view key, const Holds& holds) {
  std::u16string entry;
  for (const char16_t c : key) {
    if (holds(c)) {
      entry += c;
      continue;
    }
    entry += kMark;
    for (int shift = 12; shift >= 0; shift -= 4) entry += u"0123456789abcdef"[c >> shift & 0xF];
  }
  return entry;
}

std::u16string EntryOf(long id) { return kMark + (u"#" + Decimal(id)); }

}  // namespace inventory
