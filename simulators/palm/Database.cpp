#include "Database.h"

#include <algorithm>
#include <cmath>
#include <unordered_set>
#include <utility>
#include <vector>

#include "SuiteError.h"
#include "base/AnsiCodePage.h"
#include "base/Text.h"

namespace pylon::palm {
namespace {

constexpr Date kPalmEpoch = 1462;  // 1904-01-01
constexpr double kSecondsPerDay = 86400;
// The handheld's own files have these two bytes, of no meaning, behind the record list.
constexpr size_t kGap = 2;
constexpr size_t kMaxRecordSize = 65'505;
constexpr size_t kMaxBlockSize = 65'505;
constexpr uint64_t kLargestFile = 0xFFFF'FFFF;  // as far as its offsets reach

Date ToDate(int32_t seconds) {
  return seconds == 0 ? 0 : kPalmEpoch + static_cast<uint32_t>(seconds) / kSecondsPerDay;
}

int32_t ToSeconds(Date date) {
  const double seconds = std::round((date - kPalmEpoch) * kSecondsPerDay);
  return static_cast<int32_t>(static_cast<uint32_t>(std::clamp(seconds, 0.0, 4294967295.0)));
}

uint32_t ToNumber(const PalmId& id) {
  return static_cast<uint32_t>(
      LoadUnsigned(std::span<const std::byte, 4>(id.bytes), ByteOrder::kBig));
}

PalmId ToId(uint32_t number) {
  PalmId id;
  StoreUnsigned(number, std::span<std::byte, 4>(id.bytes), ByteOrder::kBig);
  return id;
}

SuiteError Damaged(const char16_t* what) {
  return {kFailed, u"The file is no whole record database: " + std::u16string(what)};
}

SuiteError BadArgument(const char16_t* what) { return {kBadArgument, what}; }

void CheckBlock(ByteSpan block) {
  if (block.size() > kMaxBlockSize) throw BadArgument(u"A block holds 65505 bytes at most");
}

}  // namespace

Database Database::Parse(Bytes file) {
  if (file.size() < PDBHeader::kSize) throw Damaged(u"it is shorter than a header");
  Database database;
  database.header_ = DecodeHeader(ByteSpan(file).first<PDBHeader::kSize>(), ByteOrder::kBig);
  const std::u16string name = database.Name();
  if (name.empty() || name.size() > kMaxName) throw Damaged(u"it has no name of 1 to 31 bytes");
  if (!database.IsResources()) {
    database.ReadRecords(file);
    database.file_ = std::move(file);
    database.GiveIds();
  }
  return database;
}

void Database::ReadRecords(ByteSpan file) {
  const size_t count = header_.record_count;
  const size_t list_end = PDBHeader::kSize + PDBListEntry::kSize * count;
  if (list_end > file.size()) throw Damaged(u"the record list is cut off");

  std::vector<RecordEntry> entries(count);
  size_t end = file.size();
  for (size_t i = count; i-- > 0;) {
    const size_t place = PDBHeader::kSize + PDBListEntry::kSize * i;
    const PDBListEntry entry =
        DecodeListEntry(file.subspan(place).first<PDBListEntry::kSize>(), ByteOrder::kBig);
    if (entry.offset < list_end || entry.offset > end) {
      throw Damaged(u"a record lies outside of its place");
    }
    entries[i] = {.offset = entry.offset,
                  .size = static_cast<uint32_t>(end - entry.offset),
                  .unique_id = entry.unique_id,
                  .attributes = entry.attributes};
    end = entry.offset;
  }
  const auto take_block = [&](int32_t offset, Bytes& block) {
    if (offset < 1) return;
    const auto start = static_cast<uint32_t>(offset);
    if (start < list_end || start > end) throw Damaged(u"a block lies outside of its place");
    block.assign(file.begin() + start, file.begin() + static_cast<std::ptrdiff_t>(end));
    end = start;
  };
  take_block(header_.sort_info_offset, sort_info_);
  take_block(header_.app_info_offset, app_info_);
  records_.Assign(std::move(entries));
}

Database Database::Make(std::u16string_view name, uint32_t creator, uint32_t type, Date now) {
  const AnsiCodePage& code_page = AnsiCodePage::Windows1252();
  if (name.empty() || name.size() > kMaxName || !PalmName::Holds(name, code_page)) {
    throw BadArgument(u"A database has a name of 1 to 31 characters of the handheld's code page");
  }
  Database database;
  database.header_.name.SetText(name, code_page);
  database.header_.creator = ToId(creator);
  database.header_.type = ToId(type);
  database.header_.creation_date = ToSeconds(now);
  database.Touch(now);
  return database;
}

Bytes Database::Build() const {
  const auto count = static_cast<size_t>(records_.count());
  const size_t list_end = PDBHeader::kSize + PDBListEntry::kSize * count;
  uint64_t size = list_end + kGap + app_info_.size() + sort_info_.size();
  for (size_t slot = records_.First(); slot != records_.End(); slot = records_.Next(slot)) {
    size += records_[slot].size;
  }
  Bytes file;
  if (size > std::min<uint64_t>(kLargestFile, file.max_size())) {
    throw SuiteError{kFailed, u"The database is too large for a file"};
  }
  file.resize(static_cast<size_t>(size));
  PDBHeader header = header_;
  size_t place = list_end + kGap;
  const auto put_block = [&](const Bytes& block, int32_t& offset) {
    offset = block.empty() ? 0 : static_cast<int32_t>(place);
    std::ranges::copy(block, file.begin() + static_cast<std::ptrdiff_t>(place));
    place += block.size();
  };
  put_block(app_info_, header.app_info_offset);
  put_block(sort_info_, header.sort_info_offset);
  header.record_count = static_cast<uint16_t>(count);
  const std::span<std::byte> bytes(file);
  EncodeHeader(header, bytes.first<PDBHeader::kSize>(), ByteOrder::kBig);

  size_t entry_place = PDBHeader::kSize;
  for (size_t slot = records_.First(); slot != records_.End(); slot = records_.Next(slot)) {
    const RecordEntry& record = records_[slot];
    EncodeListEntry({.offset = static_cast<uint32_t>(place),
                     .attributes = record.attributes,
                     .unique_id = record.unique_id},
                    bytes.subspan(entry_place).first<PDBListEntry::kSize>(), ByteOrder::kBig);
    std::ranges::copy(DataOf(record), file.begin() + static_cast<std::ptrdiff_t>(place));
    entry_place += PDBListEntry::kSize;
    place += record.size;
  }
  return file;
}

std::u16string Database::Name() const { return header_.name.Text(AnsiCodePage::Windows1252()); }
uint32_t Database::creator() const { return ToNumber(header_.creator); }
uint32_t Database::type() const { return ToNumber(header_.type); }
Date Database::created() const { return ToDate(header_.creation_date); }
Date Database::modified() const { return ToDate(header_.modification_date); }
Date Database::backed_up() const { return ToDate(header_.backup_date); }

ByteSpan Database::DataOf(const RecordEntry& entry) const {
  if (entry.data) return {entry.data, entry.size};
  return entry.size == 0 ? ByteSpan() : ByteSpan(file_).subspan(entry.offset, entry.size);
}

Record Database::RecordIn(size_t slot) const {
  const RecordEntry& entry = records_[slot];
  return {.index = records_.IndexOf(slot) - 1,
          .id = entry.unique_id,
          .category = CategoryOf(entry.attributes),
          .attributes = AttributesOf(entry.attributes),
          .data = DataOf(entry)};
}

std::optional<Record> Database::At(int32_t index) const {
  if (index < 0 || index >= count()) return std::nullopt;
  return RecordIn(records_.SlotAt(index + 1));
}

std::optional<Record> Database::Find(uint32_t id) const {
  const size_t slot = records_.Find(id);
  if (slot == RecordTable::kNone) return std::nullopt;
  return RecordIn(slot);
}

std::optional<Record> Database::Next(int32_t index, Wanted wanted) const {
  if (index < 0 || index >= count()) return std::nullopt;
  for (size_t slot = records_.SlotAt(index + 1); slot != records_.End();
       slot = records_.Next(slot)) {
    const uint8_t attributes = records_[slot].attributes;
    if (!wanted.secret && (attributes & eSecret)) continue;
    if (wanted.modified && !(attributes & eDirty)) continue;
    return RecordIn(slot);
  }
  return std::nullopt;
}

// Files that come from elsewhere may have no ids, or the same one twice.
void Database::GiveIds() {
  std::unordered_set<uint32_t> seen;
  std::vector<size_t> without;
  for (size_t slot = records_.First(); slot != records_.End(); slot = records_.Next(slot)) {
    const uint32_t id = records_[slot].unique_id;
    if (id == 0 || !seen.insert(id).second) without.push_back(slot);
  }
  for (const size_t slot : without) records_.SetId(slot, 0);
  for (const size_t slot : without) {
    records_.SetId(slot, NewId());
    changed_ = true;
  }
}

// The seed is the id that was given last.
uint32_t Database::NewId() {
  uint32_t id = header_.unique_id_seed;
  do {
    id = (id + 1) & kMaxUniqueId;
  } while (id == 0 || records_.Find(id) != RecordTable::kNone);
  header_.unique_id_seed = id;
  return id;
}

void Database::Touch(Date now) {
  header_.modification_date = ToSeconds(now);
  ++header_.modification_number;
  changed_ = true;
}

uint32_t Database::Write(uint32_t id, int32_t category, int32_t attributes, ByteSpan data,
                         Date now) {
  if (category < 0 || category > 15) throw BadArgument(u"A category is 0 to 15");
  if (attributes < 0 || attributes > 255) throw BadArgument(u"Attributes are 0 to 255");
  if (data.size() > kMaxRecordSize) throw BadArgument(u"A record holds 65505 bytes at most");
  const uint8_t stored = StoredAttributes(attributes & ~kBusy, static_cast<int16_t>(category));
  if (id != 0) {
    const size_t slot = records_.Find(id);
    if (slot == RecordTable::kNone) throw SuiteError{kNotFound, u"There is no such record"};
    records_.SetAttributes(slot, stored);
    records_.SetData(slot, data);
  } else {
    if (static_cast<size_t>(count()) == kMaxRecords) {
      throw SuiteError{kMemoryFull, u"A database holds 65535 records at most"};
    }
    id = NewId();
    records_.Append(id, stored, data);
  }
  Touch(now);
  return id;
}

bool Database::Remove(uint32_t id, Date now) {
  const size_t slot = records_.Find(id);
  if (slot == RecordTable::kNone) return false;
  records_.Remove(slot);
  Touch(now);
  return true;
}

void Database::RemoveAll(Date now) {
  records_.Clear();
  file_.clear();
  Touch(now);
}

void Database::RemoveDeleted(Date now) {
  records_.RemoveIf([](const RecordEntry& entry) { return (entry.attributes & eDelete) != 0; });
  Touch(now);
}

void Database::ResetModified(Date now) {
  for (size_t slot = records_.First(); slot != records_.End(); slot = records_.Next(slot)) {
    records_.SetAttributes(slot, static_cast<uint8_t>(records_[slot].attributes & ~eDirty));
  }
  header_.backup_date = ToSeconds(now);
  changed_ = true;
}

bool Database::MarkDeleted(uint32_t id, bool archive, Date now) {
  const std::optional<Record> record = Find(id);
  if (!record) return false;
  const int32_t attributes =
      record->attributes | eDelete | eDirty | (archive ? static_cast<int32_t>(eArchive) : 0);
  Bytes data;
  if (archive) data.assign(record->data.begin(), record->data.end());
  const auto category = static_cast<int16_t>(record->category);
  records_.Remove(records_.Find(id));
  records_.Append(id, StoredAttributes(attributes, category), data);
  Touch(now);
  return true;
}

void Database::SetAppInfo(ByteSpan block, Date now) {
  CheckBlock(block);
  app_info_.assign(block.begin(), block.end());
  Touch(now);
}

void Database::SetSortInfo(ByteSpan block, Date now) {
  CheckBlock(block);
  sort_info_.assign(block.begin(), block.end());
  Touch(now);
}

}  // namespace pylon::palm
