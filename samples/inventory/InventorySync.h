#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Csv.h"
#include "Files.h"
#include "HistoryIndex.h"
#include "Plan.h"
#include "RecordDatabase.h"
#include "Session.h"
#include "Table.h"
#include "WindowsText.h"

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
  long Store(const Step& step);
  void ClearMarks();
  void OpenIndex();

  void LogSteps() const;
  std::u16string ReasonOf(const Step& step) const;
  std::u16string NameOf(const TableRecord& record) const;
  std::u16string NameOfCell(size_t column) const;
  std::filesystem::path Beside(std::u16string_view word) const;

  sample::WindowsText system_;
  Table table_;
  sample::Session session_;
  sample::RecordDatabase database_;
  std::optional<sample::HistoryIndex> index_;
  bool is_open_ = false;    // the database; one that is missing is made when it is written
  bool has_table_ = false;  // in the database
  bool is_known_ = false;   // the index is about this file and this database
  com::Ptr<_PDBByteStream> definition_;  // for a database without a table

  std::filesystem::path path_;  // of the file
  std::string file_bytes_;      // as they were read; none of a new file
  TableText file_;
  std::vector<CsvRow> csv_;  // blank lines, too
  size_t header_ = 0;        // its place among them

  std::vector<TableRow> rows_;
  std::vector<TableRecord> records_;
  History history_;  // of the last sync
  std::vector<Step> steps_;
};

}  // namespace inventory
