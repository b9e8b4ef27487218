#include "History.h"

#include <cstdio>

namespace memos {
namespace {

constexpr std::uint32_t kChecksumBits = 28;
constexpr std::uint32_t kCategoryBits = 4;
constexpr std::uint32_t kMarkBits = 8;

}  // namespace

std::uint64_t HashOf(std::string_view bytes) {
  std::uint64_t hash = 0xcbf29ce484222325;  // FNV-1a
  for (const char c : bytes) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  return hash;
}

std::uint32_t ChecksumOf(std::string_view memo) {
  const std::uint64_t hash = HashOf(memo);
  const auto folded =
      static_cast<std::uint32_t>(hash ^ hash >> kChecksumBits ^ hash >> 2 * kChecksumBits);
  const std::uint32_t checksum = folded & ((1U << kChecksumBits) - 1);
  return checksum == 0 ? 1 : checksum;
}

std::u16string Escaped(std::u16string_view text, const SystemText& system) {
  if (system.Encode(text)) return std::u16string(text);
  std::u16string result;
  for (const char16_t c : text) {
    if (system.Encode({&c, 1})) {
      result += c;
    } else {
      char escape[8];
      std::snprintf(escape, sizeof escape, "?%04X", static_cast<unsigned>(c));
      result += *FromUtf8(escape);
    }
  }
  return result;
}

std::u16string KeyOf(std::u16string_view path, const SystemText& system) {
  return Escaped(system.FoldCase(path), system);
}

std::u16string KeyOf(long id) { return u":" + *FromUtf8(std::to_string(id)); }

std::int32_t ToEntry(const Synced& synced) {
  return static_cast<std::int32_t>(synced.checksum << kCategoryBits |
                                   static_cast<std::uint32_t>(synced.category));
}

std::int32_t ToEntry(std::string_view stamp, unsigned char mark) {
  return static_cast<std::int32_t>(ChecksumOf(stamp) << kMarkBits | mark);
}

std::optional<Synced> FromEntry(std::int32_t entry) {
  const auto bits = static_cast<std::uint32_t>(entry);
  if (bits >> kCategoryBits == 0) return std::nullopt;
  return Synced{bits >> kCategoryBits, static_cast<int>(bits & ((1U << kCategoryBits) - 1))};
}

}  // namespace memos
