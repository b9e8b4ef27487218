#include "pdb/PdbFile.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>

#include "base/Failure.h"
#include "base/ScopeExit.h"
#include "base/Text.h"
#include "files/FileCalls.h"
#include "files/FileNames.h"
#include "pdb/DatabaseText.h"
#include "pdb/PDBUtils.h"

namespace pylon {
namespace {

constexpr size_t kMaxFileSize = std::numeric_limits<int32_t>::max();
constexpr size_t kMaxAppInfo = std::numeric_limits<int16_t>::max();

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

std::u16string Range(size_t first, size_t last) {
  return ToText(static_cast<int64_t>(first)) + u" to " + ToText(static_cast<int64_t>(last));
}

}  // namespace

struct PdbFile::Found {
  PDBHeader header;
  size_t file_size = 0;
  size_t list_end = 0;
  std::vector<RecordEntry> records;
  Block app_info, sort_info;
};

PdbFile::PdbFile(std::unique_ptr<IPCFile> file, const AnsiCodePage& code_page)
    : file_(std::move(file)), code_page_(&code_page) {
  file_->TakeAsBytes();  // a database may be named like a text file's byte-order mark
}

std::u16string PdbFile::FailureText() const {
  std::u16string message;
  int32_t number = 0;
  return file_->ReadErrorHandler(message, number) ? message : std::u16string();
}

std::u16string PdbFile::Line(std::u16string_view reason) const {
  return DatabaseFileText(Path(), reason);
}

AutomationError PdbFile::DeviceError(std::u16string_view path, std::u16string_view what) const {
  std::u16string failure;
  int32_t number = 0;
  if (file_->ReadErrorHandler(failure, number)) failure = u" (" + failure + u")";
  std::optional<FailureKind> kind;
  if (number == static_cast<int32_t>(file_error::kCancelled)) kind = FailureKind::kCancelled;
  return AutomationError(ErrorNumber::kDeviceIo, DatabaseFileText(path, what) + failure, kind);
}

std::u16string PdbFile::AppInfoOverflow(size_t size) {
  return u"an AppInfo block of " + ToText(static_cast<int64_t>(size)) +
         u" bytes; 32767 is the most";
}

PdbFile::Opening PdbFile::Damaged(std::u16string_view what) {
  return {Outcome::kDamaged, u"the file is damaged: " + std::u16string(what)};
}

PdbFile::Opening PdbFile::Unreadable(std::u16string_view what) const {
  return {Outcome::kUnreadable, std::u16string(what) + FailureText()};
}

PdbFile::Opening PdbFile::Open() {
  if (!file_->OpenFile({}, u"R", {})) {
    Opening opening = Unreadable(u"the file can't be opened: ");
    if (file_->FileExists()) return opening;
    return {Outcome::kMissing, u"there is no such file"};
  }
  ScopeExit close([this] { file_->CloseFile(); });
  Found found;
  Opening opening = Read(found);
  if (opening.outcome != Outcome::kOpened) return opening;

  Forget();
  header_ = found.header;
  app_info_ = std::move(found.app_info);
  sort_info_ = std::move(found.sort_info);
  records_.Assign(std::move(found.records));
  body_offset_ = static_cast<uint32_t>(found.list_end);
  file_size_ = static_cast<uint32_t>(found.file_size);
  close.Dismiss();
  return opening;
}

PdbFile::Opening PdbFile::Read(Found& found) {
  Bytes bytes;
  if (!ReadAt(bytes, 0, PDBHeader::kSize)) {
    return FailureText().empty() ? Damaged(u"it ends within its header")
                                 : Unreadable(u"the header can't be read: ");
  }
  found.header =
      DecodeHeader(ByteSpan(bytes).first<PDBHeader::kSize>(), FileByteOrder(database_for_));
  const int32_t file_size = file_->FileSize();
  if (file_size == 0 && !FailureText().empty()) {
    return Unreadable(u"the file's size can't be read: ");
  }
  found.list_end = PDBHeader::kSize + PDBListEntry::kSize * found.header.record_count;
  if (file_size < 0 || static_cast<size_t>(file_size) < found.list_end) {
    return Damaged(u"it ends within its record list");
  }
  found.file_size = static_cast<size_t>(file_size);
  Opening opening = ReadList(found);
  return opening.outcome == Outcome::kOpened ? LocateBlocks(found) : opening;
}

bool PdbFile::ReadAt(Bytes& bytes, size_t offset, size_t size) {
  const auto count = static_cast<int32_t>(size);
  return file_->ReadByteArray(bytes, static_cast<int32_t>(offset), count, {}) == count &&
         bytes.size() == size;
}

// Sizes are not stored: a record ends where the next one starts.
PdbFile::Opening PdbFile::ReadList(Found& found) {
  const size_t count = found.header.record_count;
  if (count == 0) return {};
  Bytes list;
  if (!ReadAt(list, PDBHeader::kSize, PDBListEntry::kSize * count)) {
    return Unreadable(u"the record list can't be read: ");
  }
  std::vector<RecordEntry>& records = found.records;
  records.resize(count);
  size_t end_of_last = found.list_end;
  ByteSpan rest(list);
  for (size_t i = 0; i < count; ++i, rest = rest.subspan(PDBListEntry::kSize)) {
    const PDBListEntry entry =
        DecodeListEntry(rest.first<PDBListEntry::kSize>(), FileByteOrder(database_for_));
    if (entry.offset < end_of_last || entry.offset > found.file_size) {
      return Damaged(u"record " + ToText(static_cast<int64_t>(i) + 1) + u" starts at " +
                     ToText(entry.offset) + u", outside of " + Range(end_of_last, found.file_size));
    }
    if (i > 0) records[i - 1].size = entry.offset - records[i - 1].offset;
    records[i].offset = entry.offset;
    records[i].unique_id = entry.unique_id;
    records[i].attributes = entry.attributes;
    end_of_last = entry.offset;
  }
  records.back().size = static_cast<uint32_t>(found.file_size) - records.back().offset;
  return {};
}

// The blocks end where the first record starts, or with the file.
PdbFile::Opening PdbFile::LocateBlocks(Found& found) {
  size_t end = found.records.empty() ? found.file_size : size_t{found.records.front().offset};
  Opening opening;
  const auto locate = [&](int32_t offset, const char16_t* name, Block& block) {
    if (offset < 1) return true;
    const auto start = static_cast<size_t>(offset);
    if (start < found.list_end || start > end) {
      opening = Damaged(u"its " + std::u16string(name) + u" block starts at " + ToText(offset) +
                        u", outside of " + Range(found.list_end, end));
      return false;
    }
    block.offset = static_cast<uint32_t>(start);
    block.size = static_cast<uint32_t>(end - start);
    end = start;
    return true;
  };
  if (!locate(found.header.sort_info_offset, u"SortInfo", found.sort_info)) return opening;
  if (!locate(found.header.app_info_offset, u"AppInfo", found.app_info)) return opening;
  if (found.app_info.size > kMaxAppInfo) {
    opening = {Outcome::kAppInfoTooLarge, AppInfoOverflow(found.app_info.size)};
  }
  return opening;
}

void PdbFile::Create(const PDBHeader& header, Date now) {
  const int32_t date = PDBUtils(*code_page_).DateToPalmLong(now);
  PDBHeader fresh;
  fresh.name = header.name;
  fresh.type = header.type;
  fresh.creator = header.creator;
  fresh.creation_date = fresh.modification_date = date;
  Close();
  header_ = fresh;
  changed_ = true;
}

void PdbFile::Close() {
  file_->CloseFile();
  Forget();
}

void PdbFile::Forget() {
  changed_ = false;
  app_info_ = {};
  sort_info_ = {};
  records_.Clear();
  body_loaded_ = false;
  body_ = Bytes();
  body_offset_ = file_size_ = 0;
}

bool PdbFile::NeedsBody() const {
  const auto in_file = [](const Block& block) { return !block.changed && block.size > 0; };
  if (in_file(app_info_) || in_file(sort_info_)) return true;
  for (size_t slot = records_.First(); slot != records_.End(); slot = records_.Next(slot)) {
    if (!records_[slot].data && records_[slot].size > 0) return true;
  }
  return false;
}

void PdbFile::LoadBody() {
  if (body_loaded_) return;
  Bytes body;
  if (!ReadAt(body, body_offset_, file_size_ - body_offset_)) {
    throw DeviceError(Path(), u"its records can't be read");
  }
  body_ = std::move(body);
  body_loaded_ = true;
}

void PdbFile::Detach() {
  if (!file_->IsOpen()) return;
  if (NeedsBody()) LoadBody();
  file_->CloseFile();
}

ByteSpan PdbFile::FromBody(uint32_t offset, uint32_t size) {
  if (size == 0) return {};
  LoadBody();
  return ByteSpan(body_).subspan(offset - body_offset_, size);
}

ByteSpan PdbFile::DataOf(const RecordEntry& entry) {
  if (entry.data) return {entry.data, entry.size};
  return FromBody(entry.offset, entry.size);
}

ByteSpan PdbFile::DataOf(const Block& block) {
  if (block.changed) return block.data;
  return FromBody(block.offset, block.size);
}

void PdbFile::SetAppInfo(ByteSpan bytes) {
  if (bytes.size() > kMaxAppInfo) {
    throw AutomationError(ErrorNumber::kOverflow, Line(AppInfoOverflow(bytes.size())));
  }
  SetBlock(app_info_, bytes);
}

void PdbFile::SetBlock(Block& block, ByteSpan bytes) {
  block.data = Bytes(bytes.begin(), bytes.end());  // which may be a view of the block itself
  block.size = static_cast<uint32_t>(bytes.size());
  block.changed = true;
  changed_ = true;
}

void PdbFile::Delete() {
  const bool needs_file = file_->IsOpen() && !body_loaded_;
  file_->CloseFile();
  if (!file_->FileExists() || file_->DeleteFile()) return;
  const AutomationError error = DeviceError(Path(), u"it can't be deleted");
  if (needs_file) file_->OpenFile({}, u"R", {});
  throw error;
}

bool PdbFile::Rename(std::u16string_view new_name) { return file_->RenameFile(new_name); }

PdbFile::Layout PdbFile::PlanLayout() const {
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
    throw AutomationError(ErrorNumber::kOverflow, u"The database " + Path() + u" would reach 2 GB");
  }
  layout.end = static_cast<size_t>(end);
  return layout;
}

void PdbFile::Save(Date now) {
  const Layout layout = PlanLayout();
  if (NeedsBody()) LoadBody();
  header_.modification_date = PDBUtils(*code_page_).DateToPalmLong(now);
  ReplaceFile(layout);
}

// Returns the bytes that the open file took: layout.end when all went well.
size_t PdbFile::WriteTo(IPCFile& file, const Layout& layout) {
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
  ByteSpan run;  // records that follow each other, as those of the old file do
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
void PdbFile::ReplaceFile(const Layout& layout) {
  const std::u16string path = Path();
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
    // The new file is not deleted: another program has it in use.
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
