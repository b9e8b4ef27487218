#include "pdb/PDBDatabasePC.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <utility>

#include "base/AutomationError.h"
#include "base/Text.h"
#include "files/FileCalls.h"
#include "files/FileNames.h"

namespace pylon {
namespace {

constexpr size_t kMaxFileSize = std::numeric_limits<int32_t>::max();
constexpr size_t kMaxAppInfo = std::numeric_limits<int16_t>::max();
constexpr std::u16string_view kDefaultType = u"DATA";

bool IsModified(const RecordEntry& entry) { return entry.attributes & (eDirty | eDelete); }

// Gathers what is written in a row, so that the file sees few and large writes whatever the number
// of records. The buffer is bounded, and what is large goes past it: copying a large database whole
// would cost more than writing it.
class GatheringWriter {
 public:
  GatheringWriter(IPCFile& file, size_t total)
      : file_(file),
        capacity_(std::min(total, kCapacity)),
        buffer_(std::make_unique_for_overwrite<std::byte[]>(capacity_)) {}

  void Write(ByteSpan bytes) {
    if (bytes.size() >= kLarge) {
      Flush();
      Put(bytes);
      return;
    }
    while (bytes.size() > capacity_ - used_) {
      const ByteSpan fitting = bytes.first(capacity_ - used_);
      Copy(fitting);
      Flush();
      bytes = bytes.subspan(fitting.size());
    }
    Copy(bytes);
  }
  void WriteZeros(size_t count) {
    static constexpr std::byte kZeros[512] = {};
    for (; count > 0; count -= std::min(count, sizeof(kZeros))) {
      Write(ByteSpan(kZeros).first(std::min(count, sizeof(kZeros))));
    }
  }
  // Writes the rest; the bytes that the file took in all. After a short write it gets no more.
  size_t Finish() {
    Flush();
    return written_;
  }

 private:
  static constexpr size_t kCapacity = 4 << 20;
  static constexpr size_t kLarge = 1 << 20;

  void Copy(ByteSpan bytes) {
    if (!bytes.empty()) std::memcpy(buffer_.get() + used_, bytes.data(), bytes.size());
    used_ += bytes.size();
  }
  void Flush() { Put({buffer_.get(), std::exchange(used_, 0)}); }
  void Put(ByteSpan bytes) {
    if (failed_ || bytes.empty()) return;
    const int32_t count = file_.WriteByteArray(bytes, static_cast<int32_t>(written_), {});
    failed_ = count != static_cast<int32_t>(bytes.size());
    written_ += static_cast<size_t>(std::max(count, 0));
  }

  IPCFile& file_;
  const size_t capacity_;
  std::unique_ptr<std::byte[]> buffer_;
  size_t used_ = 0;     // <= capacity_
  size_t written_ = 0;  // where the buffer goes
  bool failed_ = false;
};

AutomationError BadArgument(std::u16string description) {
  return AutomationError(ErrorNumber::kInvalidArgument, std::move(description));
}

}  // namespace

PDBDatabasePC::PDBDatabasePC(std::unique_ptr<IPCFile> file, const AnsiCodePage& code_page,
                             const Clock& clock, std::shared_ptr<LogSink> log,
                             SyncIndexFactory indexes)
    : file_(std::move(file)),
      code_page_(&code_page),
      clock_(&clock),
      log_(log ? std::move(log) : std::make_shared<NullLog>()),
      utils_(code_page),
      indexes_(std::move(indexes)) {}

// ---- Failures

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
  log_->UpdateLog(u"Database " + PDBFilePath() + u": " + std::u16string(reason));
  return false;
}

bool PDBDatabasePC::RefuseDamaged(std::u16string_view what) {
  damaged_ = true;
  return Refuse(u"the file is damaged: " + std::u16string(what));
}

std::u16string PDBDatabasePC::FileFailure() const {
  std::u16string message;
  int32_t number = 0;
  return file_->ReadErrorHandler(message, number) ? message : std::u16string();
}

AutomationError PDBDatabasePC::DeviceError(std::u16string_view path,
                                           std::u16string_view what) const {
  std::u16string failure;
  int32_t number = 0;
  if (file_->ReadErrorHandler(failure, number)) failure = u" (" + failure + u")";
  std::optional<FailureKind> kind;
  if (number == static_cast<int32_t>(file_error::kCancelled)) kind = FailureKind::kCancelled;
  return AutomationError(
      ErrorNumber::kDeviceIo,
      u"Database " + std::u16string(path) + u": " + std::u16string(what) + failure, kind);
}

