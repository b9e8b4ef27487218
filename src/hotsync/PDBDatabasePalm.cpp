#include "hotsync/PDBDatabasePalm.h"

#include <algorithm>
#include <utility>

#include "base/Text.h"
#include "pdb/PDBFormat.h"

namespace pylon {
namespace {

constexpr int32_t kInternalError = 51;
constexpr int32_t kNameTaken = 58;
constexpr int32_t kBusy = 0x20;        // attribute of a record that an application has in hand
constexpr size_t kMaxNameLength = 31;  // a handheld's 32 bytes end in a zero
constexpr std::u16string_view kType = u"DATA";

AutomationError BadArgument(std::u16string description) {
  return AutomationError(ErrorNumber::kInvalidArgument, std::move(description));
}

bool IsUniqueId(int32_t id) { return id > 0 && id <= static_cast<int32_t>(kMaxUniqueId); }

// 1-based, as callers count.
int32_t IndexOf(const HandheldRecord& record) { return record.index + 1; }

uint8_t StoredAttributesOf(const HandheldRecord& record) {
  return StoredAttributes(record.attributes, record.category);
}

}  // namespace

PDBDatabasePalm::PDBDatabasePalm(std::shared_ptr<Handheld> handheld, const AnsiCodePage& code_page,
                                 std::shared_ptr<LogSink> log, SyncIndexFactory indexes)
    : handheld_(std::move(handheld)),
      code_page_(&code_page),
      log_(log ? std::move(log) : std::make_shared<NullLog>()),
      indexes_(std::move(indexes)) {}

void PDBDatabasePalm::SetUp(std::u16string_view creator_id, eDatabaseForType database_for,
                            std::u16string_view name, std::u16string_view folder) {
  creator_ = creator_id;
  database_for_ = database_for;
  name_ = name;
  folder_ = folder;
}

// ---- Failures

PDBDatabasePalm::Link PDBDatabasePalm::RequireOpen() const {
  if (!link_) throw Error(ErrorNumber::kInvalidArgument, u"it is not open");
  return link_;
}

bool PDBDatabasePalm::Refuse(std::u16string_view reason) const {
  log_->UpdateLog(u"Database \"" + name_ + u"\": " + std::u16string(reason));
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

// ---- Properties

bool PDBDatabasePalm::NameIsPossible() const {
  return !name_.empty() && name_.size() <= kMaxNameLength && PalmName::Holds(name_, *code_page_);
}

void PDBDatabasePalm::SetPDBFilePath(std::u16string_view path) {
  if (path.empty()) return;
  throw Error(ErrorNumber::kActionNotSupported, u"it is in no file");
}

void PDBDatabasePalm::SetPDBDatabaseName(std::u16string_view name) {
  if (name == name_) return;
  if (!PalmName::Holds(name, *code_page_)) {
    throw BadArgument(u"\"" + std::u16string(name) +
                      u"\" is no database name: it may have up to 32 characters of the system's "
                      u"code page");
  }
  if (link_) throw Error(ErrorNumber::kActionNotSupported, u"a handheld renames none");
  name_ = name;
  unreadable_ = false;
}

std::u16string PDBDatabasePalm::CreatorId() const {
  if (!link_ || is_new_) return creator_;
  const std::optional<HandheldDatabaseInfo> info = Info();
  return info && !info->creator.empty() ? info->creator : creator_;
}

void PDBDatabasePalm::SetCreatorId(std::u16string_view id) {
  if (!PalmId::Holds(id, *code_page_)) {
    throw BadArgument(u"\"" + std::u16string(id) +
                      u"\" is no creator id: it may have up to 4 characters of the system's code "
                      u"page");
  }
  if (link_ && id != CreatorId()) {
    if (!untouched_) {
      throw Error(ErrorNumber::kActionNotSupported,
                  u"its creator can be set before something is written to it only");
    }
    if (id.size() != 4) throw Error(ErrorNumber::kInvalidArgument, u"a creator has 4 characters");
    // Made anew: nothing is in it yet.
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

// ---- Opening, creating, removing

void PDBDatabasePalm::TakeLink(const std::shared_ptr<Handheld>& handheld,
                               std::unique_ptr<HandheldDatabase> link) {
  if (!link) throw Error(kInternalError, u"it can't be opened");
  if (!handheld_) throw Error(ErrorNumber::kInvalidArgument, u"the session has ended meanwhile");
  HandheldDatabase* const database = link.release();
  link_ = Link(database, [handheld](HandheldDatabase* closed) { delete closed; });
  cursor_ = 1;
  cursor_delivered_ = false;
  ForgetRecords();
  deleted_.clear();
}

void PDBDatabasePalm::DropLink() noexcept {
  const Link dropped = std::exchange(link_, nullptr);  // closes when all is in order here
  cursor_ = 0;
  cursor_delivered_ = false;
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
  is_new_ = untouched_ = false;
  TakeLink(handheld, std::move(link));
  TakeIndex();
  return true;
}

bool PDBDatabasePalm::CreateDatabase() {
  const std::shared_ptr<Handheld> handheld = handheld_;
  if (!handheld) return Refuse(u"the session with the handheld has ended");
  if (!NameIsPossible()) {
    return Refuse(
        u"a new database's name has up to 31 characters of the system's code page on a handheld");
  }
  if (link_) {
    const Link link = link_;
    Empty(*link);
    cursor_ = 1;
    cursor_delivered_ = false;
  } else {
    if (creator_.size() != 4 || !PalmId::Holds(creator_, *code_page_)) {
      return Refuse(u"it can't be created without a creator id of four characters");
    }
    std::unique_ptr<HandheldDatabase> link;
    bool is_new = false;
    try {
      link = handheld->CreateDatabase(name_, creator_, kType);
      is_new = true;
    } catch (const AutomationError& error) {
      if (error.number() != kNameTaken) throw;
    }
    if (!is_new) {
      if (unreadable_) {
        return Refuse(u"it is on the handheld and could not be opened: delete it first");
      }
      link = handheld->OpenDatabase(name_);
      if (link) Empty(*link);
    }
    TakeLink(handheld, std::move(link));
    unreadable_ = false;
    is_new_ = untouched_ = is_new;
  }
  if (index_) index_->Discard();
  TakeIndex();
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
  CloseIndex();
  is_new_ = untouched_ = false;
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
  unreadable_ = is_new_ = untouched_ = false;
  if (index_) index_->Discard();
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

// ---- Blocks

void PDBDatabasePalm::ReadAppInfoBlock(PDBByteStream& stream) {
  stream.Fill(RequireOpen()->ReadAppInfoBlock());
}
void PDBDatabasePalm::ReadSortInfoBlock(PDBByteStream& stream) {
  stream.Fill(RequireOpen()->ReadSortInfoBlock());
}

void PDBDatabasePalm::WriteAppInfoBlock(const PDBByteStream& stream) {
  const Link link = RequireOpen();
  RequireSize(stream.BlockBytes().size(), u"an AppInfo block");
  Change([&] { link->WriteAppInfoBlock(stream.BlockBytes()); });
}
void PDBDatabasePalm::WriteSortInfoBlock(const PDBByteStream& stream) {
  const Link link = RequireOpen();
  RequireSize(stream.BlockBytes().size(), u"a SortInfo block");
  Change([&] { link->WriteSortInfoBlock(stream.BlockBytes()); });
}

// ---- What is known of the records

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

void PDBDatabasePalm::Note(int32_t index, uint32_t id, int32_t attributes) {
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

// Of the records from `from` to before `to` those marked eDelete are noted.
void PDBDatabasePalm::Cover(int32_t from, int32_t to) {
  if (from <= covered_) covered_ = std::max(covered_, to);
}

std::optional<int32_t> PDBDatabasePalm::KnownIndexOf(uint32_t id) const {
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
std::optional<HandheldRecord> PDBDatabasePalm::ReadAt(HandheldDatabase& link, int32_t index) {
  if (index < 1 || index > Count(link)) return std::nullopt;
  std::optional<HandheldRecord> record = link.ReadByIndex(index - 1);
  if (record) {
    record->index = index - 1;
    Note(index, record->id, StoredAttributesOf(*record));
  } else {
    ForgetRecords();
    if (index <= Count(link)) {
      throw Error(kInternalError, u"record " + ToText(index) + u" can't be read");
    }
  }
  return record;
}

std::optional<HandheldRecord> PDBDatabasePalm::NextModified(HandheldDatabase& link, int32_t from) {
  if (count_ && from > *count_) return std::nullopt;
  std::optional<HandheldRecord> record = link.ReadNextModified(from - 1);
  if (record && IndexOf(*record) < from) {
    throw Error(kInternalError, u"its modified records come in no order");
  }
  if (record) Note(IndexOf(*record), record->id, StoredAttributesOf(*record));
  Cover(from, record ? IndexOf(*record) + 1 : kAll);
  return record;
}

// ---- The cursor and reading

int32_t PDBDatabasePalm::IterationIndex() const {
  RequireOpen();
  return cursor_;
}

void PDBDatabasePalm::SetIterationIndex(int32_t index) {
  const Link link = RequireOpen();
  cursor_ = index <= 1 ? std::max(index, 0) : std::min(index, Count(*link) + 1);
  cursor_delivered_ = false;
}

bool PDBDatabasePalm::BOF() const {
  RequireOpen();
  return cursor_ < 1;
}

bool PDBDatabasePalm::EOF_() const { return cursor_ > Count(*RequireOpen()); }

int32_t PDBDatabasePalm::RecordCount() const { return Count(*RequireOpen()); }

// Index of the record that the next read starts with.
int32_t PDBDatabasePalm::NextIndex() const {
  return cursor_delivered_ ? cursor_ + 1 : std::max(cursor_, 1);
}

void PDBDatabasePalm::Deliver(const HandheldRecord& record, int32_t& unique_id, int16_t& category,
                              int32_t& attributes, PDBByteStream& stream) {
  const uint8_t stored = StoredAttributesOf(record);
  stream.Fill(record.data);
  unique_id = static_cast<int32_t>(record.id);
  category = CategoryOf(stored);
  attributes = AttributesOf(stored);
}

bool PDBDatabasePalm::ReadNext(int32_t& Index, int32_t& UniqueId, int16_t& Category,
                               int32_t& Attributes, PDBByteStream& oByteStream) {
  const Link link = RequireOpen();
  const int32_t index = NextIndex();
  const std::optional<HandheldRecord> record = ReadAt(*link, index);
  cursor_ = record ? index + 1 : Count(*link) + 1;
  cursor_delivered_ = false;
  if (!record) return false;
  Deliver(*record, UniqueId, Category, Attributes, oByteStream);
  Index = index;
  return true;
}

bool PDBDatabasePalm::ReadNextByIndex(int32_t Index, int32_t& UniqueId, int16_t& Category,
                                      int32_t& Attributes, PDBByteStream& aData) {
  const Link link = RequireOpen();
  const std::optional<HandheldRecord> record = ReadAt(*link, Index);
  if (!record) return false;
  Deliver(*record, UniqueId, Category, Attributes, aData);
  return true;
}

bool PDBDatabasePalm::ReadNextById(int32_t& Index, int32_t UniqueId, int16_t& Category,
                                   int32_t& Attributes, PDBByteStream& aData) {
  const Link link = RequireOpen();
  if (!IsUniqueId(UniqueId)) return false;
  const std::optional<HandheldRecord> record = link->ReadById(static_cast<uint32_t>(UniqueId));
  if (!record) return false;
  Note(IndexOf(*record), record->id, StoredAttributesOf(*record));
  Deliver(*record, UniqueId, Category, Attributes, aData);
  Index = IndexOf(*record);
  return true;
}

bool PDBDatabasePalm::ReadNextModified(int32_t& Index, int32_t& UniqueId, int16_t& Category,
                                       int32_t& Attributes, PDBByteStream& aData) {
  const Link link = RequireOpen();
  const std::optional<HandheldRecord> record = NextModified(*link, NextIndex());
  cursor_ = record ? IndexOf(*record) : Count(*link) + 1;
  cursor_delivered_ = record.has_value();
  if (!record) return false;
  Deliver(*record, UniqueId, Category, Attributes, aData);
  Index = IndexOf(*record);
  return true;
}

// ---- Changing records

// The id of the record at the index, asked of the handheld unless it is known to be the expected
// one: writing under a wrong id would replace another record.
uint32_t PDBDatabasePalm::IdAt(HandheldDatabase& link, int32_t index, int32_t expected) {
  const auto position = static_cast<size_t>(index) - 1;
  const auto id = static_cast<uint32_t>(expected);
  if (id != 0 && position < ids_.size() && ids_[position] == id) return id;
  const std::optional<HandheldRecord> record = ReadAt(link, index);
  if (!record) throw Error(ErrorNumber::kInvalidArgument, u"no record " + ToText(index));
  if (id != 0 && record->id != id) {
    throw Error(ErrorNumber::kInvalidArgument, u"record " + ToText(index) + u" has the unique id " +
                                                   ToText(record->id) + u" and can't be given " +
                                                   ToText(expected));
  }
  return record->id;
}

void PDBDatabasePalm::Update(int32_t Index, int32_t& UniqueId, int16_t Category, int32_t Attributes,
                             const PDBByteStream& oByteStream) {
  const Link link = RequireOpen();
  if (Category < 0 || Category > 15) {
    throw BadArgument(u"The category " + ToText(Category) + u" is not within 0 to 15");
  }
  if (Attributes < 0 || Attributes > 255) {
    throw BadArgument(u"The attributes " + ToText(Attributes) + u" are not within 0 to 255");
  }
  if (UniqueId != 0 && !IsUniqueId(UniqueId)) {
    throw BadArgument(u"The unique id " + ToText(UniqueId) + u" is not within 0 to 16777215");
  }
  RequireSize(oByteStream.RecordBytes().size(), u"a record");

  const int32_t count = Count(*link);
  const bool is_new = Index < 1 || Index > count;
  if (is_new && count >= static_cast<int32_t>(kMaxRecords)) {
    throw Error(ErrorNumber::kOverflow, u"it holds 65535 records and can't take more");
  }
  uint32_t id = 0;
  if (!is_new) {
    id = IdAt(*link, Index, UniqueId);
    // Written under none, it would come a second time.
    if (id == 0) throw Error(kInternalError, u"record " + ToText(Index) + u" has no unique id");
    // Should this fail, nobody knows whether it is alive again.
    deleted_.erase(id);
  } else if (UniqueId != 0) {
    const auto wanted = static_cast<uint32_t>(UniqueId);
    if (KnownIndexOf(wanted) || link->ReadById(wanted)) {
      throw Error(ErrorNumber::kInvalidArgument,
                  u"another record has the unique id " + ToText(UniqueId));
    }
  }
  const uint8_t stored = StoredAttributes(Attributes & ~kBusy, Category);
  id = Change([&] {
    return link->Write(id, static_cast<uint8_t>(CategoryOf(stored)),
                       static_cast<uint8_t>(AttributesOf(stored)), oByteStream.RecordBytes());
  });
  if (is_new) count_ = count + 1;
  Note(is_new ? count + 1 : Index, id, stored);
  UniqueId = static_cast<int32_t>(id);
}

// False when there is no such record. The cursor stays with the record that it stands on, for which
// the index of the one that goes must be known, unless that can't matter.
bool PDBDatabasePalm::RemoveRecord(HandheldDatabase& link, uint32_t id) {
  std::optional<int32_t> index = KnownIndexOf(id);
  if (!index && (cursor_ > 1 || cursor_delivered_) && cursor_ <= Count(link)) {
    const std::optional<HandheldRecord> record = link.ReadById(id);
    if (!record) return false;
    index = IndexOf(*record);
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
  if (index == cursor_) cursor_delivered_ = false;
  if (index ? *index < cursor_ : cursor_ > 1) --cursor_;
  return true;
}

void PDBDatabasePalm::Remove(int32_t UniqueId) {
  const Link link = RequireOpen();
  if (!IsUniqueId(UniqueId) || !RemoveRecord(*link, static_cast<uint32_t>(UniqueId))) {
    throw BadArgument(u"No record has the unique id " + ToText(UniqueId));
  }
}

void PDBDatabasePalm::RemoveAll() {
  const Link link = RequireOpen();
  Change([&] { link->RemoveAll(); });
  ForgetRecords();
  deleted_.clear();
  count_ = 0;
  cursor_ = 1;
  cursor_delivered_ = false;
}

// What is marked eDelete and not covered yet is dirty, so that the handheld finds it.
void PDBDatabasePalm::FindDeleted(HandheldDatabase& link) {
  while (covered_ != kAll) {
    if (!NextModified(link, covered_)) covered_ = kAll;
  }
}

void PDBDatabasePalm::RemoveWithDeleteFlag() {
  const Link link = RequireOpen();
  FindDeleted(*link);
  const std::set<uint32_t> doomed = deleted_;
  for (const uint32_t id : doomed) RemoveRecord(*link, id);
}

void PDBDatabasePalm::ResetModifyFlags() {
  const Link link = RequireOpen();
  FindDeleted(*link);
  Change([&] { link->ResetModifiedFlags(); });
}

// ---- The sync index

std::shared_ptr<CSyncIndex> PDBDatabasePalm::SyncIndex() {
  if (!indexes_) throw AutomationError(ErrorNumber::kActionNotSupported);
  if (!index_) RequireOpen();
  if (link_) Index();
  return index_;
}

CSyncIndex& PDBDatabasePalm::Index() {
  if (!index_) {
    std::shared_ptr<CSyncIndex> index = indexes_();
    index->SetDatabase(folder_, name_);
    if (is_new_) index->StartAfresh();
    index_ = std::move(index);
  }
  return *index_;
}

// After opening and creating. The object may have been another database before: the index of that
// one stays with those who hold it.
void PDBDatabasePalm::TakeIndex() {
  if (!index_) return;
  if (!index_->IsFor(folder_, name_)) {
    CloseIndex();
    index_.reset();
  } else if (is_new_) {
    index_->StartAfresh();
  }
}

void PDBDatabasePalm::CloseIndex() {
  try {
    // One of a database of that name that is gone.
    if (is_new_ && indexes_) Index();
    if (index_) index_->CloseIndex();
  } catch (const AutomationError&) {
    // The index keeps its changes for the next close, and its log has told it.
    if (!index_ || !index_->HasLog()) throw;
  }
}

}  // namespace pylon
