#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

// What file and table held after the last sync. The sync index of the database keeps it, as pairs
// of a text and a 32-bit number:
//
//   A-100    the unique id of the record that holds this article
//   ^#17     of record 17: checksum of its bytes
//   ^        checksum of which file and database this index speaks of
//
// ^ is the character U+001A, which no key holds. An index can't be listed, only asked, and what it
// is asked for are the rows and records that are there now.
namespace inventory {

struct History {
  // 65,535 entries fit into an index: one for the file, two for each row.
  static constexpr size_t kMaxRows = 32'767;

  std::map<std::u16string, long> ids;       // by the row's key
  std::map<long, std::uint32_t> checksums;  // by the record's id

  bool operator==(const History&) const = default;
};

std::uint32_t ChecksumOf(std::string_view bytes);  // never 0, an unknown key's number

// Whether the code page has a character: an index holds no other.
using Holds = std::function<bool(char16_t)>;

inline constexpr std::u16string_view kStampEntry = u"\u001A";
// A character that the code page lacks is written as U+001A and four hex digits.
std::u16string EntryOf(std::u16string_view key, const Holds& holds);
std::u16string EntryOf(long id);

}  // namespace inventory