AutomationError PDBDatabasePC::AppInfoOverflow(size_t size) const {
  return AutomationError(ErrorNumber::kOverflow,
                         u"Database " + PDBFilePath() + u": an AppInfo block of " +
                             ToText(static_cast<int64_t>(size)) + u" bytes; 32767 is the most");
}

// ---- Properties

std::u16string PDBDatabasePC::PDBFilePath() const { return file_->FullFileName(); }

void PDBDatabasePC::SetPDBFilePath(std::u16string_view path) {
  RequireIdle();
  if (state_ == State::kOpen) {
    if (path == PDBFilePath()) return;
    LoadIndexToMove();
    Detach();
    dirty_ = true;
  }
  const std::u16string old_path = PDBFilePath();
  file_->SetFullFileName(path);
  if (!EqualsIgnoringCase(PDBFilePath(), old_path)) unopened_ = false;
  MoveIndex(CSyncIndex::OldFile::kStays);
}

template <class Text>
void PDBDatabasePC::SetText(Text& field, std::u16string_view text, const char16_t* what) {
  if (!Text::Holds(text, *code_page_)) {
    throw BadArgument(u"\"" + std::u16string(text) + u"\" is no " + what + u": it may have up to " +
                      ToText(static_cast<int64_t>(field.bytes.size())) +
                      u" characters of the system's code page");
  }
  RequireIdle();
  if (text == field.Text(*code_page_)) return;
  field.SetText(text, *code_page_);
  dirty_ = true;
}

std::u16string PDBDatabasePC::PDBDatabaseName() const { return header_.name.Text(*code_page_); }
void PDBDatabasePC::SetPDBDatabaseName(std::u16string_view name) {
  if (name != PDBDatabaseName()) LoadIndexToMove();
  SetText(header_.name, name, u"database name");
  MoveIndex(CSyncIndex::OldFile::kGoes);
}

std::u16string PDBDatabasePC::CreatorId() const { return header_.creator.Text(*code_page_); }
void PDBDatabasePC::SetCreatorId(std::u16string_view id) {
  SetText(header_.creator, id, u"creator id");
}

std::u16string PDBDatabasePC::DatabaseType() const { return header_.type.Text(*code_page_); }
void PDBDatabasePC::SetDatabaseType(std::u16string_view id) {
  SetText(header_.type, id, u"database type");
}

void PDBDatabasePC::SetDatabaseFor(eDatabaseForType value) {
  RequireIdle();
  if (value == database_for_) return;
  database_for_ = value;
  ids_assigned_ = false;
  dirty_ = true;
}

Date PDBDatabasePC::CreateDateTime() const { return utils_.PalmLongToDate(header_.creation_date); }
Date PDBDatabasePC::ModifyDateTime() const {
  return utils_.PalmLongToDate(header_.modification_date);
}

// ---- Opening and creating

bool PDBDatabasePC::OpenDatabase() {
  if (IsBusy()) return RefuseBusy();
  if (state_ == State::kOpen) {
    SetIterationIndex(1);
    return true;
  }
  damaged_ = false;
  unopened_ = true;  // whatever goes wrong, errors that are raised included
  struct Opening {
    PDBDatabasePC& database;
    ~Opening() {
      if (database.state_ == State::kOpen) return;
      database.state_ = State::kClosed;
      database.file_->CloseFile();
    }
  } opening{*this};
  state_ = State::kOpening;

  if (!file_->OpenFile({}, u"R", {})) {
    const std::u16string failure = FileFailure();
    unopened_ = file_->FileExists();
    return Refuse(unopened_ ? u"the file can't be opened: " + failure : u"there is no such file");
  }

  PDBHeader header;
  if (!ReadHeader(header)) return false;
  const int32_t file_size = file_->FileSize();
  if (const std::u16string failure = FileFailure(); file_size == 0 && !failure.empty()) {
    return Refuse(u"the file's size can't be read: " + failure);
  }
  const size_t list_end = PDBHeader::kSize + PDBListEntry::kSize * header.record_count;
  if (file_size < 0 || static_cast<size_t>(file_size) < list_end) {
    return RefuseDamaged(u"it ends within its record list");
  }
  std::vector<RecordEntry> records;
  if (!ReadList(header, static_cast<size_t>(file_size), records)) return false;
  Block app_info, sort_info;
  const size_t data_start =
      records.empty() ? static_cast<size_t>(file_size) : size_t{records.front().offset};
  if (!LocateBlocks(header, list_end, data_start, app_info, sort_info)) return false;

  Forget();
  header_ = header;
  app_info_ = std::move(app_info);
  sort_info_ = std::move(sort_info);
  records_.Assign(std::move(records));
  body_offset_ = static_cast<uint32_t>(list_end);
  file_size_ = static_cast<uint32_t>(file_size);
  state_ = State::kOpen;
  unopened_ = false;
  cursor_ = 1;
  TakeIndex();
  return true;
}

