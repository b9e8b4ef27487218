#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "Csv.h"
#include "Plan.h"
#include "Table.h"
#include "Text.h"
#include "WindowsCodePage.h"

namespace inventory {

// One sync between the CSV file and the database Inventory.
//
// Reads both sides whole and plans; until then nothing is written, and Cancel or an error leaves
// all as it was. Then come, in this order, the rows that are kept beside the file, the file, the
// database, and its index. A sync that is killed in between has done a part of the plan on one
// side, and the next one finds both sides alike there, or still has it to do.
class InventorySync {
 public:
  explicit InventorySync(_oSyncInfo* sync);

  void Run();  // throws com::Error

 private:
  void Sync();  // throws TableError, too

  void OpenDatabase();
  void ReadFile();
  void StartFile();
  void ReadRows();
  void ReadRow(TableRow& row);
  void ReadRecords();
  void ReadRecord(TableRecord& record, const std::string& bytes);
  void ReadIndex();

  void RequireUnchangedFile() const;
  void KeepRows();
  void Keep(std::u16string_view word, const std::vector<std::u16string>& rows) const;
  void WriteFile();
  std::u16string Merged(const TableRow& row, const TableRecord& record) const;
  void WriteDatabase();
  void CreateDatabase();
  long Store(const Step& step);
  void ClearMarks();
  void WriteIndex(const History& history);
  long Stamp() const;
  long Entry(const std::u16string& key) const;

  void LogSteps() const;
  std::u16string ReasonOf(const Step& step) const;
  std::u16string NameOf(const TableRecord& record) const;
  std::u16string NameOfCell(size_t column) const;
  std::filesystem::path Beside(std::u16string_view word) const;

  std::u16string Setting(std::u16string_view key, std::u16string_view default_value) const;
  void Phase(std::u16string_view text, size_t steps);
  void Progress();
  void StopIfCancelled() const;
  void Log(std::u16string_view text) const;

  WindowsCodePage code_page_;
  Table table_;
  com::Ptr<_oSyncInfo> sync_;
  com::Ptr<_CConduitInfo> conduit_;
  com::Ptr<PDBDatabase> database_;
  com::Ptr<_CSyncIndex> index_;
  com::Ptr<_PDBByteStream> stream_;  // carries every record and block
  bool is_open_ = false;             // the database; one that is missing is made when it is written
  bool has_table_ = false;           // in the database
  bool is_known_ = false;            // the index speaks of this file and this database
  com::Ptr<_PDBByteStream> definition_;  // for a database without a table

  std::filesystem::path path_;  // of the file
  std::string file_bytes_;      // as they were read; none of a new file
  FileText file_;
  std::vector<CsvRow> csv_;  // blank lines, too
  size_t header_ = 0;        // its place among them

  std::vector<TableRow> rows_;
  std::vector<TableRecord> records_;
  History history_;        // of the last sync
  bool outdated_ = false;  // the index holds entries that are not in it
  std::vector<Step> steps_;
  bool writing_ = false;  // it can't be cancelled any more

  ULONGLONG shown_at_ = 0;
  long steps_to_show_ = 0;  // since then
};

}  // namespace inventory
