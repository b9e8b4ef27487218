#include "pdb/RecordTable.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

namespace pylon {
namespace {

constexpr size_t kFewestBuckets = 16;
constexpr size_t kFewTombstones = 64;
constexpr size_t kPiece = 64 << 10;
constexpr size_t kLittleWaste = 1 << 20;

size_t LowestBit(size_t n) { return n & (~n + 1); }

// In one block, which std::ranges::copy does not do for bytes of a span.
std::byte* Copy(ByteSpan bytes, std::byte* place) {
  if (!bytes.empty()) std::memmove(place, bytes.data(), bytes.size());
  return place + bytes.size();
}

}  // namespace

void RecordTable::Assign(std::vector<RecordEntry> entries) {
  slots_ = std::move(entries);
  ForgetOrder();
  pieces_.clear();
  room_ = {};
  kept_ = wasted_ = 0;
}

void RecordTable::ForgetOrder() {
  tombstones_ = 0;
  counts_.clear();
  ids_.clear();
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

// At most half of the buckets are used then, and three quarters when they are built again: what
// changes in between is worth the building.
void RecordTable::BuildIds() const {
  ids_.assign(std::bit_ceil(std::max(2 * slots_.size(), kFewestBuckets)), kFree);
  ids_used_ = 0;
  ids_shared_ = false;
  for (size_t slot = First(); slot != End(); slot = Next(slot)) LinkId(slot);
}

// The id's bucket, or the free one that it would take.
size_t RecordTable::BucketOf(uint32_t id) const {
  // Ids are mostly consecutive: multiplying by 2^32 / golden ratio spreads such runs evenly.
  size_t i = (id * 0x9E3779B1u) >> (32 - std::countr_zero(ids_.size()));
  while (ids_[i] != kFree && (ids_[i] == kUnlinked || slots_[ids_[i]].unique_id != id)) {
    i = (i + 1) & (ids_.size() - 1);
  }
  return i;
}

size_t RecordTable::Find(uint32_t id) const {
  if (ids_.empty()) BuildIds();
  const uint32_t slot = ids_[BucketOf(id)];
  return slot == kFree ? kNone : slot;
}

void RecordTable::LinkId(size_t slot) const {
  uint32_t& first = ids_[BucketOf(slots_[slot].unique_id)];
  if (first != kFree) {
    ids_shared_ = true;
    first = std::min(first, static_cast<uint32_t>(slot));
  } else if (4 * ++ids_used_ <= 3 * ids_.size()) {
    first = static_cast<uint32_t>(slot);
  } else {
    ids_.clear();
  }
}

// Before the record loses its id: the next one that shares it is found from now on.
void RecordTable::UnlinkId(size_t slot) {
  const uint32_t id = slots_[slot].unique_id;
  uint32_t& first = ids_[BucketOf(id)];
  if (first != slot) return;
  first = kUnlinked;
  if (!ids_shared_) return;
  for (size_t next = Next(slot); next != End(); next = Next(next)) {
    if (slots_[next].unique_id == id) {
      first = static_cast<uint32_t>(next);
      return;
    }
  }
}

void RecordTable::SetId(size_t slot, uint32_t id) {
  if (slots_[slot].unique_id == id) return;
  if (!ids_.empty()) UnlinkId(slot);
  slots_[slot].unique_id = id;
  if (!ids_.empty()) LinkId(slot);
}

void RecordTable::SetData(size_t slot, ByteSpan bytes) {
  if (slots_[slot].data && bytes.size() <= slots_[slot].size) {
    Copy(bytes, slots_[slot].data);
    wasted_ += slots_[slot].size - bytes.size();
  } else {
    std::byte* const data = Keep(bytes);
    DropData(slots_[slot]);
    slots_[slot].data = data;
  }
  slots_[slot].size = static_cast<uint32_t>(bytes.size());
}

// Null for no bytes.
std::byte* RecordTable::Keep(ByteSpan bytes) {
  if (bytes.empty()) return nullptr;
  // Freed at the end: the bytes may be those of a record.
  const Pieces old = wasted_ > kLittleWaste && 2 * wasted_ > kept_ ? Compact() : Pieces();
  if (bytes.size() > room_.size()) {
    const size_t size = std::max(bytes.size(), kPiece);
    pieces_.push_back(std::make_unique_for_overwrite<std::byte[]>(size));
    room_ = {pieces_.back().get(), size};
  }
  std::byte* const data = room_.data();
  Copy(bytes, data);
  room_ = room_.subspan(bytes.size());
  kept_ += bytes.size();
  return data;
}

// Takes all the memory that it needs first, so that a failure changes nothing. Returns the old
// pieces.
RecordTable::Pieces RecordTable::Compact() {
  const size_t size = kept_ - wasted_;
  Pieces pieces;
  pieces.push_back(std::make_unique_for_overwrite<std::byte[]>(size));
  std::byte* place = pieces.back().get();
  for (RecordEntry& entry : slots_) {
    if (!entry.data || entry.removed) continue;
    entry.data = std::exchange(place, Copy({entry.data, entry.size}, place));
  }
  pieces_.swap(pieces);
  room_ = {};
  kept_ = size;
  wasted_ = 0;
  return pieces;
}

size_t RecordTable::Append(uint32_t id, uint8_t attributes, ByteSpan bytes) {
  const size_t slot = slots_.size();
  slots_.push_back({.data = Keep(bytes),
                    .size = static_cast<uint32_t>(bytes.size()),
                    .unique_id = id,
                    .attributes = attributes});
  if (!counts_.empty()) {
    const size_t i = slot + 1;
    int32_t count = 1;
    for (size_t step = 1; step < LowestBit(i); step *= 2) count += counts_[i - step];
    counts_.push_back(count);
  }
  if (!ids_.empty()) LinkId(slot);
  return slot;
}

void RecordTable::Remove(size_t slot) {
  if (counts_.empty()) BuildCounts();
  if (!ids_.empty()) UnlinkId(slot);
  DropData(slots_[slot]);
  slots_[slot].removed = true;
  ++tombstones_;
  AddToCounts(slot, -1);
  // Clearing away costs O(n), after as many removals.
  if (tombstones_ > kFewTombstones && 2 * tombstones_ > slots_.size()) {
    RemoveIf([](const RecordEntry&) { return false; });
  }
}

}  // namespace pylon