bool PDBDatabasePC::ReadAt(Bytes& bytes, size_t offset, size_t size) {
  const auto count = static_cast<int32_t>(size);
  return file_->ReadByteArray(bytes, static_cast<int32_t>(offset), count, {}) == count &&
         bytes.size() == size;
}

bool PDBDatabasePC::ReadHeader(PDBHeader& header) {
  Bytes bytes;
  bool complete = ReadAt(bytes, 0, PDBHeader::kSize);
  // A file that begins with FF FE counts as text and is read from behind that mark.
  constexpr std::byte kMark[] = {std::byte{0xFF}, std::byte{0xFE}};
  if (file_->CurrentPos() == static_cast<int32_t>(bytes.size() + std::size(kMark))) {
    bytes.insert(bytes.begin(), std::begin(kMark), std::end(kMark));
    complete = bytes.size() >= PDBHeader::kSize;
  }
  if (!complete) {
    const std::u16string failure = FileFailure();
    return failure.empty() ? RefuseDamaged(u"it ends within its header")
                           : Refuse(u"the header can't be read: " + failure);
  }
  header = DecodeHeader(ByteSpan(bytes).first<PDBHeader::kSize>(), FileByteOrder(database_for_));
  return true;
}

// Takes the record list apart. Sizes are not stored: a record ends where the next one starts.
bool PDBDatabasePC::ReadList(const PDBHeader& header, size_t file_size,
                             std::vector<RecordEntry>& records) {
  const size_t count = header.record_count;
  if (count == 0) return true;
  Bytes list;
  if (!ReadAt(list, PDBHeader::kSize, PDBListEntry::kSize * count)) {
    return Refuse(u"the record list can't be read: " + FileFailure());
  }
  records.resize(count);
  size_t end_of_last = PDBHeader::kSize + list.size();
  ByteSpan rest(list);
  for (size_t i = 0; i < count; ++i, rest = rest.subspan(PDBListEntry::kSize)) {
    const PDBListEntry entry =
        DecodeListEntry(rest.first<PDBListEntry::kSize>(), FileByteOrder(database_for_));
    if (entry.offset < end_of_last || entry.offset > file_size) {
      return RefuseDamaged(u"record " + ToText(static_cast<int64_t>(i) + 1) + u" starts at " +
                           ToText(entry.offset) + u", outside of " +
                           ToText(static_cast<int64_t>(end_of_last)) + u" to " +
                           ToText(static_cast<int64_t>(file_size)));
    }
    if (i > 0) records[i - 1].size = entry.offset - records[i - 1].offset;
    records[i].offset = entry.offset;
    records[i].unique_id = entry.unique_id;
    records[i].attributes = entry.attributes;
    end_of_last = entry.offset;
  }
  records.back().size = static_cast<uint32_t>(file_size) - records.back().offset;
  return true;
}

// `data_start` is the first record's offset, or the file's size.
bool PDBDatabasePC::LocateBlocks(const PDBHeader& header, size_t list_end, size_t data_start,
                                 Block& app_info, Block& sort_info) {
  size_t end = data_start;
  const auto locate = [&](int32_t offset, const char16_t* name, Block& block) {
    if (offset < 1) return true;
    const auto start = static_cast<size_t>(offset);
    if (start < list_end || start > end) {
      return RefuseDamaged(u"its " + std::u16string(name) + u" block starts at " + ToText(offset) +
                           u", outside of " + ToText(static_cast<int64_t>(list_end)) + u" to " +
                           ToText(static_cast<int64_t>(end)));
    }
    block.offset = static_cast<uint32_t>(start);
    block.size = static_cast<uint32_t>(end - start);
    end = start;
    return true;
  };
  if (!locate(header.sort_info_offset, u"SortInfo", sort_info)) return false;
  if (!locate(header.app_info_offset, u"AppInfo", app_info)) return false;
  if (app_info.size > kMaxAppInfo) throw AppInfoOverflow(app_info.size);
  return true;
}

