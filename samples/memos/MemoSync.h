#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "Categories.h"
#include "Folder.h"
#include "HistoryIndex.h"
#include "Plan.h"
#include "RecordDatabase.h"
#include "Session.h"
#include "WindowsText.h"

namespace memos {

namespace com = sample::com;

// One sync between the folder of text files and the database MemoDB.
//
// Reads both sides whole, plans, then does step by step. Whatever ends it early, Cancel included,
// keeps what was done: the database is saved, and the next sync goes on from there.
//
// It may be killed at any moment. Files change one by one, each at once and whole; the database is
// saved after them, its index after it. So whatever the index then fails to know is on both sides,
// and found by its text, or still on the one side that has it.
class MemoSync {
 public:
  explicit MemoSync(_oSyncInfo* sync);

  void Run();  // throws com::Error

 private:
  void FindFolder();
  void OpenDatabase();
  void ReadRecords();
  void ListFolder();
  void ReadIndex();
  void ReadFolder();

  void Apply(const std::vector<Step>& steps);
  void Do(const Step& step);
  void Remove(const MemoRecord& record);
  void Archive(const MemoRecord& record);
  void Merge(const Step& step);
  void Conflict(const Step& step);
  void PlaceFile(MemoFile& file, const Step& step);
  void Store(MemoRecord& record);
  void ClearMarks();
  void Save();

  void Log(std::u16string_view text) const;

  sample::WindowsText system_;
  sample::Session session_;
  sample::RecordDatabase database_;

  std::filesystem::path folder_path_;
  long pause_ = 0;  // milliseconds after each step

  std::optional<Folder> folder_;
  std::optional<Folder> archive_;
  std::vector<std::filesystem::path> left_out_;
  std::optional<Categories> categories_;
  std::vector<MemoFile> files_;
  std::vector<MemoRecord> records_;
  std::optional<sample::HistoryIndex> index_;
  History history_;  // of the last sync; each step that is done brings its entries up to date
  // Of steps that were not done: the handheld's marks on them stay for the next sync.
  std::unordered_set<const MemoRecord*> unsettled_;

  struct {
    int added, updated, removed;             // records
    int written, rewritten, moved, deleted;  // files
    int skipped, conflicts;
  } count_ = {};
};

}  // namespace memos
