#include "InventorySync.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "Columns.h"
#include "Files.h"

namespace inventory {
namespace {

namespace fs = std::filesystem;
using Action = Step::Action;
using com::Bstr;
using com::Check;
using com::Error;

constexpr std::u16string_view kDatabase = u"Inventory";
constexpr std::u16string_view kCreator = u"PyIv";
constexpr std::u16string_view kSection = u"Inventory";
constexpr std::u16string_view kConflicts = u"conflicts";
constexpr std::u16string_view kArchive = u"archive";
constexpr unsigned kInvalidFormat = 321;
constexpr ULONGLONG kShowEvery = 50;  // milliseconds
constexpr size_t kMaxShown = 40;      // characters of a cell in the log

std::u16string Number(size_t value) { return Decimal(static_cast<long long>(value)); }

std::u16string Shown(std::u16string_view cell) {
  std::u16string text(cell.substr(0, kMaxShown));
  for (char16_t& c : text) {
    if (c < 0x20) c = u' ';
  }
  return u"\"" + text + (cell.size() > kMaxShown ? u"...\"" : u"\"");
}

}  // namespace

InventorySync::InventorySync(_oSyncInfo* sync)
    : sync_(sync), stream_(com::Create<_PDBByteStream>(__uuidof(PDBByteStream))) {
  Check(sync_->get_ConduitInfo(&conduit_));
  Bstr folder;
  Check(conduit_->get_AppFolder(&folder));
  path_ = fs::path(folder.Text()) / Setting(u"File", u"Inventory.csv");
  Check(::CoCreateInstance(__uuidof(PDBByteStream), nullptr, CLSCTX_ALL, __uuidof(_PDBByteStream),
                           reinterpret_cast<void**>(stream_.InOut())));
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
    return step.action != Action::kRemoveRecord && step.action != Action::kRemoveRow;
  });
  if (std::cmp_greater(lasting, History::kMaxRows)) {
    throw TableError{u"there are " + Decimal(lasting) + u" rows; the sync index has room for " +
                     Number(History::kMaxRows)};
  }
  StopIfCancelled();
  writing_ = true;
  RequireUnchangedFile();
  if (!is_open_) CreateDatabase();
  KeepRows();
  WriteFile();
  WriteDatabase();
  LogSteps();
}

// ---- Reading

void InventorySync::OpenDatabase() {
  com::Ptr<PDBFileSystem> files;
  Check(sync_->get_FileSystem(&files));
  VARIANT_BOOL done = VARIANT_FALSE;
  Check(files->OpenDatabase(Bstr(kDatabase), database_.InOut(), &done));
  if (!done) return;
  is_open_ = true;
  Check(database_->ReadAppInfoBlock(stream_.InOut()));
  has_table_ = table_.ReadDefinition(stream_);
  long count = 0;
  Check(database_->get_RecordCount(&count));
  if (!has_table_ && count > 0) {
    throw TableError{u"the database Inventory has records, but no columns: it is no table"};
  }
  Check(database_->get_SyncIndex(&index_));
  is_known_ = Entry(std::u16string(kStampEntry)) == Stamp();
}

void InventorySync::ReadFile() {
  const auto bytes = ReadBytes(path_);
  if (!bytes) return StartFile();
  file_bytes_ = *bytes;
  file_ = ReadFileText(file_bytes_, code_page_);
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
  Log(path_.filename().u16string() + u" is new: the rows of the database go to it.");
}

void InventorySync::ReadRows() {
  Phase(u"Reading the file", csv_.size());
  for (size_t at = header_ + 1; at < csv_.size(); ++at) {
    // Blank, or nothing but commas, as spreadsheets write it.
    if (std::ranges::all_of(csv_[at].cells, &std::u16string::empty)) continue;
    TableRow& row = rows_.emplace_back();
    row.at = at;
    row.line = csv_[at].line;
    ReadRow(row);
    Progress();
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
  } else if (const auto bad = table_.Encode(csv.cells, row.bytes)) {
    refuse(bad->column, bad->reason);
  } else {
    table_.Decode(row.bytes, row.cells);
  }
}