bool PDBDatabasePC::CreateDatabase() {
  if (IsBusy()) return RefuseBusy();
  if (file_->FileName().empty()) return Refuse(u"it has no file name");
  std::u16string name = PDBDatabaseName();
  if (name.empty()) name = file_->FileNameNoExt();
  if (name.empty()) return Refuse(u"a database can't be created without a name");
  if (!PalmName::Holds(name, *code_page_)) {
    return Refuse(u"\"" + name +
                  u"\" is no database name: it may have up to 32 characters of the "
                  u"system's code page");
  }
  const int32_t now = utils_.DateToPalmLong(clock_->Now());
  const bool is_new = !file_->FileExists();
  if (unopened_ && !is_new) {
    return Refuse(u"the file is there and could not be opened: delete it first");
  }
  unopened_ = false;
  Abandon();
  is_new_ = is_new;

  PDBHeader header;
  header.name.SetText(name, *code_page_);
  header.type = header_.type;
  header.creator = header_.creator;
  if (DatabaseType().empty()) header.type.SetText(kDefaultType, *code_page_);
  header.creation_date = header.modification_date = now;
  header_ = header;
  state_ = State::kOpen;
  dirty_ = true;
  cursor_ = 1;
  TakeIndex();
  return true;
}

// ---- The body of the file

bool PDBDatabasePC::NeedsBody() const {
  const auto in_file = [](const Block& block) { return !block.changed && block.size > 0; };
  if (in_file(app_info_) || in_file(sort_info_)) return true;
  for (size_t slot = records_.First(); slot != records_.End(); slot = records_.Next(slot)) {
    if (!records_[slot].data && records_[slot].size > 0) return true;
  }
  return false;
}

void PDBDatabasePC::LoadBody() {
  if (body_loaded_) return;
  Bytes body;
  if (!ReadAt(body, body_offset_, file_size_ - body_offset_)) {
    throw DeviceError(PDBFilePath(), u"its records can't be read");
  }
  body_ = std::move(body);
  body_loaded_ = true;
}

// Makes the database independent of its file, and closes that.
void PDBDatabasePC::Detach() {
  if (!file_->IsOpen()) return;
  if (NeedsBody()) LoadBody();
  file_->CloseFile();
}

ByteSpan PDBDatabasePC::FromBody(uint32_t offset, uint32_t size) {
  if (size == 0) return {};
  LoadBody();
  return ByteSpan(body_).subspan(offset - body_offset_, size);
}

ByteSpan PDBDatabasePC::DataOf(const RecordEntry& entry) {
  if (entry.data) return {entry.data, entry.size};
  return FromBody(entry.offset, entry.size);
}

ByteSpan PDBDatabasePC::DataOf(const Block& block) {
  if (block.changed) return block.data;
  return FromBody(block.offset, block.size);
}

// ---- Blocks

void PDBDatabasePC::ReadAppInfoBlock(PDBByteStream& stream) {
  RequireOpen();
  stream.Fill(DataOf(app_info_));
}

void PDBDatabasePC::WriteAppInfoBlock(const PDBByteStream& stream) {
  RequireOpen();
  const size_t size = stream.BlockBytes().size();
  if (size > kMaxAppInfo) throw AppInfoOverflow(size);
  WriteBlock(app_info_, stream);
}

void PDBDatabasePC::ReadSortInfoBlock(PDBByteStream& stream) {
  RequireOpen();
  stream.Fill(DataOf(sort_info_));
}

void PDBDatabasePC::WriteSortInfoBlock(const PDBByteStream& stream) {
  WriteBlock(sort_info_, stream);
}

void PDBDatabasePC::WriteBlock(Block& block, const PDBByteStream& stream) {
  RequireOpen();
  const ByteSpan bytes = stream.BlockBytes();
  block.data.assign(bytes.begin(), bytes.end());
  block.size = static_cast<uint32_t>(bytes.size());
  block.changed = true;
  dirty_ = true;
}

// ---- The cursor and reading

int32_t PDBDatabasePC::IterationIndex() const {
  RequireOpen();
  return cursor_;
}

void PDBDatabasePC::SetIterationIndex(int32_t index) {
  RequireOpen();
  cursor_ = std::clamp(index, 0, records_.count() + 1);
  cursor_delivered_ = false;
}

bool PDBDatabasePC::BOF() const {
  RequireOpen();
  return cursor_ < 1;
}

bool PDBDatabasePC::EOF_() const {
  RequireOpen();
  return cursor_ > records_.count();
}

int32_t PDBDatabasePC::RecordCount() const {
  RequireOpen();
  return records_.count();
}

// Index of the record that the next read starts with; record count + 1 at the end.
int32_t PDBDatabasePC::NextIndex() const {
  return cursor_delivered_ ? cursor_ + 1 : std::max(cursor_, 1);
}

