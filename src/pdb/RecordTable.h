#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "base/Bytes.h"

namespace pylon {

// One record of a database: where its bytes are and what the record list says of it.
struct RecordEntry {
  uint32_t place = 0;  // `changed`: number of the changed data, else offset in the file
  uint32_t size = 0;
  uint32_t unique_id = 0;  // 24 bits
  uint8_t attributes = 0;  // as stored, with the category
  bool changed = false;
  bool removed = false;  // the table's
};
static_assert(sizeof(RecordEntry) == 16);  // there are up to 65,535, mostly untouched

// From unique id to slot: open addressing, nothing ever taken out.
class UniqueIdMap {
 public:
  static constexpr uint32_t kNone = 0xFFFFFFFF;

  explicit UniqueIdMap(size_t expected = 0);

  // The slot stored for the id, or kNone. Stays valid until the next call that inserts.
  uint32_t* Find(uint32_t id);
  void Set(uint32_t id, uint32_t slot);
  size_t size() const { return used_; }

 private:
  struct Bucket {
    uint32_t id = 0;
    uint32_t slot = kNone;  // kNone: free
  };
  Bucket& BucketOf(uint32_t id);  // the id's, or the free one that it would take
  void Grow();

  std::vector<Bucket> buckets_;  // a power of two, at most half used
  uint32_t shift_ = 0;
  size_t used_ = 0;
};

// The records of a database in file order.
//
// A record has a slot, which it keeps until another record is removed, and an index, 1-based and
// without gaps. A removed record leaves a tombstone, so that removing one costs O(log n); a tree of
// counts then maps index to slot and back. It is built by the first removal: before, and for all
// databases that lose none, slot and index differ by one. Ids are found through a hash map that is
// built by the first search. Where records share an id, the first one is found.
class RecordTable {
 public:
  static constexpr size_t kNone = UniqueIdMap::kNone;

  void Assign(std::vector<RecordEntry> entries);
  void Clear() { Assign({}); }

  int32_t count() const { return static_cast<int32_t>(slots_.size() - tombstones_); }

  size_t SlotAt(int32_t index) const;  // 1 to count
  int32_t IndexOf(size_t slot) const;
  const RecordEntry& operator[](size_t slot) const { return slots_[slot]; }
  // Everything but the id may be changed.
  RecordEntry& At(size_t slot) { return slots_[slot]; }

  // Slots in order: for (s = First(); s != End(); s = Next(s)).
  size_t First() const { return SkipRemoved(0); }
  size_t Next(size_t slot) const { return SkipRemoved(slot + 1); }
  size_t End() const { return slots_.size(); }

  size_t Find(uint32_t id) const;  // slot, or kNone
  void SetId(size_t slot, uint32_t id);
  size_t Append(const RecordEntry& entry);
  // Changes slots, at times, and the index of every record behind.
  void Remove(size_t slot);
  // Removes the records for which predicate(entry) is true, in one pass.
  template <class Predicate>
  void RemoveIf(Predicate predicate) {
    std::erase_if(slots_, [&](const RecordEntry& entry) {
      return entry.removed || predicate(entry);
    });
    ForgetOrder();
  }

 private:
  size_t SkipRemoved(size_t slot) const {
    while (slot < slots_.size() && slots_[slot].removed) ++slot;
    return slot;
  }
  void ForgetOrder();
  void BuildCounts();
  void AddToCounts(size_t slot, int32_t difference);
  void BuildIds() const;
  void FindNextHolder(uint32_t id, size_t slot);

  std::vector<RecordEntry> slots_;
  size_t tombstones_ = 0;
  std::vector<int32_t> counts_;  // a Fenwick tree over the slots; empty without tombstones

  mutable UniqueIdMap ids_;  // to the first record of each id, removed ones included
  mutable bool ids_built_ = false;
  mutable bool ids_shared_ = false;  // whether some records may share an id
};

}  // namespace pylon
