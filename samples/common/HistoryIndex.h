#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "RecordDatabase.h"
#include "Text.h"
#include "TwoWay.h"

namespace sample {

// The history in the sync index of an open database. Closing the database writes the index after
// the records: it never speaks of what was not saved. Each method may throw com::Error.
class HistoryIndex {
 public:
  // `place` is the path of what the database is synced with; the index of another place or database
  // counts as empty. `to_key` makes the key that the index gets of an item's key.
  using ToKey = std::u16string (*)(std::u16string_view key, const SystemText& system);
  HistoryIndex(PDBDatabase& database, std::u16string_view place, const SystemText& system,
               ToKey to_key);

  // Whether the index is about this place and this database.
  bool IsKnown() const;

  // What is known of the items with these keys and of these records, as far as it can be believed;
  // see Believable. `mark` is the sync mark of the database, when it has one: another one in the
  // index means that one of them is an older state.
  template <class R>
  History Read(const std::vector<std::u16string>& keys, const std::vector<R>& records,
               unsigned char mark) {
    if (!IsKnown()) return {};
    History saved;
    for (const R& record : records) {
      const auto synced = record.id == 0 ? std::nullopt : FromNumber(Number(EntryOf(record.id)));
      if (synced) saved.records.emplace(record.id, *synced);
    }
    for (const std::u16string& key : keys) {
      if (const long id = Number(EntryOfKey(key)); id != 0) saved.ids.emplace(key, id);
    }
    const bool same_mark = Number(kStampEntry) == ToNumber(stamp_, mark);
    found_ = Believable(saved, records, same_mark);
    outdated_ = found_ != saved || !same_mark;
    return found_;
  }

  // Whether this says of the records what Read has found. If not, the mark has to change with it.
  bool KnowsRecords(const History& history) const { return history.records == found_.records; }

  // Changes nothing when this is what Read has found. Else everything is written again, which drops
  // the entries of items and records that are gone.
  void Write(const History& history, unsigned char mark);

 private:
  std::u16string EntryOfKey(std::u16string_view key) const;
  std::int32_t Number(std::u16string_view entry) const;
  void Add(std::u16string_view entry, std::int32_t number) const;

  com::Ptr<_CSyncIndex> index_;
  std::string stamp_;
  const SystemText& system_;
  const ToKey to_key_;
  History found_;
  bool outdated_ = false;  // it holds entries that were left out
};

}  // namespace sample