void PDBDatabasePC::ReadSlot(size_t slot, int32_t& unique_id, int16_t& category,
                             int32_t& attributes, PDBByteStream& stream) {
  const RecordEntry& entry = records_[slot];
  stream.Fill(DataOf(entry));
  unique_id = static_cast<int32_t>(entry.unique_id);
  category = CategoryOf(entry.attributes);
  attributes = AttributesOf(entry.attributes);
}

bool PDBDatabasePC::ReadNext(int32_t& Index, int32_t& UniqueId, int16_t& Category,
                             int32_t& Attributes, PDBByteStream& oByteStream) {
  RequireOpen();
  const int32_t index = NextIndex();
  if (!ReadNextByIndex(index, UniqueId, Category, Attributes, oByteStream)) {
    SetIterationIndex(records_.count() + 1);
    return false;
  }
  Index = index;
  SetIterationIndex(index + 1);
  return true;
}

bool PDBDatabasePC::ReadNextByIndex(int32_t Index, int32_t& UniqueId, int16_t& Category,
                                    int32_t& Attributes, PDBByteStream& aData) {
  RequireOpen();
  if (Index < 1 || Index > records_.count()) return false;
  ReadSlot(records_.SlotAt(Index), UniqueId, Category, Attributes, aData);
  last_read_ = Index;
  return true;
}

bool PDBDatabasePC::ReadNextById(int32_t& Index, int32_t UniqueId, int16_t& Category,
                                 int32_t& Attributes, PDBByteStream& aData) {
  RequireOpen();
  const size_t slot = records_.Find(static_cast<uint32_t>(UniqueId));
  if (slot == RecordTable::kNone) return false;
  ReadSlot(slot, UniqueId, Category, Attributes, aData);
  Index = last_read_ = records_.IndexOf(slot);
  return true;
}

bool PDBDatabasePC::ReadNextModified(int32_t& Index, int32_t& UniqueId, int16_t& Category,
                                     int32_t& Attributes, PDBByteStream& aData) {
  RequireOpen();
  int32_t index = NextIndex();
  if (index <= records_.count()) {
    size_t slot = records_.SlotAt(index);
    while (slot != records_.End() && !IsModified(records_[slot])) {
      slot = records_.Next(slot);
      ++index;
    }
  }
  if (!ReadNextByIndex(index, UniqueId, Category, Attributes, aData)) {
    SetIterationIndex(records_.count() + 1);
    return false;
  }
  Index = index;
  SetIterationIndex(index);
  cursor_delivered_ = true;
  return true;
}

// ---- Changing records

void PDBDatabasePC::Update(int32_t Index, int32_t& UniqueId, int16_t Category, int32_t Attributes,
                           const PDBByteStream& oByteStream) {
  RequireOpen();
  if (Category < 0 || Category > 15) {
    throw BadArgument(u"The category " + ToText(Category) + u" is not within 0 to 15");
  }
  if (Attributes < 0 || Attributes > 255) {
    throw BadArgument(u"The attributes " + ToText(Attributes) + u" are not within 0 to 255");
  }
  if (UniqueId < 0 || UniqueId > static_cast<int32_t>(kMaxUniqueId)) {
    throw BadArgument(u"The unique id " + ToText(UniqueId) + u" is not within 0 to 16777215");
  }
  const bool is_new = Index < 1 || Index > records_.count();
  if (is_new && records_.count() == static_cast<int32_t>(kMaxRecords)) {
    throw AutomationError(ErrorNumber::kOverflow, u"The database " + PDBFilePath() +
                                                      u" holds 65535 records and can't take more");
  }
  const size_t slot = is_new ? RecordTable::kNone : records_.SlotAt(Index);
  auto id = static_cast<uint32_t>(UniqueId);
  if (id == 0 && !is_new) id = records_[slot].unique_id;
  const bool id_is_new = is_new || id != records_[slot].unique_id;
  if (id != 0 && id_is_new && records_.Find(id) != RecordTable::kNone) {
    throw BadArgument(u"Another record has the unique id " + ToText(id));
  }
  const ByteSpan bytes = oByteStream.RecordBytes();
  // Records without data get no id.
  if (id == 0 && !bytes.empty() && database_for_ != dftPalmHotSync) {
    AssignIds();
    if (!is_new) id = records_[slot].unique_id;
    if (id == 0) id = HandOutId();
  }

  const uint8_t attributes = StoredAttributes(Attributes, Category);
  if (is_new) {
    records_.Append(id, attributes, bytes);
  } else {
    records_.SetData(slot, bytes);
    records_.SetAttributes(slot, attributes);
    records_.SetId(slot, id);
  }
  if (ids_assigned_ && !bytes.empty()) NoteId(id);
  UniqueId = static_cast<int32_t>(id);
  dirty_ = true;
}

