#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/AnsiCodePage.h"
#include "base/Bytes.h"
#include "base/Types.h"
#include "pdb/ByteOrder.h"

namespace pylon {

// The structures at the front of a PDB file, in file order; docs/pdb-format.md draws them. Nothing
// is checked here but the presence of the bytes, which the caller owes.

// Text in a field of fixed width, one byte a character, zero-padded. Bytes behind the first zero
// are not text but are kept: handhelds leave their own there.
template <size_t N>
class FixedText {
 public:
  std::u16string Text(const AnsiCodePage& code_page) const;
  // Whether SetText would keep all of it: at most N characters, each with a byte that isn't zero.
  static bool Holds(std::u16string_view text, const AnsiCodePage& code_page);
  void SetText(std::u16string_view text, const AnsiCodePage& code_page);

  std::array<std::byte, N> bytes = {};
};

using PalmName = FixedText<32>;
using PalmId = FixedText<4>;

extern template class FixedText<32>;
extern template class FixedText<4>;

struct PDBHeader {
  static constexpr size_t kSize = 78;

  PalmName name;
  uint16_t attributes = 0;
  uint16_t version = 0;
  int32_t creation_date = 0;  // seconds since 1904-01-01, an unsigned pattern; see PDBUtils
  int32_t modification_date = 0;
  int32_t backup_date = 0;
  uint32_t modification_number = 0;
  int32_t app_info_offset = 0;   // below 1: no block
  int32_t sort_info_offset = 0;  // below 1: no block
  PalmId type;
  PalmId creator;
  uint32_t unique_id_seed = 0;
  uint32_t next_unique_id = 0;
  uint16_t record_count = 0;
};

PDBHeader DecodeHeader(std::span<const std::byte, PDBHeader::kSize> bytes, ByteOrder order);
void EncodeHeader(const PDBHeader& header, std::span<std::byte, PDBHeader::kSize> bytes,
                  ByteOrder order);

struct PDBListEntry {
  static constexpr size_t kSize = 8;

  uint32_t offset = 0;
  uint8_t attributes = 0;
  uint32_t unique_id = 0;  // 24 bits
};

// Inline: they run for each record when a database is opened or saved.
inline PDBListEntry DecodeListEntry(std::span<const std::byte, PDBListEntry::kSize> bytes,
                                    ByteOrder order) {
  return {static_cast<uint32_t>(LoadUnsigned(bytes.subspan<0, 4>(), order)),
          std::to_integer<uint8_t>(bytes[4]),
          static_cast<uint32_t>(LoadUnsigned(bytes.subspan<5, 3>(), order))};
}

inline void EncodeListEntry(const PDBListEntry& entry,
                            std::span<std::byte, PDBListEntry::kSize> bytes, ByteOrder order) {
  StoreUnsigned(entry.offset, bytes.subspan<0, 4>(), order);
  bytes[4] = std::byte{entry.attributes};
  StoreUnsigned(entry.unique_id, bytes.subspan<5, 3>(), order);
}

constexpr size_t kMaxRecords = 65535;
constexpr uint32_t kMaxUniqueId = 0xFFFFFF;

// VFS files are least significant byte first, all others most significant byte first.
constexpr ByteOrder FileByteOrder(eDatabaseForType database_for) {
  return database_for == dftPalmVFS ? ByteOrder::kLittle : ByteOrder::kBig;
}

// The area in the file of an AppInfo or SortInfo block: the handheld's platforms give a block at
// least 512 bytes. No block, no area.
constexpr size_t BlockArea(size_t size, eDatabaseForType database_for) {
  constexpr size_t kPadded = 512;
  const bool padded = database_for == dftPalmHotSync || database_for == dftPalmVFS;
  return size > 0 && size < kPadded && padded ? kPadded : size;
}

// The attributes byte holds category and attributes. They share bit 3: in a record marked eDelete
// it is eArchive and the category has three bits, otherwise it belongs to the category.
constexpr uint8_t AttributesMask(uint8_t stored) { return stored & eDelete ? 0xF8 : 0xF0; }
constexpr int32_t AttributesOf(uint8_t stored) { return stored & AttributesMask(stored); }
constexpr int16_t CategoryOf(uint8_t stored) {
  return static_cast<int16_t>(stored & ~AttributesMask(stored));
}
constexpr uint8_t StoredAttributes(int32_t attributes, int16_t category) {
  const auto mask = AttributesMask(static_cast<uint8_t>(attributes));
  return static_cast<uint8_t>((attributes & mask) | (category & 0x0F & ~mask));
}

}  // namespace pylon
