#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Text.h"

// What folder and database held after the last sync. The sync index of the database keeps it, as
// pairs of a text and a 32-bit number:
//
//   WORK\SHOPPING.TXT   the id of the record that holds this file's memo
//   :17                 of record 17: checksum of the memo, 28 bits; its category, the low 4 bits
//   :                   of folder and database: checksum of what this index speaks of, 24 bits; the
//                       database's sync mark, the low 8 bits
//
// No file name holds a ':'. An index can't be listed, only asked, and what it is asked for are the
// files and records that are there now.
namespace memos {

struct Synced {
  std::uint32_t checksum = 0;  // ChecksumOf the memo, which both held
  int category = 0;

  bool operator==(const Synced&) const = default;
};

struct History {
  // 65,535 entries fit into an index: one for the folder, two for each memo.
  static constexpr size_t kMaxMemos = 32'767;

  std::map<std::u16string, long> ids;  // by the file's path in the folder
  std::map<long, Synced> memos;        // by the record's id

  bool operator==(const History&) const = default;
};

std::uint64_t HashOf(std::string_view bytes);
std::uint32_t ChecksumOf(std::string_view memo);  // 28 bits, never 0

// Characters that the code page lacks are written as '?', which no file name holds, and four hex
// digits.
std::u16string Escaped(std::u16string_view text, const SystemText& system);

// The escaped path, in one case: names that differ in their case only are the same file.
std::u16string KeyOf(std::u16string_view path, const SystemText& system);
std::u16string KeyOf(long id);

std::int32_t ToEntry(const Synced& synced);  // never 0
std::int32_t ToEntry(std::string_view stamp, unsigned char mark);
std::optional<Synced> FromEntry(std::int32_t entry);  // nothing for 0, an unknown key's number

}  // namespace memos
