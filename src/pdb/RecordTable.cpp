#include "pdb/RecordTable.h"

#include <bit>
#include <utility>

namespace pylon {
namespace {

constexpr size_t kSmallestMap = 16;
constexpr size_t kFewTombstones = 64;

size_t LowestBit(size_t n) { return n & (~n + 1); }

}  // namespace

UniqueIdMap::UniqueIdMap(size_t expected)
    : buckets_(std::bit_ceil(std::max(2 * expected, kSmallestMap))),
      shift_(static_cast<uint32_t>(32 - std::countr_zero(buckets_.size()))) {}

UniqueIdMap::Bucket& UniqueIdMap::BucketOf(uint32_t id) {
  // Ids are mostly consecutive: multiplying by 2^32 / golden ratio spreads such runs evenly.
  size_t i = (id * 0x9E3779B1u) >> shift_;
  while (buckets_[i].slot != kNone && buckets_[i].id != id) i = (i + 1) & (buckets_.size() - 1);
  return buckets_[i];
}

uint32_t* UniqueIdMap::Find(uint32_t id) {
  Bucket& bucket = BucketOf(id);
  return bucket.slot == kNone ? nullptr : &bucket.slot;
}

void UniqueIdMap::Set(uint32_t id, uint32_t slot) {
  Bucket* bucket = &BucketOf(id);
  if (bucket->slot == kNone) {
    if (2 * (used_ + 1) > buckets_.size()) {
      Grow();
      bucket = &BucketOf(id);
    }
    ++used_;
  }
  *bucket = {id, slot};
}

void UniqueIdMap::Grow() {
  UniqueIdMap larger(buckets_.size());
  for (const Bucket& bucket : buckets_) {
    if (bucket.slot != kNone) larger.Set(bucket.id, bucket.slot);
  }
  *this = std::move(larger);
}

void RecordTable::Assign(std::vector<RecordEntry> entries) {
  slots_ = std::move(entries);
  ForgetOrder();
}

void RecordTable::ForgetOrder() {
  tombstones_ = 0;
  counts_.clear();
  ids_ = UniqueIdMap();
  ids_built_ = ids_shared_ = false;
}

size_t RecordTable::SlotAt(int32_t index) const {
  if (counts_.empty()) return static_cast<size_t>(index) - 1;
  // The number of slots that hold fewer than `index` records among them.
  size_t slot = 0;
  int32_t left = index;
  for (size_t step = std::bit_floor(slots_.size()); step > 0; step /= 2) {
    if (slot + step <= slots_.size() && counts_[slot + step] < left) {
      slot += step;
      left -= counts_[slot];
    }
  }
  return slot;
}

int32_t RecordTable::IndexOf(size_t slot) const {
  if (counts_.empty()) return static_cast<int32_t>(slot) + 1;
  int32_t count = 0;
  for (size_t i = slot + 1; i > 0; i -= LowestBit(i)) count += counts_[i];
  return count;
}

void RecordTable::BuildCounts() {
  counts_.assign(slots_.size() + 1, 0);
  for (size_t i = 1; i < counts_.size(); ++i) {
    counts_[i] += slots_[i - 1].removed ? 0 : 1;
    const size_t parent = i + LowestBit(i);
    if (parent < counts_.size()) counts_[parent] += counts_[i];
  }
}

void RecordTable::AddToCounts(size_t slot, int32_t difference) {
  for (size_t i = slot + 1; i < counts_.size(); i += LowestBit(i)) counts_[i] += difference;
}

void RecordTable::BuildIds() const {
  ids_ = UniqueIdMap(slots_.size());
  for (size_t slot = First(); slot != End(); slot = Next(slot)) {
    if (ids_.Find(slots_[slot].unique_id)) {
      ids_shared_ = true;
    } else {
      ids_.Set(slots_[slot].unique_id, static_cast<uint32_t>(slot));
    }
  }
  ids_built_ = true;
}

size_t RecordTable::Find(uint32_t id) const {
  if (!ids_built_) BuildIds();
  const uint32_t* slot = ids_.Find(id);
  if (!slot || slots_[*slot].removed || slots_[*slot].unique_id != id) return kNone;
  return *slot;
}

// `slot` no longer holds the id: the next record that shares it is found from now on.
void RecordTable::FindNextHolder(uint32_t id, size_t slot) {
  if (!ids_built_ || !ids_shared_) return;
  uint32_t* first = ids_.Find(id);
  if (!first || *first != slot) return;
  for (size_t next = Next(slot); next != End(); next = Next(next)) {
    if (slots_[next].unique_id == id) {
      *first = static_cast<uint32_t>(next);
      return;
    }
  }
}

void RecordTable::SetId(size_t slot, uint32_t id) {
  const uint32_t old = std::exchange(slots_[slot].unique_id, id);
  if (!ids_built_ || old == id) return;
  FindNextHolder(old, slot);
  const size_t holder = Find(id);
  if (holder != kNone && holder != slot) ids_shared_ = true;
  if (holder == kNone || slot < holder) ids_.Set(id, static_cast<uint32_t>(slot));
  if (ids_.size() > 4 * (slots_.size() + kFewTombstones)) ids_built_ = false;  // mostly old ids
}

size_t RecordTable::Append(const RecordEntry& entry) {
  const size_t slot = slots_.size();
  slots_.push_back(entry);
  if (!counts_.empty()) {
    const size_t i = slot + 1;
    int32_t count = 1;
    for (size_t step = 1; step < LowestBit(i); step *= 2) count += counts_[i - step];
    counts_.push_back(count);
  }
  if (ids_built_) {
    if (Find(entry.unique_id) == kNone) {
      ids_.Set(entry.unique_id, static_cast<uint32_t>(slot));
    } else {
      ids_shared_ = true;
    }
  }
  return slot;
}

void RecordTable::Remove(size_t slot) {
  if (counts_.empty()) BuildCounts();
  slots_[slot].removed = true;
  ++tombstones_;
  AddToCounts(slot, -1);
  FindNextHolder(slots_[slot].unique_id, slot);
  // Clearing away costs O(n), after as many removals.
  if (tombstones_ > kFewTombstones && 2 * tombstones_ > slots_.size()) {
    RemoveIf([](const RecordEntry&) { return false; });
  }
}

}  // namespace pylon