void PDBDatabasePC::Remove(int32_t UniqueId) {
  RequireOpen();
  const auto id = static_cast<uint32_t>(UniqueId);
  size_t slot = last_read_ > 0 ? records_.SlotAt(last_read_) : RecordTable::kNone;
  if (slot == RecordTable::kNone || records_[slot].unique_id != id) slot = records_.Find(id);
  if (slot == RecordTable::kNone) {
    throw BadArgument(u"No record has the unique id " + ToText(UniqueId));
  }
  const int32_t index = records_.IndexOf(slot);
  records_.Remove(slot);
  if (index == cursor_) cursor_delivered_ = false;
  if (index < cursor_) --cursor_;
  if (index == last_read_) last_read_ = 0;
  if (index < last_read_) --last_read_;
  dirty_ = true;
}

void PDBDatabasePC::RemoveAll() {
  RequireOpen();
  dirty_ = dirty_ || records_.count() > 0;
  records_.Clear();
  cursor_ = 1;
  cursor_delivered_ = false;
  last_read_ = 0;
}

void PDBDatabasePC::RemoveWithDeleteFlag() {
  RequireOpen();
  const auto doomed = [](const RecordEntry& entry) { return (entry.attributes & eDelete) != 0; };
  int32_t index = 0;
  int32_t removed_before_cursor = 0;
  int32_t removed = 0;
  for (size_t slot = records_.First(); slot != records_.End(); slot = records_.Next(slot)) {
    ++index;
    if (!doomed(records_[slot])) continue;
    ++removed;
    if (index < cursor_) ++removed_before_cursor;
    if (index == cursor_) cursor_delivered_ = false;
  }
  if (removed == 0) return;
  records_.RemoveIf(doomed);
  cursor_ -= removed_before_cursor;
  last_read_ = 0;
  dirty_ = true;
}

void PDBDatabasePC::ResetModifyFlags() {
  RequireOpen();
  for (size_t slot = records_.First(); slot != records_.End(); slot = records_.Next(slot)) {
    const uint8_t attributes = records_[slot].attributes;
    if ((attributes & eDelete) || !(attributes & eDirty)) continue;
    records_.SetAttributes(slot, static_cast<uint8_t>(attributes & ~eDirty));
    dirty_ = true;
  }
}

// ---- Unique ids

// The closing passes: the seed rises to the highest id of a record with data, then the records that
// have data and no id get the next ones.
void PDBDatabasePC::AssignIds() {
  if (database_for_ == dftPalmHotSync || ids_assigned_) return;
  for (size_t slot = records_.First(); slot != records_.End(); slot = records_.Next(slot)) {
    if (records_[slot].size > 0) NoteId(records_[slot].unique_id);
  }
  if (header_.next_unique_id == 0) header_.next_unique_id = 1;
  for (size_t slot = records_.First(); slot != records_.End(); slot = records_.Next(slot)) {
    const RecordEntry& entry = records_[slot];
    if (entry.size == 0 || entry.unique_id != 0) continue;
    records_.SetId(slot, HandOutId());
    dirty_ = true;  // also when the next one fails: what a caller has seen is saved
  }
  ids_assigned_ = true;
}

void PDBDatabasePC::NoteId(uint32_t id) {
  if (id == 0 || id < header_.unique_id_seed) return;
  header_.unique_id_seed = id;
  header_.next_unique_id = id + 1;
}

// Handhelds leave seeds that were never the id of a record: go on above the highest.
void PDBDatabasePC::RestartIds() {
  uint32_t highest = 0;
  for (size_t slot = records_.First(); slot != records_.End(); slot = records_.Next(slot)) {
    highest = std::max(highest, records_[slot].unique_id);
  }
  header_.unique_id_seed = highest;
  header_.next_unique_id = highest + 1;
}

uint32_t PDBDatabasePC::HandOutId() {
  uint32_t id = 0;
  do {
    if (std::max(header_.next_unique_id, header_.unique_id_seed) > kMaxUniqueId) RestartIds();
    if (header_.next_unique_id > kMaxUniqueId) {
      throw AutomationError(ErrorNumber::kOverflow,
                            u"The database " + PDBFilePath() + u" has no unique ids left");
    }
    id = header_.next_unique_id;
    ++header_.unique_id_seed;
    header_.next_unique_id = header_.unique_id_seed + 1;
    // An id that a record holds already counts as handed out: given again, one would be lost.
  } while (id == 0 || records_.Find(id) != RecordTable::kNone);
  return id;
}

// ---- Closing and saving

