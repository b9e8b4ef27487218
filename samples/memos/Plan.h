#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

// Decides what a sync has to do, from what the folder and the database hold now and what both held
// after the last sync. Touches neither; README.md has the decisions as a table.
namespace memos {

struct MemoFile {
  std::u16string folder;  // "" or the name of the sub-folder
  std::u16string name;
  int category = 0;
  std::string memo;
  std::u16string title;                    // NameFor the memo's text, case folded
  std::u16string problem;                  // why it can't become a memo; empty when it can
  std::filesystem::file_time_type time{};  // of its last change when it was read
};

struct MemoRecord {
  long index = 0;
  long id = 0;
  int category = 0;
  int attributes = 0;
  bool dirty = false;     // changed on the handheld since its last sync
  bool deleted = false;   // on the handheld
  bool archived = false;  // deleted, but a copy is wanted on the PC
  std::string memo;
  std::u16string title;  // as in MemoFile
};

// One pair of file and record as the last sync left it.
struct Synced {
  std::uint64_t hash = 0;  // of the memo, which both held
  int category = 0;
  std::u16string folder;
  std::u16string name;
};
using History = std::map<long, Synced>;  // by the record's id

struct Step {
  enum class Action {
    kMerge,     // file and record get `memo` and `category`; the one that is missing is made
    kConflict,  // the record's memo goes to a new file marked "(conflict)"; the file's is a new
                // memo
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
};

// An entry of the history that can't be true, as its record isn't dirty and yet has another memo,
// comes from another database and counts for nothing. The steps point into `files` and `records`.
// Records are removed and files deleted last.
std::vector<Step> MakePlan(const std::vector<MemoFile>& files,
                           const std::vector<MemoRecord>& records, const History& history);

std::uint64_t HashOf(std::string_view memo);

// The history as a text file: the database's stamp, then a line for each pair. A file of another
// stamp belongs to another folder or database, and reads as empty, like one that is damaged. The
// categories are left to the caller.
std::string WriteHistory(const History& history, std::string_view stamp);
History ReadHistory(std::string_view text, std::string_view stamp);

}  // namespace memos
