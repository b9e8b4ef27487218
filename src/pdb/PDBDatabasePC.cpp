#include "pdb/PDBDatabasePC.h"

#include <algorithm>
#include <utility>

#include "base/AutomationError.h"
#include "base/Text.h"
#include "pdb/DatabaseArguments.h"

namespace pylon {
namespace {

constexpr std::u16string_view kDefaultType = u"DATA";

bool IsModified(const RecordEntry& entry) { return entry.attributes & (eDirty | eDelete); }

}  // namespace

// The state during an operation of the file, which may pump messages.
class PDBDatabasePC::Busy {
 public:
  Busy(State& state, State meanwhile) : state_(state), before_(std::exchange(state, meanwhile)) {}
  ~Busy() { state_ = before_; }
  Busy(const Busy&) = delete;
  Busy& operator=(const Busy&) = delete;

 private:
  State& state_;
  const State before_;
};

PDBDatabasePC::PDBDatabasePC(std::unique_ptr<IPCFile> file, const AnsiCodePage& code_page,
                             const Clock& clock, std::shared_ptr<LogSink> log,
                             SyncIndexFactory indexes)
    : file_(std::move(file), code_page),
      index_(std::move(indexes)),
      code_page_(&code_page),
      clock_(&clock),
      log_(log ? std::move(log) : std::make_shared<NullLog>()),
      utils_(code_page) {}

void PDBDatabasePC::RequireOpen() const {
  if (state_ == State::kOpen) return;
  throw BadArgument(u"The database " + PDBFilePath() +
                    (state_ == State::kSaving    ? u" is being saved"
                     : state_ == State::kOpening ? u" is being opened"
                                                 : u" is not open"));
}

void PDBDatabasePC::RequireIdle() const {
  if (IsBusy()) RequireOpen();
}

bool PDBDatabasePC::RefuseBusy() const {
  return Refuse(state_ == State::kSaving ? u"it is being saved" : u"it is being opened");
}

bool PDBDatabasePC::Refuse(std::u16string_view reason) const {
  log_->UpdateLog(file_.Line(reason));
  return false;
}

std::u16string PDBDatabasePC::PDBFilePath() const { return file_.Path(); }

void PDBDatabasePC::SetPDBFilePath(std::u16string_view path) {
  RequireIdle();
  if (IsOpen()) {
    if (path == PDBFilePath()) return;
    LoadIndexToMove();
    file_.Detach();
    file_.MarkChanged();
  }
  const std::u16string old_path = PDBFilePath();
  file_.SetPath(path);
  if (!EqualsIgnoringCase(PDBFilePath(), old_path)) unopened_ = false;
  MoveIndex(CSyncIndex::OldFile::kStays);
}

template <class Text>
void PDBDatabasePC::SetText(Text& field, std::u16string_view text) {
  RequireIdle();
  if (text == field.Text(*code_page_)) return;
  field.SetText(text, *code_page_);
  file_.MarkChanged();
}

std::u16string PDBDatabasePC::PDBDatabaseName() const {
  return file_.header().name.Text(*code_page_);
}
void PDBDatabasePC::SetPDBDatabaseName(std::u16string_view name) {
  if (name != PDBDatabaseName()) LoadIndexToMove();
  RequireDatabaseName(name, *code_page_);
  SetText(file_.header().name, name);
  MoveIndex(CSyncIndex::OldFile::kGoes);
}

std::u16string PDBDatabasePC::CreatorId() const { return file_.header().creator.Text(*code_page_); }
void PDBDatabasePC::SetCreatorId(std::u16string_view id) {
  RequireCreatorId(id, *code_page_);
  SetText(file_.header().creator, id);
}

std::u16string PDBDatabasePC::DatabaseType() const { return file_.header().type.Text(*code_page_); }
void PDBDatabasePC::SetDatabaseType(std::u16string_view id) {
  RequireDatabaseType(id, *code_page_);
  SetText(file_.header().type, id);
}

void PDBDatabasePC::SetDatabaseFor(eDatabaseForType value) {
  RequireIdle();
  if (value == DatabaseFor()) return;
  file_.SetDatabaseFor(value);
  ids_.Forget();
  file_.MarkChanged();
}

Date PDBDatabasePC::CreateDateTime() const {
  return utils_.PalmLongToDate(file_.header().creation_date);
}
Date PDBDatabasePC::ModifyDateTime() const {
  return utils_.PalmLongToDate(file_.header().modification_date);
}

bool PDBDatabasePC::OpenDatabase() {
  if (IsBusy()) return RefuseBusy();
  if (IsOpen()) {
    SetIterationIndex(1);
    return true;
  }
  unopened_ = true;  // whatever goes wrong
  PdbFile::Opening opening;
  {
    const Busy busy(state_, State::kOpening);
    opening = file_.Open();
  }
  using Outcome = PdbFile::Outcome;
  unopened_ = opening.outcome != Outcome::kOpened && opening.outcome != Outcome::kMissing;
  if (opening.outcome == Outcome::kAppInfoTooLarge) {
    throw AutomationError(ErrorNumber::kOverflow, file_.Line(opening.reason));
  }
  if (opening.outcome != Outcome::kOpened) return Refuse(opening.reason);
  state_ = State::kOpen;
  cursor_ = RecordCursor(1);
  index_.OnOpened(IndexPlace());
  return true;
}

bool PDBDatabasePC::CreateDatabase() {
  if (IsBusy()) return RefuseBusy();
  if (file_.Name().empty()) return Refuse(u"it has no file name");
  std::u16string name = PDBDatabaseName();
  if (name.empty()) name = file_.NameNoExt();
  if (name.empty()) return Refuse(u"a database can't be created without a name");
  if (!PalmName::Holds(name, *code_page_)) {
    return Refuse(WhyNotADatabaseName(name));
  }
  const Date now = clock_->Now();
  const bool is_new = !file_.Exists();
  if (unopened_ && !is_new) {
    return Refuse(u"the file is there and could not be opened: delete it first");
  }
  unopened_ = false;
  Abandon();

  PDBHeader header = file_.header();
  header.name.SetText(name, *code_page_);
  if (DatabaseType().empty()) header.type.SetText(kDefaultType, *code_page_);
  file_.Create(header, now);
  state_ = State::kOpen;
  cursor_ = RecordCursor(1);
  index_.OnOpened(IndexPlace(), is_new);
  return true;
}

RecordData PDBDatabasePC::ReadAppInfoBlock() {
  RequireOpen();
  return RecordData::View(file_.AppInfo());
}
void PDBDatabasePC::WriteAppInfoBlock(ByteSpan block) {
  RequireOpen();
  file_.SetAppInfo(block);
}
RecordData PDBDatabasePC::ReadSortInfoBlock() {
  RequireOpen();
  return RecordData::View(file_.SortInfo());
}
void PDBDatabasePC::WriteSortInfoBlock(ByteSpan block) {
  RequireOpen();
  file_.SetSortInfo(block);
}

int32_t PDBDatabasePC::IterationIndex() const {
  RequireOpen();
  return cursor_.position();
}

void PDBDatabasePC::SetIterationIndex(int32_t index) {
  cursor_.MoveTo(std::min(index, RecordCount() + 1));
}

bool PDBDatabasePC::BOF() const { return IterationIndex() < 1; }
bool PDBDatabasePC::EOF_() const { return IterationIndex() > RecordCount(); }

int32_t PDBDatabasePC::RecordCount() const {
  RequireOpen();
  return file_.records().count();
}

Record PDBDatabasePC::ReadSlot(size_t slot, int32_t index) {
  const RecordEntry& entry = file_.records()[slot];
  Record record{index, static_cast<int32_t>(entry.unique_id), CategoryOf(entry.attributes),
                AttributesOf(entry.attributes), RecordData::View(file_.DataOf(entry))};
  cursor_.SetLastRead(index);
  return record;
}

std::optional<Record> PDBDatabasePC::Next() {
  RequireOpen();
  std::optional<Record> record = ByIndex(cursor_.Next());
  cursor_.MoveTo(record ? record->index + 1 : RecordCount() + 1);
  return record;
}

std::optional<Record> PDBDatabasePC::ByIndex(int32_t index) {
  if (index < 1 || index > RecordCount()) return std::nullopt;
  return ReadSlot(file_.records().SlotAt(index), index);
}

std::optional<Record> PDBDatabasePC::ById(int32_t id) {
  RequireOpen();
  const size_t slot = file_.records().Find(static_cast<uint32_t>(id));
  if (slot == RecordTable::kNone) return std::nullopt;
  return ReadSlot(slot, file_.records().IndexOf(slot));
}

std::optional<Record> PDBDatabasePC::NextModified() {
  RequireOpen();
  const RecordTable& records = file_.records();
  int32_t index = cursor_.Next();
  if (index <= records.count()) {
    size_t slot = records.SlotAt(index);
    while (slot != records.End() && !IsModified(records[slot])) {
      slot = records.Next(slot);
      ++index;
    }
  }
  std::optional<Record> record = ByIndex(index);
  if (record) {
    cursor_.StayOn(index);
  } else {
    cursor_.MoveTo(records.count() + 1);
  }
  return record;
}

int32_t PDBDatabasePC::Update(int32_t index, int32_t unique_id, int16_t category,
                              int32_t attributes, ByteSpan data) {
  RequireOpen();
  RequireRecordFields(unique_id, category, attributes);
  RecordTable& records = file_.records();
  const bool is_new = index < 1 || index > records.count();
  if (is_new && records.count() == static_cast<int32_t>(kMaxRecords)) {
    throw AutomationError(ErrorNumber::kOverflow, u"The database " + PDBFilePath() +
                                                      u" holds 65535 records and can't take more");
  }
  const size_t slot = is_new ? RecordTable::kNone : records.SlotAt(index);
  auto id = static_cast<uint32_t>(unique_id);
  if (id == 0 && !is_new) id = records[slot].unique_id;
  const bool id_is_new = is_new || id != records[slot].unique_id;
  if (id != 0 && id_is_new && records.Find(id) != RecordTable::kNone) {
    throw BadArgument(u"Another record has the unique id " + ToText(id));
  }
  // Records without data get no id.
  if (id == 0 && !data.empty() && ids_.AreGivenHere()) {
    ids_.Assign();
    if (!is_new) id = records[slot].unique_id;
    if (id == 0) id = ids_.HandOut();
  }

  const uint8_t stored = StoredAttributes(attributes, category);
  if (is_new) {
    records.Append(id, stored, data);
  } else {
    records.SetData(slot, data);
    records.SetAttributes(slot, stored);
    records.SetId(slot, id);
  }
  if (!data.empty()) ids_.OnUpdated(id);
  file_.MarkChanged();
  return static_cast<int32_t>(id);
}

void PDBDatabasePC::Remove(int32_t unique_id) {
  RequireOpen();
  RecordTable& records = file_.records();
  const auto id = static_cast<uint32_t>(unique_id);
  size_t slot = cursor_.last_read() > 0 ? records.SlotAt(cursor_.last_read()) : RecordTable::kNone;
  if (slot == RecordTable::kNone || records[slot].unique_id != id) slot = records.Find(id);
  if (slot == RecordTable::kNone) throw NoSuchRecord(unique_id);
  const int32_t index = records.IndexOf(slot);
  records.Remove(slot);
  cursor_.OnRemoved(index);
  file_.MarkChanged();
}

void PDBDatabasePC::RemoveAll() {
  if (RecordCount() > 0) file_.MarkChanged();
  file_.records().Clear();
  cursor_ = RecordCursor(1);
}

void PDBDatabasePC::RemoveWithDeleteFlag() {
  RequireOpen();
  RecordTable& records = file_.records();
  const auto is_deleted = [](const RecordEntry& entry) {
    return (entry.attributes & eDelete) != 0;
  };
  bool any = false;
  int32_t index = 1;  // once those before are gone
  for (size_t slot = records.First(); slot != records.End(); slot = records.Next(slot)) {
    if (is_deleted(records[slot])) {
      cursor_.OnRemoved(index);
      any = true;
    } else {
      ++index;
    }
  }
  if (!any) return;
  records.RemoveIf(is_deleted);
  file_.MarkChanged();
}

void PDBDatabasePC::ResetModifyFlags() {
  RequireOpen();
  RecordTable& records = file_.records();
  for (size_t slot = records.First(); slot != records.End(); slot = records.Next(slot)) {
    const uint8_t attributes = records[slot].attributes;
    if ((attributes & eDelete) || !(attributes & eDirty)) continue;
    records.SetAttributes(slot, static_cast<uint8_t>(attributes & ~eDirty));
    file_.MarkChanged();
  }
}

void PDBDatabasePC::CloseDatabase() {
  RequireIdle();
  if (IsOpen()) {
    if (file_.changed()) Save();
    Close();
  }
  index_.Close(IndexPlace());
}

// Changes that are made while the file is written would be lost, so they are refused.
void PDBDatabasePC::Save() {
  const Busy busy(state_, State::kSaving);
  try {
    ids_.Assign();
    file_.Save(clock_->Now());
  } catch (const AutomationError& error) {
    if (!save_failure_ || save_failure_->kind == FailureKind::kCancelled) {
      save_failure_ = ToFailure(error, FailureKind::kUnsaved);
    }
    throw;
  }
}

void PDBDatabasePC::Close() {
  file_.Close();
  ids_.Forget();
  cursor_ = RecordCursor();
  save_failure_.reset();
  state_ = State::kClosed;
}

void PDBDatabasePC::Abandon() {
  Close();
  index_.Discard();
}

void PDBDatabasePC::RemoveDatabase() {
  RequireIdle();
  {
    const Busy busy(state_, State::kOpening);  // as ever while a file is opened again
    file_.Delete();
  }
  unopened_ = false;
  Abandon();
}

bool PDBDatabasePC::Rename(std::u16string_view new_file_name) {
  if (IsBusy()) return RefuseBusy();
  file_.Detach();
  if (!file_.Exists()) {
    if (!IsOpen()) return Refuse(u"there is no such file");
    file_.SetPath(new_file_name);
    return true;
  }
  if (file_.Rename(new_file_name)) return true;
  return Refuse(u"the file can't be renamed to " + std::u16string(new_file_name) + u": " +
                file_.FailureText());
}

std::shared_ptr<CSyncIndex> PDBDatabasePC::SyncIndex() {
  if (index_.IsToBeMade()) RequireOpen();
  return index_.Get(IndexPlace());
}

IndexOwner::Place PDBDatabasePC::IndexPlace() const {
  const std::u16string name = PDBDatabaseName();
  return {file_.Folder(), name.empty() ? file_.NameNoExt() : name};
}

void PDBDatabasePC::LoadIndexToMove() {
  if (IsOpen()) index_.LoadToMove(IndexPlace());
}

void PDBDatabasePC::MoveIndex(CSyncIndex::OldFile old_file) {
  if (IsOpen()) index_.Move(IndexPlace(), old_file);
}

}  // namespace pylon