void InventorySync::ReadRecords() {
  long count = 0;
  if (is_open_) Check(database_->get_RecordCount(&count));
  Phase(u"Reading the table", static_cast<size_t>(count));
  for (long index = 1; index <= count; ++index) {
    TableRecord& record = records_.emplace_back();
    record.index = index;
    short category = 0;
    eRecordAttribute attributes{};
    VARIANT_BOOL read = VARIANT_FALSE;
    Check(database_->ReadNextByIndex(index, &record.id, &category, &attributes, stream_.InOut(),
                                     &read));
    if (!read) throw Error(com::kDeviceError, u"Record " + Decimal(index) + u" can't be read.");
    record.category = category;
    record.attributes = attributes;
    record.dirty = (attributes & eDirty) != 0;
    record.deleted = (attributes & eDelete) != 0;
    record.archived = record.deleted && (attributes & eArchive) != 0;
    // Of a deleted record the handheld may have kept nothing.
    if (!record.deleted || record.archived) ReadRecord(record, Table::BytesOf(stream_));
    Progress();
  }
}

void InventorySync::ReadRecord(TableRecord& record, const std::string& bytes) {
  std::vector<std::u16string> cells;
  auto problem = table_.Decode(bytes, cells);
  Table::Problem key_problem;
  const auto key = problem ? std::nullopt : table_.Key(cells.front(), key_problem);
  if (!problem && !key) problem = key_problem;
  if (!problem) problem = table_.Encode(cells, record.bytes);
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
  history_ = ReadHistory(
      rows_, records_, [&](const std::u16string& key) { return Entry(key); },
      [&](char16_t c) { return table_.CodePageHolds(c); }, outdated_);
  if (rows_.empty() && !history_.ids.empty()) {
    Log(path_.filename().u16string() + u" has no rows: those of the database go to it.");
    history_ = {};
  }
}

// ---- Writing

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
  FileText kept{u"", file_.marked};
  std::unordered_set<std::u16string> known;
  try {
    if (const auto bytes = ReadBytes(path)) kept = ReadFileText(*bytes, code_page_);
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
  WriteBytes(path, WriteFileText(kept));
}

void InventorySync::WriteFile() {
  std::unordered_map<size_t, const Step*> changes;  // by the place of their rows
  std::vector<const Step*> added;
  for (const Step& step : steps_) {
    const bool to_row = step.action == Action::kToRow || step.action == Action::kConflict;
    if (to_row && !step.row) {
      added.push_back(&step);
    } else if (to_row || step.action == Action::kRemoveRow) {
      changes.emplace(step.row->at, &step);
    }
  }
  if (changes.empty() && added.empty() && !file_bytes_.empty()) return;

  FileText written{u"", file_.marked};
  const auto add = [&](const std::u16string& row) { written.text += row + u"\r\n"; };
  for (size_t at = 0; at < csv_.size(); ++at) {
    const auto change = changes.find(at);
    if (change == changes.end()) {
      add(csv_[at].raw);
    } else if (change->second->action != Action::kRemoveRow) {
      add(Merged(*change->second->row, *change->second->record));
    }
  }
  for (const Step* step : added) add(FormatCsv(step->record->cells));
  WriteBytes(path_, WriteFileText(written));
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
  Phase(u"Writing the table", steps_.size());
  if (!has_table_) Check(database_->WriteAppInfoBlock(definition_.InOut()));

  History history;
  const auto note = [&](const std::u16string& key, long id, std::uint32_t checksum) {
    if (id == 0) return;  // it is found by its key
    history.ids[key] = id;
    history.checksums[id] = checksum;
  };
  for (const Step& step : steps_) {
    switch (step.action) {
      case Action::kToRecord:
        note(step.row->key, Store(step), ChecksumOf(step.row->bytes));
        break;
      case Action::kSame:
      case Action::kToRow:
      case Action::kConflict:
        if (step.record->deleted) break;
        note(step.record->key, step.record->id, ChecksumOf(step.record->bytes));
        break;
      case Action::kSkip:
        if (!step.record) break;
        for (const Values* side :
             {static_cast<const Values*>(step.record), static_cast<const Values*>(step.row)}) {
          const auto known = side ? history_.ids.find(side->key) : history_.ids.end();
          if (known == history_.ids.end() || known->second != step.record->id) continue;
          note(known->first, known->second, history_.checksums.at(known->second));
        }
        break;
      default:
        break;
    }
    Progress();
  }
  // Last, as indexes change.
  for (const Step& step : steps_) {
    if (step.action == Action::kRemoveRecord) Check(database_->Remove(step.record->id));
  }
  ClearMarks();
  WriteIndex(history);
  Check(database_->CloseDatabase());
}