void PDBDatabasePC::CloseDatabase() {
  RequireIdle();
  if (state_ == State::kOpen) {
    if (dirty_) Save();
    Close();
  }
  CloseIndex();
  is_new_ = false;
}

// ---- The sync index

std::shared_ptr<CSyncIndex> PDBDatabasePC::SyncIndex() {
  if (!indexes_) throw AutomationError(ErrorNumber::kActionNotSupported);
  if (!index_) RequireOpen();
  if (state_ == State::kOpen) Index();
  return index_;
}

std::u16string PDBDatabasePC::IndexName() const {
  std::u16string name = PDBDatabaseName();
  return name.empty() ? file_->FileNameNoExt() : name;
}

// The index of the database as it is called now.
CSyncIndex& PDBDatabasePC::Index() {
  if (!index_) {
    std::shared_ptr<CSyncIndex> index = indexes_();
    index->SetDatabase(file_->FilePath(), IndexName());
    if (is_new_) index->StartAfresh();
    index_ = std::move(index);
  }
  return *index_;
}

// After opening and creating. The object may have been another database before: the index of that
// one stays with those who hold it.
void PDBDatabasePC::TakeIndex() {
  if (!index_) return;
  if (!index_->IsFor(file_->FilePath(), IndexName())) {
    CloseIndex();
    index_.reset();
  } else if (is_new_) {
    index_->StartAfresh();
  }
}

// Before the name or the folder changes, while the index can still be found.
void PDBDatabasePC::LoadIndexToMove() {
  if (state_ != State::kOpen || !indexes_) return;
  if (index_ || Index().SyncIndexExists()) index_->Load();
}

void PDBDatabasePC::MoveIndex(CSyncIndex::OldFile old_file) {
  if (state_ == State::kOpen && index_) {
    index_->MoveTo(file_->FilePath(), IndexName(), old_file);
  }
}

void PDBDatabasePC::CloseIndex() {
  try {
    // One of a database of that name that is gone.
    if (is_new_ && indexes_) Index();
    if (index_) index_->CloseIndex();
  } catch (const AutomationError&) {
    // The index keeps its changes for the next close.
    if (!index_->HasLog()) throw;
  }
}

void PDBDatabasePC::RemoveDatabase() {
  RequireIdle();
  const bool needs_file = file_->IsOpen() && !body_loaded_;
  file_->CloseFile();
  if (file_->FileExists() && !file_->DeleteFile()) {
    const AutomationError error = DeviceError(PDBFilePath(), u"it can't be deleted");
    // What is open goes on as before, its unsaved changes included.
    if (needs_file) Reopen();
    throw error;
  }
  unopened_ = false;
  Abandon();
}

void PDBDatabasePC::Reopen() {
  state_ = State::kOpening;  // as ever while a file is opened
  file_->OpenFile({}, u"R", {});
  state_ = State::kOpen;
}

bool PDBDatabasePC::Rename(std::u16string_view new_file_name) {
  if (IsBusy()) return RefuseBusy();
  if (state_ == State::kOpen) Detach();
  if (!file_->FileExists()) {
    if (state_ != State::kOpen) return Refuse(u"there is no such file");
    file_->SetFullFileName(new_file_name);
    return true;
  }
  if (file_->RenameFile(new_file_name)) return true;
  return Refuse(u"the file can't be renamed to " + std::u16string(new_file_name) + u": " +
                FileFailure());
}

void PDBDatabasePC::Abandon() {
  Close();
  is_new_ = false;
  if (index_) index_->Discard();
}

void PDBDatabasePC::Close() {
  file_->CloseFile();
  Forget();
}

// Leaves the header, whose texts and dates a closed database still tells.
void PDBDatabasePC::Forget() {
  state_ = State::kClosed;
  dirty_ = false;
  save_failure_.reset();
  app_info_ = {};
  sort_info_ = {};
  records_.Clear();
  cursor_ = last_read_ = 0;
  cursor_delivered_ = false;
  body_loaded_ = false;
  body_ = Bytes();
  body_offset_ = file_size_ = 0;
  ids_assigned_ = false;
}

PDBDatabasePC::Layout PDBDatabasePC::PlanLayout() const {
  Layout layout;
  layout.app_info = PDBHeader::kSize + PDBListEntry::kSize * static_cast<size_t>(records_.count());
  layout.sort_info = layout.app_info + BlockArea(app_info_.size, database_for_);
  layout.records = layout.sort_info + BlockArea(sort_info_.size, database_for_);
  // Summed in 64 bits: 65,535 records of almost 2 GB fit.
  uint64_t end = layout.records;
  for (size_t slot = records_.First(); slot != records_.End(); slot = records_.Next(slot)) {
    end += records_[slot].size;
  }
  if (end > kMaxFileSize) {
    throw AutomationError(ErrorNumber::kOverflow,
                          u"The database " + PDBFilePath() + u" would reach 2 GB");
  }
  layout.end = static_cast<size_t>(end);
  return layout;
}

