#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "History.h"
#include "Plan.h"
#include "com.h"

// After the standard headers: it takes the macro EOF away.
#include "Pylon.h"

namespace memos {

namespace com = sample::com;

// The history in the sync index of an open database, whose close writes it to its file after the
// records: it never speaks of what was not saved.
class MemoIndex {
 public:
  // `stamp` tells one pair of folder and database from another.
  MemoIndex(PDBDatabase& database, std::string stamp, const SystemText& system);

  // What is known of these files and records. Nothing in an index of another stamp. `mark` is that
  // of the database; another one in the index means that one of them is an older state.
  //
  // Left out is what can't be believed: see Believable.
  History Read(const std::vector<MemoFile>& files, const std::vector<MemoRecord>& records,
               unsigned char mark);
  // Whether this says of the records what Read has found. If not, the mark has to change with it.
  bool KnowsRecords(const History& history) const { return history.memos == found_.memos; }

  // Changes nothing when this is what Read has found. Else everything is written anew, which drops
  // the entries of files and records that are gone.
  void Write(const History& history, unsigned char mark);

 private:
  std::int32_t Entry(std::u16string_view key) const;
  void Add(std::u16string_view key, std::int32_t entry) const;

  com::Ptr<_CSyncIndex> index_;
  std::string stamp_;
  const SystemText* system_;
  History found_;
  bool outdated_ = false;  // it holds entries that were left out
};

}  // namespace memos