void InventorySync::CreateDatabase() {
  com::Ptr<PDBFileSystem> files;
  Check(sync_->get_FileSystem(&files));
  const Bstr name(kDatabase);
  VARIANT variant;
  variant.vt = VT_BSTR;
  variant.bstrVal = name;
  VARIANT_BOOL done = VARIANT_FALSE;
  Check(files->CreateDatabase(variant, database_.InOut(), &done));
  // It is not created when it is there: damaged, in use or out of reach.
  if (!done) {
    throw Error(com::kDeviceError, u"The database Inventory can't be opened. The log says why.");
  }
  Check(database_->put_CreatorId(Bstr(kCreator)));
  Check(database_->get_SyncIndex(&index_));
}

// Writes the row into its record, or a new one, and gives the record's id.
long InventorySync::Store(const Step& step) {
  TableRecord record = step.record ? *step.record : TableRecord{};
  Table::FillRecord(stream_, step.row->bytes);
  auto category = static_cast<short>(record.category);
  auto attributes = static_cast<eRecordAttribute>(record.attributes & ~eDirty);
  Check(database_->Update(record.index, &record.id, &category, &attributes, stream_.InOut()));
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
  if (all_settled) {
    Check(database_->RemoveWithDeleteFlag());
    Check(database_->ResetModifyFlags());
    return;
  }
  for (const Step& step : steps_) {
    const bool gone = step.action == Action::kRemoveRecord || step.action == Action::kSkip;
    if (gone || !marked(step) || step.record->id == 0) continue;
    if (step.record->deleted) {
      Check(database_->Remove(step.record->id));
    } else if (step.action != Action::kToRecord) {
      TableRecord record = *step.record;
      short category = 0;
      eRecordAttribute attributes{};
      VARIANT_BOOL read = VARIANT_FALSE;
      Check(database_->ReadNextById(&record.index, record.id, &category, &attributes,
                                    stream_.InOut(), &read));
      if (!read) throw Error(com::kDeviceError, u"Record " + Decimal(record.id) + u" is gone.");
      attributes = static_cast<eRecordAttribute>(attributes & ~eDirty);
      Check(database_->Update(record.index, &record.id, &category, &attributes, stream_.InOut()));
    }
  }
}

// Everything anew, which drops the entries of rows that are gone; or nothing, when nothing changed.
void InventorySync::WriteIndex(const History& history) {
  if (history == history_ && !outdated_) return;
  const auto add = [&](std::u16string_view entry, std::uint32_t number) {
    Check(index_->Add(Bstr(entry), static_cast<long>(number)));
  };
  Check(index_->Clear());
  add(kStampEntry, static_cast<std::uint32_t>(Stamp()));
  for (const auto& [key, id] : history.ids) {
    add(EntryOf(key, [&](char16_t c) { return table_.CodePageHolds(c); }),
        static_cast<std::uint32_t>(id));
  }
  for (const auto& [id, checksum] : history.checksums) add(EntryOf(id), checksum);
}

