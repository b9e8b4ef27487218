#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

// Two-way synchronization: what both sides held after the last sync, and what to do about a pair
// that has changed since. Touches neither side and needs no Windows.
namespace sample {

// The state of one side. Two sides are alike when their contents are.
struct Side {
  std::string content;
  std::u16string problem;  // why it can't be synced; empty when it can
};

// On the PC: a text file, a row of a table.
struct Item : Side {};

// In the database.
struct Record : Side {
  long index = 0;
  long id = 0;  // 0 where the handheld has yet to give one
  int category = 0;
  int attributes = 0;
  bool dirty = false;     // changed on the handheld since its last sync
  bool deleted = false;   // on the handheld
  bool archived = false;  // deleted, but a copy is wanted on the PC
};

// The state of item and record after the last sync. The checksum stands for the content.
struct Synced {
  std::uint32_t checksum = 0;
  int category = 0;

  bool operator==(const Synced&) const = default;
};

struct History {
  // A sync index has room for 65,535 entries: one for the two places, two for each record.
  static constexpr size_t kMaxRecords = 32'767;

  std::map<std::u16string, long> ids;  // of records, by the key of the item
  std::map<long, Synced> records;      // by id; each id above is one of these

  const Synced* Find(long id) const;
  const Synced* Find(const std::u16string& key) const;

  bool operator==(const History&) const = default;
};

std::uint64_t HashOf(std::string_view bytes);
std::uint32_t ChecksumOf(std::string_view content);  // 28 bits, never 0
bool IsUnchanged(const Side& side, const Synced* last);

// The action for an item and its record.
enum class Action {
  kNothing,
  kToRecord,      // the item's content goes to the record, or to a new one
  kToItem,        // the record's content goes to the item, or to a new one
  kConflict,      // both have changed: the item gets the record's content, and its own is kept
  kRemoveRecord,  // its item is gone
  kRemoveItem,    // its record was deleted
  kSkip,          // a problem: both stay as they are
};

// Either may be null: it is not there. `item_last` and `record_last` are what they held after the
// last sync, or null when that is not known; they differ when item and record were paired again.
// kToRecord for a deleted record makes a new one. A record without content counts as one that has
// nothing to say: it never replaces an item.
Action Decide(const Item* item, const Record* record, const Synced* item_last,
              const Synced* record_last);

// Which item belongs to which record. Both stay where they are as long as this lives.
template <class I, class R>
class Pairs {
 public:
  void Pair(const I& item, const R& record) {
    record_of_[&item] = &record;
    taken_.insert(&record);
  }

  const R* RecordOf(const I& item) const {
    const auto found = record_of_.find(&item);
    return found == record_of_.end() ? nullptr : found->second;
  }
  bool IsTaken(const R& record) const { return taken_.contains(&record); }

  // Pairs the items and records that are still alone and have the same key; of several, in their
  // order. A key is std::optional; those without one stay alone. Deleted records do, too.
  template <class ItemKey, class RecordKey>
  void PairBy(const std::vector<I>& items, const std::vector<R>& records, ItemKey item_key,
              RecordKey record_key) {
    using Key = typename decltype(record_key(records.front()))::value_type;
    std::multimap<Key, const R*> free;
    for (const R& record : records) {
      if (record.deleted || IsTaken(record)) continue;
      if (auto key = record_key(record)) free.emplace(*std::move(key), &record);
    }
    for (const I& item : items) {
      if (record_of_.contains(&item)) continue;
      const auto key = item_key(item);
      const auto found = key ? free.find(*key) : free.end();
      if (found == free.end()) continue;
      Pair(item, *found->second);
      free.erase(found);
    }
  }

 private:
  std::unordered_map<const I*, const R*> record_of_;
  std::unordered_set<const R*> taken_;
};

// Whether the record has another content than its entry, though the handheld did not change it.
bool ContradictsRecord(const Record& record, const History& saved);

// The part of `saved` that is true of these records.
//
// An entry of a record that has another content, though the handheld did not change it, belongs to
// another state of the database: an older backup of it, or another one, or the sync was killed
// before it could save the index. Then no entry counts whose record is marked as changed or
// deleted, as it can't be told what it was changed from. `same_state` is false when that much is
// known already.
template <class R>
History Believable(const History& saved, const std::vector<R>& records, bool same_state) {
  for (const R& record : records) same_state = same_state && !ContradictsRecord(record, saved);
  History history;
  for (const R& record : records) {
    const Synced* const entry = saved.Find(record.id);
    if (!entry || ContradictsRecord(record, saved)) continue;
    if (same_state || !(record.dirty || record.deleted)) {
      history.records.emplace(record.id, *entry);
    }
  }
  for (const auto& [key, id] : saved.ids) {
    if (history.records.contains(id)) history.ids.emplace(key, id);
  }
  return history;
}

// How a sync index keeps a history, as pairs of a text and a 32-bit number:
//
//   WORK\SHOPPING.TXT   the id of the record of the item with this key
//   ^#17                of record 17: checksum of its content, 28 bits; its category, the low 4
//   bits ^                   of the two places: checksum of what this index is about, 24 bits; the
//                       database's sync mark, the low 8 bits
//
// ^ is the character U+001A, which no key holds. A character that the code page lacks is written as
// U+001A and four hex digits; `holds` knows them. An index can't be listed, only asked, and it is
// asked for the items and records that are there now.
inline constexpr std::u16string_view kStampEntry = u"\u001A";
using Holds = std::function<bool(char16_t)>;
std::u16string EntryOf(std::u16string_view key, const Holds& holds);
std::u16string EntryOf(long id);
std::int32_t ToNumber(const Synced& synced);  // never 0
std::int32_t ToNumber(std::string_view stamp, unsigned char mark);
std::optional<Synced> FromNumber(std::int32_t number);  // nothing for 0, an unknown entry's number

}  // namespace sample
