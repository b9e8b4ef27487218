#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <vector>

#include "base/Bytes.h"

namespace pylon {

// One record of a database: where its bytes are and what the record list says of it.
struct RecordEntry {
  std::byte* data = nullptr;  // the table's, for bytes that the record was given; null: in the file
  uint32_t offset = 0;        // in the file
  uint32_t size = 0;
  uint32_t unique_id = 0;  // 24 bits
  uint8_t attributes = 0;  // as stored, with the category
  bool removed = false;    // the table's
};

// The records of a database in file order.
//
// A record has a slot, which it keeps until another record is removed, and an index, 1-based and
// without gaps. A removed record leaves a tombstone, so that removing one costs O(log n); a tree of
// counts then maps index to slot and back. It is built by the first removal: before, and for all
// databases that lose none, slot and index differ by one. Ids are found through a hash table that
// is built by the first search. Where records share an id, the first one is found.
//
// The table keeps the bytes that records are given, one behind the other in large pieces that are
// freed all at once.
class RecordTable {
 public:
  static constexpr size_t kNone = std::numeric_limits<size_t>::max();

  void Assign(std::vector<RecordEntry> entries);
  void Clear() { Assign({}); }

  int32_t count() const { return static_cast<int32_t>(slots_.size() - tombstones_); }

  size_t SlotAt(int32_t index) const;  // 1 to count
  int32_t IndexOf(size_t slot) const;
  const RecordEntry& operator[](size_t slot) const { return slots_[slot]; }
  void SetAttributes(size_t slot, uint8_t attributes) { slots_[slot].attributes = attributes; }
  void SetData(size_t slot, ByteSpan bytes);  // which may be those of a record, as in Append

  // Slots in order: for (s = First(); s != End(); s = Next(s)).
  size_t First() const { return SkipRemoved(0); }
  size_t Next(size_t slot) const { return SkipRemoved(slot + 1); }
  size_t End() const { return slots_.size(); }

  size_t Find(uint32_t id) const;  // slot, or kNone
  void SetId(size_t slot, uint32_t id);
  size_t Append(uint32_t id, uint8_t attributes, ByteSpan bytes);
  // Changes slots, at times, and the index of every record behind.
  void Remove(size_t slot);
  // Removes the records for which predicate(entry) is true, in one pass.
  template <class Predicate>
  void RemoveIf(Predicate predicate) {
    std::erase_if(slots_, [&](const RecordEntry& entry) {
      if (entry.removed) return true;
      if (!predicate(entry)) return false;
      DropData(entry);
      return true;
    });
    ForgetOrder();
  }

 private:
  using Pieces = std::vector<std::unique_ptr<std::byte[]>>;

  size_t SkipRemoved(size_t slot) const {
    while (slot < slots_.size() && slots_[slot].removed) ++slot;
    return slot;
  }
  void ForgetOrder();
  void BuildCounts();
  void AddToCounts(size_t slot, int32_t difference);

  void BuildIds() const;
  size_t BucketOf(uint32_t id) const;
  void LinkId(size_t slot) const;
  void UnlinkId(size_t slot);

  std::byte* Keep(ByteSpan bytes);
  void DropData(const RecordEntry& entry) { wasted_ += entry.data ? entry.size : 0; }
  Pieces Compact();

  std::vector<RecordEntry> slots_;
  size_t tombstones_ = 0;
  std::vector<int32_t> counts_;  // a Fenwick tree over the slots; empty without tombstones

  // From id to the first record that has it: open addressing over a power of two. Empty until
  // needed; the ids themselves are in the records.
  static constexpr uint32_t kFree = 0xFFFFFFFF;
  static constexpr uint32_t kUnlinked = 0xFFFFFFFE;
  mutable std::vector<uint32_t> ids_;
  mutable size_t ids_used_ = 0;      // buckets that are not free
  mutable bool ids_shared_ = false;  // whether some records may share an id

  Pieces pieces_;
  std::span<std::byte> room_;  // at the end of the last piece
  size_t kept_ = 0;
  size_t wasted_ = 0;  // of the kept bytes, those of records that were removed or given others
};

}  // namespace pylon