void PDBDatabasePC::Save() {
  // A file that is not local may let other work in while it is written: changes made then would be
  // lost, so they are refused.
  struct Saving {
    State& state;
    ~Saving() { state = State::kOpen; }
  } saving{state_};
  state_ = State::kSaving;

  try {
    AssignIds();
    const Layout layout = PlanLayout();
    if (NeedsBody()) LoadBody();
    header_.modification_date = utils_.DateToPalmLong(clock_->Now());

    ReplaceFile(layout);
  } catch (const AutomationError& error) {
    if (!save_failure_ || save_failure_->kind == FailureKind::kCancelled) {
      save_failure_ = ToFailure(error, FailureKind::kUnsaved);
    }
    throw;
  }
}

// Returns the bytes that the open file took: layout.end when all went well.
size_t PDBDatabasePC::WriteTo(IPCFile& file, const Layout& layout) {
  const ByteOrder order = FileByteOrder(database_for_);
  GatheringWriter out(file, layout.end);
  header_.app_info_offset = app_info_.size > 0 ? static_cast<int32_t>(layout.app_info) : 0;
  header_.sort_info_offset = sort_info_.size > 0 ? static_cast<int32_t>(layout.sort_info) : 0;
  header_.record_count = static_cast<uint16_t>(records_.count());
  std::array<std::byte, PDBHeader::kSize> header;
  EncodeHeader(header_, header, order);
  out.Write(header);

  size_t offset = layout.records;
  for (size_t slot = records_.First(); slot != records_.End(); slot = records_.Next(slot)) {
    const RecordEntry& record = records_[slot];
    std::array<std::byte, PDBListEntry::kSize> entry;
    EncodeListEntry({static_cast<uint32_t>(offset), record.attributes, record.unique_id}, entry,
                    order);
    out.Write(entry);
    offset += record.size;
  }
  const auto write_block = [&](const Block& block, size_t area) {
    out.Write(DataOf(block));
    out.WriteZeros(area - block.size);
  };
  write_block(app_info_, layout.sort_info - layout.app_info);
  write_block(sort_info_, layout.records - layout.sort_info);
  ByteSpan run;  // records that lie in a row, as those of the old file do
  for (size_t slot = records_.First(); slot != records_.End(); slot = records_.Next(slot)) {
    const ByteSpan data = DataOf(records_[slot]);
    if (run.data() + run.size() == data.data()) {
      run = {run.data(), run.size() + data.size()};
    } else {
      out.Write(run);
      run = data;
    }
  }
  out.Write(run);
  return out.Finish();
}

// Writes a new file beside the old one and puts it in the old one's place.
void PDBDatabasePC::ReplaceFile(const Layout& layout) {
  const std::u16string path = PDBFilePath();
  const std::u16string name = file_->FileName();
  const std::u16string new_name = name + std::u16string(kReplacementSuffix);
  const auto save_error = [&](std::u16string_view what) {
    return DeviceError(path, u"it can't be saved, " + std::u16string(what));
  };
  const auto fail = [&](std::u16string_view what) {
    const AutomationError error = save_error(what);
    file_->CloseFile();
    file_->DeleteFile();
    file_->SetFullFileName(name);
    throw error;
  };

  file_->CloseFile();
  bool opened = file_->OpenFile(new_name, u"W", {});
  if (!opened) {
    file_->ValidateDirectory({});
    opened = file_->OpenFile(new_name, u"W", {});
  }
  if (!opened) {
    const AutomationError error = save_error(u"the new file can't be opened");
    // The changes must not live in memory alone: a device may not come back before the run ends.
    if (file_->OpenAside()) {
      WriteTo(*file_, layout);
      file_->CloseFile();
    }
    // The new file is not deleted: what can't be opened is in somebody else's hands.
    file_->SetFullFileName(name);
    throw error;
  }
  const size_t written = WriteTo(*file_, layout);
  if (written != layout.end) {
    fail(ToText(static_cast<int64_t>(written)) + u" of " +
         ToText(static_cast<int64_t>(layout.end)) + u" bytes were written");
  }
  if (!file_->CloseFile()) fail(u"the new file can't be completed");
  if (!file_->ReplaceFile(name)) fail(u"the old file can't be replaced");
}

}  // namespace pylon