// Tells one pair of file and database from another. A database on a handheld has no path.
long InventorySync::Stamp() const {
  DATE created = 0;
  Bstr path;
  Check(database_->CreateDateTime(&created));
  (void)database_->get_PDBFilePath(&path);
  std::u16string places = path.Text() + u" " + path_.u16string();
  ::CharUpperBuffW(reinterpret_cast<wchar_t*>(places.data()), static_cast<DWORD>(places.size()));
  return static_cast<long>(ChecksumOf(ToUtf8(Decimal(std::lround(created)) + u" " + places)));
}

long InventorySync::Entry(const std::u16string& key) const {
  long number = 0;
  Check(index_->get_UniqueId(Bstr(key), &number));
  return number;
}

// ---- Pylon's window, log and settings

void InventorySync::LogSteps() const {
  struct {
    size_t added, updated, removed;
  } table{}, file{};
  size_t skipped = 0;
  size_t conflicts = 0;
  for (const Step& step : steps_) {
    const std::u16string name = step.record ? NameOf(*step.record) : step.row->key;
    switch (step.action) {
      case Action::kSame:
        break;
      case Action::kToRecord:
        ++(step.record ? table.updated : table.added);
        Log((step.record ? u"Table, updated: " : u"Table, added: ") + step.row->key);
        break;
      case Action::kToRow:
        ++(step.row ? file.updated : file.added);
        Log((step.row ? u"File, updated: " : u"File, added: ") + name);
        break;
      case Action::kConflict:
        ++conflicts;
        Log(u"Conflict: " + step.row->key + u" was changed on both sides; " +
            path_.filename().u16string() +
            u" has the handheld's row now, and the file's row is in " +
            Beside(kConflicts).filename().u16string());
        break;
      case Action::kRemoveRecord:
        ++table.removed;
        Log(u"Table, removed: " + name + u" (its row is gone)");
        break;
      case Action::kRemoveRow:
        ++file.removed;
        Log(u"File, removed: " + step.row->key + u" (its record was deleted)");
        break;
      case Action::kSkip:
        ++skipped;
        Log(u"Skipped: " + ReasonOf(step));
        break;
    }
  }
  const auto counts = [](const auto& side) {
    return Number(side.added) + u" added, " + Number(side.updated) + u" updated, " +
           Number(side.removed) + u" removed";
  };
  Log(u"Table: " + counts(table) + u". File: " + counts(file) + u". " + Number(skipped) +
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

std::u16string InventorySync::Setting(std::u16string_view key,
                                      std::u16string_view default_value) const {
  Bstr value;
  Check(conduit_->GetSettings(Bstr(kSection), Bstr(key), Bstr(default_value), &value));
  return value.Text();
}

void InventorySync::Phase(std::u16string_view text, size_t steps) {
  if (!writing_) StopIfCancelled();  // a new main text clears the flag
  Check(sync_->UpdateStatusMain(Bstr(text)));
  Check(sync_->UpdateStatusMaxBar(static_cast<long>(steps) + 1));
  steps_to_show_ = 0;
}

void InventorySync::Progress() {
  ++steps_to_show_;
  // More often than the eye follows, painting takes longer than the work.
  const ULONGLONG now = ::GetTickCount64();
  if (now - shown_at_ < kShowEvery) return;
  shown_at_ = now;
  Check(sync_->UpdateStatusIncrementBar(std::exchange(steps_to_show_, 0)));
  if (!writing_) StopIfCancelled();
}

void InventorySync::StopIfCancelled() const {
  VARIANT_BOOL cancelled = VARIANT_FALSE;
  Check(sync_->get_CancelSync(&cancelled));
  if (cancelled) throw Error(com::kUserInterrupt, u"The sync was cancelled.");
}

void InventorySync::Log(std::u16string_view text) const { Check(sync_->UpdateLog(Bstr(text))); }

}  // namespace inventory
