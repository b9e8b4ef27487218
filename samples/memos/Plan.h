#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "MemoText.h"
#include "TwoWay.h"

// Decides what a sync has to do, from what the folder and the database hold now and what both held
// after the last sync. Touches neither; README.md has the decisions as a table.
namespace memos {

using sample::ChecksumOf;
using sample::HashOf;
using sample::History;
using sample::Synced;

// A memo's content is its text as a record holds it: code page, LF, no final NUL.
struct MemoFile : sample::Item {
  // A file that has no category is not synced, but it is there: if it holds the text of a memo,
  // that is not gone.
  enum class Place { kCategory, kNoCategory, kTooDeep };

  std::u16string folder;  // "" or the name of the sub-folder; a path if it is too deep
  std::u16string name;
  Place place = Place::kCategory;
  int category = 0;        // of a file that has not moved: as synced last, else the folder's
  std::u16string title;    // NameFor the memo's text, case folded
  std::uint64_t hash = 0;  // HashOf its bytes
};

std::u16string PathOf(const MemoFile& file);  // in the folder

struct MemoRecord : sample::Record {
  bool secret = false;
  std::u16string title;  // as in MemoFile
};

struct Step {
  enum class Action {
    kMerge,     // file and record get `memo` and `category`; the one that is missing is made
    kConflict,  // file and record get the record's memo; the file's own goes to `copy`, or when
                // there is none to a new file marked "(conflict)" and a new record
    kRemove,    // the record goes, as its file did
    kDelete,    // the file goes, as its record did
    kArchive,   // the record's memo is kept in the archive
    kSkip,      // the file has a problem; its record, if any, stays
  };
  Action action;
  const MemoFile* file = nullptr;
  const MemoRecord* record = nullptr;
  const std::string* memo = nullptr;
  int category = 0;
  // Of a conflict: a file that holds the same memo and the mark already, left by a sync that was
  // killed at this step. It is new, so that it has a step of its own.
  const MemoFile* copy = nullptr;
  bool secret = false;  // of the record that this step makes
};

// The steps point into `files` and `records`. Records are removed and files deleted last.
std::vector<Step> MakePlan(const std::vector<MemoFile>& files,
                           const std::vector<MemoRecord>& records, const History& history);

}  // namespace memos
