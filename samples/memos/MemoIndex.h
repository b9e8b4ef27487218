#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "History.h"
#include "Plan.h"
#include "com.h"

// After the standard headers: it takes the macro EOF away.
#include "Pylon.h"

namespace memos {

// The history in the sync index of an open database, whose close writes it to its file after the
// records: it never speaks of what was not saved.
class MemoIndex {
 public:
  // `stamp` tells one pair of folder and database from another.
  MemoIndex(PDBDatabase& database, std::string_view stamp, const SystemText& system);

  // What is known of these files and records. Nothing in an index of another stamp.
  //
  // Left out is what can't be true: a record that has another text than its entry says, though the
  // handheld did not change it, belongs to another database, or was saved by a sync that was killed
  // before it could save the index.
  History Read(const std::vector<MemoFile>& files, const std::vector<MemoRecord>& records);

  // Changes nothing when this is what Read has found. Else everything is written anew, which drops
  // the entries of files and records that are gone.
  void Write(const History& history);

 private:
  std::int32_t Entry(std::u16string_view key) const;
  void Add(std::u16string_view key, std::int32_t entry) const;

  com::Ptr<_CSyncIndex> index_;
  std::int32_t stamp_;
  const SystemText* system_;
  History found_;
  bool outdated_ = false;  // it holds entries that were left out
};

}  // namespace memos
