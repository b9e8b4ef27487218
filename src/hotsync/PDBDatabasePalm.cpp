#include "hotsync/PDBDatabasePalm.h"

#include <algorithm>
#include <utility>

#include "base/Text.h"
#include "pdb/DatabaseArguments.h"
#include "pdb/DatabaseText.h"
#include "pdb/PDBFormat.h"

namespace pylon {
namespace {

constexpr int32_t kBusy = 0x20;        // attribute of a record that an application has in hand
constexpr size_t kMaxNameLength = 31;  // a handheld's 32 bytes end in a zero
constexpr std::u16string_view kType = u"DATA";

bool IsUniqueId(int32_t id) { return id > 0 && id <= static_cast<int32_t>(kMaxUniqueId); }

}  // namespace

PDBDatabasePalm::PDBDatabasePalm(std::shared_ptr<Handheld> handheld, const AnsiCodePage& code_page,
                                 std::shared_ptr<LogSink> log, SyncIndexFactory indexes)
    : handheld_(std::move(handheld)),
      code_page_(&code_page),
      log_(log ? std::move(log) : std::make_shared<NullLog>()),
      index_(std::move(indexes)) {}

void PDBDatabasePalm::SetUp(std::u16string_view creator_id, eDatabaseForType database_for,
                            std::u16string_view name, std::u16string_view folder) {
  creator_ = creator_id;
  database_for_ = database_for;
  name_ = name;
  folder_ = folder;
}

PDBDatabasePalm::Link PDBDatabasePalm::RequireOpen() const {
  if (!link_) throw Error(ErrorNumber::kInvalidArgument, u"it is not open");
  return link_;
}

bool PDBDatabasePalm::Refuse(std::u16string_view reason) const {
  log_->UpdateLog(DatabaseText(name_, reason));
  return false;
}

AutomationError PDBDatabasePalm::Error(int32_t number, std::u16string_view what) const {
  return AutomationError(
      number, {}, u"The database \"" + name_ + u"\" on the handheld: " + std::u16string(what));
}
AutomationError PDBDatabasePalm::Error(ErrorNumber number, std::u16string_view what) const {
  return Error(static_cast<int32_t>(number), what);
}

void PDBDatabasePalm::RequireSize(size_t size, std::u16string_view what) const {
  if (size <= kMaxChunk) return;
  throw Error(ErrorNumber::kOverflow, std::u16string(what) + u" of " +
                                          ToText(static_cast<int64_t>(size)) + u" bytes; " +
                                          ToText(int64_t{kMaxChunk}) + u" is the most");
}

bool PDBDatabasePalm::NameIsPossible() const {
  return !name_.empty() && name_.size() <= kMaxNameLength && PalmName::Holds(name_, *code_page_);
}

void PDBDatabasePalm::SetPDBFilePath(std::u16string_view path) {
  if (path.empty()) return;
  throw Error(ErrorNumber::kActionNotSupported, u"it is in no file");
}

void PDBDatabasePalm::SetPDBDatabaseName(std::u16string_view name) {
  if (name == name_) return;
  RequireDatabaseName(name, *code_page_);
  if (link_) throw Error(ErrorNumber::kActionNotSupported, u"a handheld renames none");
  name_ = name;
  unreadable_ = false;
}

std::u16string PDBDatabasePalm::CreatorId() const {
  if (!link_ || index_.IsNew()) return creator_;
  const std::optional<HandheldDatabaseInfo> info = Info();
  return info && !info->creator.empty() ? info->creator : creator_;
}

void PDBDatabasePalm::SetCreatorId(std::u16string_view id) {
  RequireCreatorId(id, *code_page_);
  if (link_ && id != CreatorId()) {
    if (!untouched_) {
      throw Error(ErrorNumber::kActionNotSupported,
                  u"its creator can be set before something is written to it only");
    }
    if (id.size() != 4) throw Error(ErrorNumber::kInvalidArgument, u"a creator has 4 characters");
    // Made again: nothing is in it yet.
    const std::shared_ptr<Handheld> handheld = handheld_;
    const std::u16string creator(id);
    DropLink();
    try {
      handheld->DeleteDatabase(name_);
      TakeLink(handheld, handheld->CreateDatabase(name_, creator, kType));
    } catch (const AutomationError&) {
      if (!handheld->IsLost()) Reopen(handheld, IfGone::kCreate);
      throw;
    }
    creator_ = creator;
    return;
  }
  creator_ = id;
}

std::optional<HandheldDatabaseInfo> PDBDatabasePalm::Info() const {
  const std::shared_ptr<Handheld> handheld = handheld_;
  if (!handheld || !NameIsPossible()) return std::nullopt;
  return handheld->DatabaseInfo(name_);
}

Date PDBDatabasePalm::CreateDateTime() const {
  return Info().value_or(HandheldDatabaseInfo{}).created;
}
Date PDBDatabasePalm::ModifyDateTime() const {
  return Info().value_or(HandheldDatabaseInfo{}).modified;
}

void PDBDatabasePalm::TakeLink(const std::shared_ptr<Handheld>& handheld,
                               std::unique_ptr<HandheldDatabase> link) {
  if (!link) throw Error(ErrorNumber::kInternal, u"it can't be opened");
  if (!handheld_) throw Error(ErrorNumber::kInvalidArgument, u"the session has ended meanwhile");
  HandheldDatabase* const database = link.release();
  link_ = Link(database, [handheld](HandheldDatabase* closed) { delete closed; });
  cursor_ = RecordCursor(1);
  ForgetRecords();
  deleted_.clear();
}

void PDBDatabasePalm::DropLink() noexcept {
  const Link dropped = std::exchange(link_, nullptr);  // closes when all is in order here
  cursor_ = RecordCursor();
  ForgetRecords();
  deleted_.clear();
}

void PDBDatabasePalm::ForgetRecords() noexcept {
  count_.reset();
  ids_.clear();
  covered_ = 1;
}

bool PDBDatabasePalm::OpenDatabase() {
  if (link_) {
    SetIterationIndex(1);
    return true;
  }
  const std::shared_ptr<Handheld> handheld = handheld_;
  if (!handheld) return Refuse(u"the session with the handheld has ended");
  if (!NameIsPossible()) return Refuse(u"a handheld has no database of such a name");
  unreadable_ = true;
  std::unique_ptr<HandheldDatabase> link = handheld->OpenDatabase(name_);
  unreadable_ = false;
  if (!link) return Refuse(u"there is no such database on the handheld");
  untouched_ = false;
  TakeLink(handheld, std::move(link));
  index_.OnOpened(IndexPlace());
  return true;
}

bool PDBDatabasePalm::CreateDatabase() {
  const std::shared_ptr<Handheld> handheld = handheld_;
  if (!handheld) return Refuse(u"the session with the handheld has ended");
  if (!NameIsPossible()) {
    return Refuse(
        u"a new database's name has up to 31 characters of the system's code page on a handheld");
  }
  bool is_new = index_.IsNew();
  if (link_) {
    const Link link = link_;
    Empty(*link);
    cursor_ = RecordCursor(1);
  } else {
    if (creator_.size() != 4 || !PalmId::Holds(creator_, *code_page_)) {
      return Refuse(u"it can't be created without a creator id of four characters");
    }
    std::unique_ptr<HandheldDatabase> link;
    try {
      link = handheld->CreateDatabase(name_, creator_, kType);
    } catch (const AutomationError& error) {
      if (!error.Is(ErrorNumber::kFileExists)) throw;
    }
    is_new = link != nullptr;
    if (!is_new) {
      if (unreadable_) {
        return Refuse(u"it is on the handheld and could not be opened: delete it first");
      }
      link = handheld->OpenDatabase(name_);
      if (link) Empty(*link);
    }
    TakeLink(handheld, std::move(link));
    unreadable_ = false;
    untouched_ = is_new;
  }
  index_.Discard();
  index_.OnOpened(IndexPlace(), is_new);
  return true;
}

void PDBDatabasePalm::Empty(HandheldDatabase& link) {
  Change([&] {
    link.RemoveAll();
    if (!link.ReadAppInfoBlock().empty()) link.WriteAppInfoBlock({});
    if (!link.ReadSortInfoBlock().empty()) link.WriteSortInfoBlock({});
  });
  ForgetRecords();
  deleted_.clear();
}

void PDBDatabasePalm::CloseDatabase() {
  DropLink();
  untouched_ = false;
  index_.Close(IndexPlace());
}

void PDBDatabasePalm::RemoveDatabase() {
  const std::shared_ptr<Handheld> handheld = handheld_;
  if (!handheld) {
    throw Error(ErrorNumber::kInvalidArgument, u"the session with the handheld has ended");
  }
  const bool was_open = IsOpen();
  DropLink();  // a handheld deletes no open one
  try {
    if (NameIsPossible()) handheld->DeleteDatabase(name_);
  } catch (const AutomationError&) {
    if (was_open && !handheld->IsLost()) Reopen(handheld, IfGone::kLeave);
    throw;
  }
  unreadable_ = untouched_ = false;
  index_.Discard();
}

void PDBDatabasePalm::Reopen(const std::shared_ptr<Handheld>& handheld, IfGone if_gone) noexcept {
  try {
    std::unique_ptr<HandheldDatabase> link = handheld->OpenDatabase(name_);
    if (!link && if_gone == IfGone::kCreate) {
      link = handheld->CreateDatabase(name_, creator_, kType);
    }
    TakeLink(handheld, std::move(link));
  } catch (const std::exception&) {
    // Another error is on its way to the caller, who finds the database closed.
  }
}

void PDBDatabasePalm::EndSession() noexcept {
  DropLink();
  handheld_.reset();
}

RecordData PDBDatabasePalm::ReadAppInfoBlock() { return RequireOpen()->ReadAppInfoBlock(); }
RecordData PDBDatabasePalm::ReadSortInfoBlock() { return RequireOpen()->ReadSortInfoBlock(); }

void PDBDatabasePalm::WriteAppInfoBlock(ByteSpan block) {
  const Link link = RequireOpen();
  RequireSize(block.size(), u"an AppInfo block");
  Change([&] { link->WriteAppInfoBlock(block); });
}
void PDBDatabasePalm::WriteSortInfoBlock(ByteSpan block) {
  const Link link = RequireOpen();
  RequireSize(block.size(), u"a SortInfo block");
  Change([&] { link->WriteSortInfoBlock(block); });
}

template <class Action>
std::invoke_result_t<Action> PDBDatabasePalm::Change(Action&& action) {
  untouched_ = false;
  try {
    return action();
  } catch (...) {
    ForgetRecords();
    throw;
  }
}

int32_t PDBDatabasePalm::Count(HandheldDatabase& link) const {
  if (!count_) count_ = std::max(link.RecordCount(), 0);
  return *count_;
}

void PDBDatabasePalm::Learn(int32_t index, int32_t id, int32_t attributes) {
  if (index < 1 || index > static_cast<int32_t>(kMaxRecords)) return;
  const auto position = static_cast<size_t>(index) - 1;
  if (ids_.size() <= position) ids_.resize(position + 1);
  ids_[position] = id;
  if ((attributes & eDelete) && id != 0) {
    deleted_.insert(id);
  } else {
    deleted_.erase(id);
  }
  Cover(index, index + 1);
}

// Also brings the record's fields into the form in which databases store them.
void PDBDatabasePalm::Learn(Record& record) {
  const uint8_t stored = StoredAttributes(record.attributes, record.category);
  record.category = CategoryOf(stored);
  record.attributes = AttributesOf(stored);
  Learn(record.index, record.id, stored);
}

// Of the records from `from` to before `to` those marked eDelete are known.
void PDBDatabasePalm::Cover(int32_t from, int32_t to) {
  if (from <= covered_) covered_ = std::max(covered_, to);
}

std::optional<int32_t> PDBDatabasePalm::KnownIndexOf(int32_t id) const {
  const auto start = ids_.begin() + static_cast<ptrdiff_t>(std::min(near_, ids_.size()));
  auto found = std::find(start, ids_.end(), id);
  if (found == ids_.end()) {
    found = std::find(ids_.begin(), start, id);
    if (found == start) return std::nullopt;
  }
  const auto position = static_cast<size_t>(found - ids_.begin());
  near_ = position > 0 ? position - 1 : 0;
  return static_cast<int32_t>(position) + 1;
}

// Nothing outside of the records. What the handheld should have and doesn't give is an error: it
// would look like the end.
std::optional<Record> PDBDatabasePalm::ReadAt(HandheldDatabase& link, int32_t index) {
  if (index < 1 || index > Count(link)) return std::nullopt;
  std::optional<Record> record = link.ReadByIndex(index);
  if (record) {
    record->index = index;
    Learn(*record);
  } else {
    ForgetRecords();
    if (index <= Count(link)) {
      throw Error(ErrorNumber::kInternal, u"record " + ToText(index) + u" can't be read");
    }
  }
  return record;
}

std::optional<Record> PDBDatabasePalm::ReadById(HandheldDatabase& link, int32_t id) {
  std::optional<Record> record = link.ReadById(id);
  if (record) Learn(*record);
  return record;
}

std::optional<Record> PDBDatabasePalm::ReadNextModified(HandheldDatabase& link, int32_t from) {
  if (count_ && from > *count_) return std::nullopt;
  std::optional<Record> record = link.ReadNextModified(from);
  if (record && record->index < from) {
    throw Error(ErrorNumber::kInternal, u"its modified records come in no order");
  }
  if (record) Learn(*record);
  Cover(from, record ? record->index + 1 : kAll);
  return record;
}

int32_t PDBDatabasePalm::IterationIndex() const {
  RequireOpen();
  return cursor_.position();
}

void PDBDatabasePalm::SetIterationIndex(int32_t index) {
  const Link link = RequireOpen();
  cursor_.MoveTo(index <= 1 ? index : std::min(index, Count(*link) + 1));
}

bool PDBDatabasePalm::BOF() const { return IterationIndex() < 1; }
bool PDBDatabasePalm::EOF_() const {
  const int32_t count = RecordCount();
  return cursor_.position() > count;
}

int32_t PDBDatabasePalm::RecordCount() const { return Count(*RequireOpen()); }

std::optional<Record> PDBDatabasePalm::Next() {
  const Link link = RequireOpen();
  const int32_t index = cursor_.Next();
  std::optional<Record> record = ReadAt(*link, index);
  cursor_.MoveTo(record ? index + 1 : Count(*link) + 1);
  return record;
}

std::optional<Record> PDBDatabasePalm::ByIndex(int32_t index) {
  return ReadAt(*RequireOpen(), index);
}

std::optional<Record> PDBDatabasePalm::ById(int32_t id) {
  const Link link = RequireOpen();
  return IsUniqueId(id) ? ReadById(*link, id) : std::nullopt;
}

std::optional<Record> PDBDatabasePalm::NextModified() {
  const Link link = RequireOpen();
  std::optional<Record> record = ReadNextModified(*link, cursor_.Next());
  if (record) {
    cursor_.StayOn(record->index);
  } else {
    cursor_.MoveTo(Count(*link) + 1);
  }
  return record;
}

// The id of the record at the index, asked of the handheld unless it is known to be the expected
// one: writing under a wrong id would replace another record.
int32_t PDBDatabasePalm::IdAt(HandheldDatabase& link, int32_t index, int32_t expected) {
  const auto position = static_cast<size_t>(index) - 1;
  if (expected != 0 && position < ids_.size() && ids_[position] == expected) return expected;
  const std::optional<Record> record = ReadAt(link, index);
  if (!record) throw Error(ErrorNumber::kInvalidArgument, u"no record " + ToText(index));
  if (expected != 0 && record->id != expected) {
    throw Error(ErrorNumber::kInvalidArgument, u"record " + ToText(index) + u" has the unique id " +
                                                   ToText(record->id) + u" and can't be given " +
                                                   ToText(expected));
  }
  return record->id;
}

int32_t PDBDatabasePalm::Update(int32_t index, int32_t unique_id, int16_t category,
                                int32_t attributes, ByteSpan data) {
  const Link link = RequireOpen();
  RequireRecordFields(unique_id, category, attributes);
  RequireSize(data.size(), u"a record");
  const Bytes bytes(data.begin(), data.end());  // a call over the link may let the caller change it

  const int32_t count = Count(*link);
  const bool is_new = index < 1 || index > count;
  if (is_new && count >= static_cast<int32_t>(kMaxRecords)) {
    throw Error(ErrorNumber::kOverflow, u"it holds 65535 records and can't take more");
  }
  int32_t id = 0;
  if (!is_new) {
    id = IdAt(*link, index, unique_id);
    // Written under none, it would come a second time.
    if (id == 0)
      throw Error(ErrorNumber::kInternal, u"record " + ToText(index) + u" has no unique id");
    // Should this fail, it is not known whether it is alive again.
    deleted_.erase(id);
  } else if (unique_id != 0 && (KnownIndexOf(unique_id) || link->ReadById(unique_id))) {
    throw Error(ErrorNumber::kInvalidArgument,
                u"another record has the unique id " + ToText(unique_id));
  }
  const uint8_t stored = StoredAttributes(attributes & ~kBusy, category);
  id = Change([&] { return link->Write(id, CategoryOf(stored), AttributesOf(stored), bytes); });
  if (is_new) count_ = count + 1;
  Learn(is_new ? count + 1 : index, id, stored);
  return id;
}

// False when there is no such record. Its index must be known, unless its removal can't matter to
// the cursor.
bool PDBDatabasePalm::RemoveRecord(HandheldDatabase& link, int32_t id) {
  std::optional<int32_t> index = KnownIndexOf(id);
  if (!index && !cursor_.IsAtStart() && cursor_.position() <= Count(link)) {
    const std::optional<Record> record = link.ReadById(id);
    if (!record) return false;
    index = record->index;
  }
  if (!Change([&] { return link.Remove(id); })) {
    ForgetRecords();
    deleted_.erase(id);
    return false;
  }
  deleted_.erase(id);
  if (count_) --*count_;
  if (!index) {
    ids_.clear();
  } else if (static_cast<size_t>(*index) <= ids_.size()) {
    ids_.erase(ids_.begin() + (*index - 1));
  }
  // Where the index is not known, one too low is right as well.
  if (covered_ != kAll && covered_ > 1 && (!index || *index < covered_)) --covered_;
  cursor_.OnRemoved(index);
  return true;
}

void PDBDatabasePalm::Remove(int32_t unique_id) {
  const Link link = RequireOpen();
  if (!IsUniqueId(unique_id) || !RemoveRecord(*link, unique_id)) throw NoSuchRecord(unique_id);
}

void PDBDatabasePalm::RemoveAll() {
  const Link link = RequireOpen();
  Change([&] { link->RemoveAll(); });
  ForgetRecords();
  deleted_.clear();
  count_ = 0;
  cursor_ = RecordCursor(1);
}

// A record marked eDelete that is not covered yet is dirty, so that the handheld finds it.
void PDBDatabasePalm::FindDeleted(HandheldDatabase& link) {
  while (covered_ != kAll) {
    if (!ReadNextModified(link, covered_)) covered_ = kAll;
  }
}

void PDBDatabasePalm::RemoveWithDeleteFlag() {
  const Link link = RequireOpen();
  FindDeleted(*link);
  const std::set<int32_t> ids = deleted_;
  for (const int32_t id : ids) RemoveRecord(*link, id);
}

void PDBDatabasePalm::ResetModifyFlags() {
  const Link link = RequireOpen();
  FindDeleted(*link);
  Change([&] { link->ResetModifiedFlags(); });
}

std::shared_ptr<CSyncIndex> PDBDatabasePalm::SyncIndex() {
  if (index_.IsToBeMade()) RequireOpen();
  return index_.Get(IndexPlace());
}

}  // namespace pylon
