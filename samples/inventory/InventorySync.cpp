#include "InventorySync.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "Columns.h"

namespace inventory {
namespace {

namespace fs = std::filesystem;
using com::Error;

constexpr std::u16string_view kDatabase = u"Inventory";
constexpr std::u16string_view kCreator = u"PyIv";
constexpr std::u16string_view kSection = u"Inventory";
constexpr std::u16string_view kConflicts = u"conflicts";
constexpr std::u16string_view kArchive = u"archive";
constexpr unsigned kInvalidFormat = 321;
constexpr size_t kMaxShown = 40;  // characters of a cell in the log

std::u16string Number(size_t value) { return Decimal(static_cast<long long>(value)); }

std::u16string Shown(std::u16string_view cell) {
  std::u16string text(cell.substr(0, kMaxShown));
  for (char16_t& c : text) {
    if (c < 0x20) c = u' ';
  }
  return u"\"" + text + (cell.size() > kMaxShown ? u"...\"" : u"\"");
}

}  // namespace

InventorySync::InventorySync(_oSyncInfo* sync) : session_(sync, kSection) {
  path_ = session_.app_folder() / session_.Setting(u"File", u"Inventory.csv");
}

void InventorySync::Run() {
  const auto fail = [&](unsigned number, const TableError& error) {
    throw Error(BasicError(number), path_.u16string() + u": " + error.reason +
                                        u". File and database are as they were.");
  };
  try {
    Sync();
  } catch (const FileError& error) {
    fail(com::kPathAccess, error);
  } catch (const TableError& error) {
    fail(kInvalidFormat, error);
  }
}

void InventorySync::Sync() {
  OpenDatabase();
  ReadFile();
  ReadRows();
  ReadRecords();
  ReadIndex();
  RefuseDoubles(records_, history_);
  steps_ = MakePlan(rows_, records_, history_);
  const auto lasting = std::ranges::count_if(steps_, [](const Step& step) {
    return step.action != Action::kRemoveRecord && step.action != Action::kRemoveItem;
  });
  if (std::cmp_greater(lasting, History::kMaxRecords)) {
    throw TableError{u"there are " + Decimal(lasting) + u" rows; the sync index has room for " +
                     Number(History::kMaxRecords)};
  }
  session_.StopIfCancelled();
  session_.KeepGoing();
  RequireUnchangedFile();
  if (!is_open_) {
    database_.Create(session_, kDatabase, kCreator);
    OpenIndex();
  }
  KeepRows();
  WriteFile();
  WriteDatabase();
  LogSteps();
}

void InventorySync::OpenDatabase() {
  is_open_ = database_.Open(session_, kDatabase);
  if (!is_open_) return;
  has_table_ = table_.ReadDefinition(database_.ReadAppInfo());
  if (!has_table_ && database_.Count() > 0) {
    throw TableError{u"the database Inventory has records, but no columns: it is no table"};
  }
  OpenIndex();
  is_known_ = index_->IsKnown();
}

void InventorySync::OpenIndex() {
  const auto to_key = [](std::u16string_view key, const sample::SystemText&) {
    return std::u16string(key);
  };
  index_.emplace(*database_, path_.u16string(), system_, to_key);
}

void InventorySync::ReadFile() {
  const auto bytes = ReadBytes(path_);
  if (!bytes) return StartFile();
  file_bytes_ = *bytes;
  file_ = ReadText(file_bytes_, system_);
  csv_ = ParseCsv(file_.text);
  const auto header =
      std::ranges::find_if(csv_, [](const CsvRow& row) { return !row.cells.empty(); });
  const Columns columns = ParseHeader(header == csv_.end() ? CsvRow{} : *header);
  header_ = static_cast<size_t>(header - csv_.begin());
  if (!has_table_) {
    definition_ = table_.Define(columns);
    return;
  }
  const std::u16string difference = DifferenceOf(columns, table_.columns());
  if (!difference.empty()) {
    throw TableError{u"its columns are not those of the database: " + difference +
                     u". Give the file its old header, or move the database away to start with "
                     u"the new one"};
  }
}

// A file that is away must not look like one whose rows were all deleted.
void InventorySync::StartFile() {
  if (!has_table_ || is_known_) {
    throw Error(com::kPathNotFound,
                path_.u16string() + u" is missing. " +
                    (is_known_ ? u"It was there at the last sync: put it back."
                               : u"Make it; its first line names the columns, such as "
                                 u"Article:string,Stock:long."));
  }
  CsvRow header;
  header.cells = HeaderOf(table_.columns());
  header.raw = FormatCsv(header.cells);
  ParseHeader(header);  // a table from elsewhere may have columns that no header can name
  csv_.push_back(std::move(header));
  session_.Log(path_.filename().u16string() + u" is new: the rows of the database go to it.");
}

void InventorySync::ReadRows() {
  session_.Phase(u"Reading the file", csv_.size());
  for (size_t at = header_ + 1; at < csv_.size(); ++at) {
    // Blank, or nothing but commas, as spreadsheets write it.
    if (std::ranges::all_of(csv_[at].cells, &std::u16string::empty)) continue;
    TableRow& row = rows_.emplace_back();
    row.at = at;
    row.line = csv_[at].line;
    ReadRow(row);
    session_.Progress();
  }
  RefuseDoubles(rows_);
}

void InventorySync::ReadRow(TableRow& row) {
  const CsvRow& csv = csv_[row.at];
  const size_t columns = table_.columns().size();
  const auto refuse = [&](size_t column, const std::u16string& reason) {
    const std::u16string cell = column <= csv.cells.size() ? csv.cells[column - 1] : u"";
    row.problem = NameOfCell(column) + (cell.empty() ? u" " : u": " + Shown(cell) + u" ") + reason;
  };

  Table::Problem problem;
  const auto key = table_.Key(csv.cells.front(), problem);
  if (key) row.key = *key;
  if (csv.bad_cell != 0) {
    refuse(csv.bad_cell, u"has more text behind its closing quote");
    if (csv.bad_cell == 1) row.key.clear();
  } else if (!key) {
    refuse(problem.column, problem.reason);
  } else if (csv.cells.size() < columns) {
    refuse(csv.cells.size() + 1, u"is missing");
  } else if (csv.cells.size() > columns) {
    refuse(columns + 1, u"is one more than the header has");
  } else if (const auto bad = table_.Encode(csv.cells, row.content)) {
    refuse(bad->column, bad->reason);
  } else {
    table_.Decode(row.content, row.cells);
  }
}

void InventorySync::ReadRecords() {
  const long count = is_open_ ? database_.Count() : 0;
  session_.Phase(u"Reading the table", static_cast<size_t>(count));
  for (long index = 1; index <= count; ++index) {
    TableRecord& record = records_.emplace_back();
    const std::string bytes = database_.Read(index, record);
    // Of a deleted record the handheld may have kept nothing.
    if (!record.deleted || record.archived) ReadRecord(record, bytes);
    session_.Progress();
  }
}

void InventorySync::ReadRecord(TableRecord& record, const std::string& bytes) {
  std::vector<std::u16string> cells;
  auto problem = table_.Decode(bytes, cells);
  Table::Problem key_problem;
  const auto key = problem ? std::nullopt : table_.Key(cells.front(), key_problem);
  if (!problem && !key) problem = key_problem;
  if (!problem) problem = table_.Encode(cells, record.content);
  if (problem) {
    const std::u16string place = problem->column == 0 ? u"" : NameOfCell(problem->column) + u" ";
    record.problem = place + problem->reason;
    return;
  }
  record.key = *key;
  record.cells = std::move(cells);
}

void InventorySync::ReadIndex() {
  if (!is_known_) return;
  std::vector<std::u16string> keys;
  const auto add = [&](const auto& side) {
    if (!side.key.empty()) keys.push_back(side.key);
  };
  std::ranges::for_each(rows_, add);
  std::ranges::for_each(records_, add);
  history_ = index_->Read(keys, records_, 0);
  if (rows_.empty() && !history_.ids.empty()) {
    session_.Log(path_.filename().u16string() + u" has no rows: those of the database go to it.");
    history_ = {};
  }
}

void InventorySync::RequireUnchangedFile() const {
  if (ReadBytes(path_).value_or("") != file_bytes_) {
    throw FileError{{u"it was changed during the sync; sync again"}};
  }
}

// Rows that the file is about to lose, or never had, go to files beside it.
void InventorySync::KeepRows() {
  std::vector<std::u16string> conflicts, archive;
  for (const Step& step : steps_) {
    if (step.action == Action::kConflict) conflicts.push_back(csv_[step.row->at].raw);
    if (step.action != Action::kSkip && step.record && step.record->archived) {
      archive.push_back(FormatCsv(step.record->cells));
    }
  }
  Keep(kConflicts, conflicts);
  Keep(kArchive, archive);
}

// Appends rows. One that the file has already is there since a sync that was killed.
void InventorySync::Keep(std::u16string_view word, const std::vector<std::u16string>& rows) const {
  if (rows.empty()) return;
  const fs::path path = Beside(word);
  TableText kept{u"", file_.marked};
  std::unordered_set<std::u16string> known;
  try {
    if (const auto bytes = ReadBytes(path)) kept = ReadText(*bytes, system_);
    for (CsvRow& row : ParseCsv(kept.text)) known.insert(std::move(row.raw));
  } catch (const TableError& error) {
    throw FileError{{u"rows must be added to " + path.u16string() + u", but " + error.reason}};
  }
  if (!kept.text.empty() && !kept.text.ends_with(u'\n')) kept.text += u"\r\n";
  const auto add = [&](const std::u16string& row) {
    if (known.insert(row).second) kept.text += row + u"\r\n";
  };
  add(csv_[header_].raw);
  std::ranges::for_each(rows, add);
  WriteBytes(path, WriteText(kept));
}

void InventorySync::WriteFile() {
  std::unordered_map<size_t, const Step*> changes;  // by the place of their rows
  std::vector<const Step*> added;
  for (const Step& step : steps_) {
    const bool to_row = step.action == Action::kToItem || step.action == Action::kConflict;
    if (to_row && !step.row) {
      added.push_back(&step);
    } else if (to_row || step.action == Action::kRemoveItem) {
      changes.emplace(step.row->at, &step);
    }
  }
  if (changes.empty() && added.empty() && !file_bytes_.empty()) return;

  TableText written{u"", file_.marked};
  const auto add = [&](const std::u16string& row) { written.text += row + u"\r\n"; };
  for (size_t at = 0; at < csv_.size(); ++at) {
    const auto change = changes.find(at);
    if (change == changes.end()) {
      add(csv_[at].raw);
    } else if (change->second->action != Action::kRemoveItem) {
      add(Merged(*change->second->row, *change->second->record));
    }
  }
  for (const Step* step : added) add(FormatCsv(step->record->cells));
  WriteBytes(path_, WriteText(written));
}

// The record's values in the row; those that are the same stay as they were typed.
std::u16string InventorySync::Merged(const TableRow& row, const TableRecord& record) const {
  std::vector<std::u16string> cells = csv_[row.at].cells;
  for (size_t i = 0; i < cells.size(); ++i) {
    if (row.cells[i] != record.cells[i]) cells[i] = record.cells[i];
  }
  return FormatCsv(cells);
}

void InventorySync::WriteDatabase() {
  session_.Phase(u"Writing the table", steps_.size());
  if (!has_table_) database_.WriteAppInfo(definition_);

  History history;
  const auto note = [&](const std::u16string& key, long id, std::uint32_t checksum) {
    if (id == 0) return;  // it is found by its key
    history.ids[key] = id;
    history.records[id] = {checksum, 0};
  };
  const auto keep = [&](const std::u16string& key, long id) {
    const auto known = history_.ids.find(key);
    if (known == history_.ids.end() || known->second != id) return;
    note(key, id, history_.records.at(id).checksum);
  };
  for (const Step& step : steps_) {
    switch (step.action) {
      case Action::kToRecord:
        note(step.row->key, Store(step), ChecksumOf(step.row->content));
        break;
      case Action::kNothing:
      case Action::kToItem:
      case Action::kConflict:
        if (step.record->deleted) break;
        note(step.record->key, step.record->id, ChecksumOf(step.record->content));
        break;
      case Action::kSkip:
        if (!step.record) break;
        keep(step.record->key, step.record->id);
        if (step.row) keep(step.row->key, step.record->id);
        break;
      default:
        break;
    }
    session_.Progress();
  }
  // Last, as indexes change.
  for (const Step& step : steps_) {
    if (step.action == Action::kRemoveRecord) database_.Remove(step.record->id);
  }
  ClearMarks();
  index_->Write(history, 0);
  database_.Close();
}

// Writes the row into its record, or a new one, and gives the record's id.
long InventorySync::Store(const Step& step) {
  TableRecord record = step.record ? *step.record : TableRecord{};
  record.attributes &= ~eDirty;
  database_.Write(record, step.row->content);
  return record.id;
}

// Takes the handheld's marks from the records that are settled: those of the others are for the
// next sync.
void InventorySync::ClearMarks() {
  const auto marked = [](const Step& step) {
    return step.record && (step.record->dirty || step.record->deleted);
  };
  const bool all_settled = std::ranges::none_of(
      steps_, [&](const Step& step) { return step.action == Action::kSkip && marked(step); });
  if (all_settled) return database_.ClearAllMarks();
  for (const Step& step : steps_) {
    const bool gone = step.action == Action::kRemoveRecord || step.action == Action::kSkip;
    if (!gone && marked(step)) database_.ClearMarks(*step.record);
  }
}

void InventorySync::LogSteps() const {
  struct {
    size_t added, updated, removed;
  } table{}, file{};
  size_t skipped = 0;
  size_t conflicts = 0;
  for (const Step& step : steps_) {
    const std::u16string name = step.record ? NameOf(*step.record) : step.row->key;
    switch (step.action) {
      case Action::kNothing:
        break;
      case Action::kToRecord:
        ++(step.record ? table.updated : table.added);
        session_.Log((step.record ? u"Table, updated: " : u"Table, added: ") + step.row->key);
        break;
      case Action::kToItem:
        ++(step.row ? file.updated : file.added);
        session_.Log((step.row ? u"File, updated: " : u"File, added: ") + name);
        break;
      case Action::kConflict:
        ++conflicts;
        session_.Log(u"Conflict: " + step.row->key + u" was changed on both sides; " +
                     path_.filename().u16string() +
                     u" has the handheld's row now, and the file's row is in " +
                     Beside(kConflicts).filename().u16string());
        break;
      case Action::kRemoveRecord:
        ++table.removed;
        session_.Log(u"Table, removed: " + name + u" (its row is gone)");
        break;
      case Action::kRemoveItem:
        ++file.removed;
        session_.Log(u"File, removed: " + step.row->key + u" (its record was deleted)");
        break;
      case Action::kSkip:
        ++skipped;
        session_.Log(u"Skipped: " + ReasonOf(step));
        break;
    }
  }
  const auto counts = [](const auto& side) {
    return Number(side.added) + u" added, " + Number(side.updated) + u" updated, " +
           Number(side.removed) + u" removed";
  };
  session_.Log(u"Table: " + counts(table) + u". File: " + counts(file) + u". " + Number(skipped) +
               u" skipped, " + Number(conflicts) + u" in conflict.");
}

std::u16string InventorySync::ReasonOf(const Step& step) const {
  if (step.row && !step.row->problem.empty()) {
    return path_.filename().u16string() + u", line " + Number(step.row->line) + u", " +
           step.row->problem;
  }
  return NameOf(*step.record) + u": " +
         (step.record->problem.empty() ? u"its row is not there, but another row has no usable key"
                                       : step.record->problem);
}

std::u16string InventorySync::NameOf(const TableRecord& record) const {
  return record.key.empty() ? u"record " + Decimal(record.index) : record.key;
}

std::u16string InventorySync::NameOfCell(size_t column) const {
  const Columns& columns = table_.columns();
  return u"column " + Number(column) +
         (column <= columns.size() ? u" (" + columns[column - 1].name + u")" : u"");
}

// "Inventory.csv" becomes "Inventory.conflicts.csv".
fs::path InventorySync::Beside(std::u16string_view word) const {
  fs::path name = path_.stem();
  name += u".";
  name += word;
  name += path_.extension();
  return path_.parent_path() / name;
}

}  // namespace inventory
