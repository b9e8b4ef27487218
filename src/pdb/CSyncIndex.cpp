#include "pdb/CSyncIndex.h"

#include <span>
#include <utility>
#include <vector>

#include "base/ScopeExit.h"
#include "base/Text.h"
#include "files/FileNames.h"
#include "pdb/ByteOrder.h"
#include "pdb/DatabaseArguments.h"
#include "pdb/DatabaseText.h"
#include "pdb/PdbFile.h"
#include "pdb/UniqueIds.h"

namespace pylon {
namespace {

constexpr std::u16string_view kType = u"INDX";
constexpr std::u16string_view kCreator = u"PYL1";
constexpr std::u16string_view kExtension = u".si";
constexpr std::u16string_view kDamaged = u".damaged";
constexpr std::u16string_view kReadStep = u"ReadSyncIndex ";
constexpr std::u16string_view kWriteStep = u"WriteSyncIndex ";
constexpr size_t kMaxKey = 32'767;  // the largest 16-bit length of a CString
constexpr size_t kLongString = 255;

// One record: the unique id and the key with its length, low bytes first, and nothing behind it.
Bytes EncodeEntry(int32_t id, std::u16string_view key, const AnsiCodePage& code_page) {
  const bool is_long = key.size() >= kLongString;
  const size_t head = is_long ? 7 : 5;
  Bytes record(head + key.size());
  const std::span<std::byte> fields(record);
  StoreUnsigned(static_cast<uint32_t>(id), fields.first<4>(), ByteOrder::kLittle);
  record[4] = static_cast<std::byte>(is_long ? kLongString : key.size());
  if (is_long) StoreUnsigned(key.size(), fields.subspan<5, 2>(), ByteOrder::kLittle);
  for (size_t i = 0; i < key.size(); ++i) record[head + i] = std::byte{code_page.Encode(key[i])};
  return record;
}

// False when it is something else.
bool DecodeEntry(ByteSpan record, const AnsiCodePage& code_page, int32_t& id, std::u16string& key) {
  if (record.size() < 5) return false;
  id = static_cast<int32_t>(LoadUnsigned(record.first<4>(), ByteOrder::kLittle));
  auto length = std::to_integer<size_t>(record[4]);
  record = record.subspan(5);
  if (length == kLongString) {
    if (record.size() < 2) return false;
    length = static_cast<size_t>(LoadUnsigned(record.first<2>(), ByteOrder::kLittle));
    record = record.subspan(2);
  }
  if (length < 1 || length > kMaxKey || length != record.size()) return false;
  key = code_page.Decode(record);
  return true;
}

}  // namespace

CSyncIndex::CSyncIndex(Surroundings surroundings)
    : with_(std::move(surroundings)), has_log_(with_.log != nullptr), entries_(with_.code_page) {
  if (!has_log_) with_.log = std::make_shared<NullLog>();
}

CSyncIndex::~CSyncIndex() = default;

std::u16string CSyncIndex::BaseFolder(std::u16string_view folder) const {
  if (!with_.base_folder.empty()) folder = with_.base_folder;
  return std::u16string(folder.ends_with(u'\\') ? folder.substr(0, folder.size() - 1) : folder);
}

void CSyncIndex::SetDatabase(std::u16string_view folder, std::u16string_view name) {
  folder_ = BaseFolder(folder);
  name_ = name;
}

bool CSyncIndex::IsFor(std::u16string_view folder, std::u16string_view name) const {
  return folder_ == BaseFolder(folder) && name_ == name;
}

void CSyncIndex::MoveTo(std::u16string_view folder, std::u16string_view name, OldFile old_file) {
  if (IsFor(folder, name)) return;
  Load();
  const bool anything = had_file_ || changed_;
  if (had_file_ && old_file == OldFile::kGoes && obsolete_.empty()) obsolete_ = Path();
  file_.reset();
  SetDatabase(folder, name);
  if (anything) {
    changed_ = true;
    had_file_ = SyncIndexExists();
  } else {
    Release();
  }
}

void CSyncIndex::StartAfresh() {
  Discard();
  had_file_ = changed_ = SyncIndexExists();
  state_ = State::kInMemory;
}

void CSyncIndex::Discard() {
  if (state_ == State::kReading) {
    close_wanted_ = true;
    return;
  }
  changed_ = false;
  obsolete_.clear();
  Release();
}

std::u16string CSyncIndex::Path() const {
  return JoinFullName(JoinFullName(folder_, FolderName(with_.device_name)),
                      FolderName(name_) + std::u16string(kExtension));
}

std::unique_ptr<IPCFile> CSyncIndex::File() const {
  std::unique_ptr<IPCFile> file = with_.files();
  file->SetFullFileName(Path());
  return file;
}

std::unique_ptr<PdbFile> CSyncIndex::IndexFile() const {
  auto file = std::make_unique<PdbFile>(with_.files(), with_.code_page);
  file->SetPath(Path());
  file->SetDatabaseFor(dftWindows);
  return file;
}

bool CSyncIndex::SyncIndexExists() const { return File()->FileExists(); }

// The error for the caller; the same words go to the log.
AutomationError CSyncIndex::Failure(std::u16string_view step, std::u16string_view reason) const {
  const std::u16string text = std::u16string(step) + std::u16string(reason);
  with_.log->UpdateLog(text);
  return AutomationError(ErrorNumber::kDeviceIo, text);
}

void CSyncIndex::RequireKey(std::u16string_view key) const {
  if (key.empty()) throw AutomationError(ErrorNumber::kInvalidKey, u"Invalid key");
  if (key.size() > kMaxKey) {
    throw AutomationError(ErrorNumber::kInvalidKey, u"Invalid key: it has " +
                                                        ToText(static_cast<int64_t>(key.size())) +
                                                        u" characters; 32767 is the most");
  }
  if (!with_.code_page.Holds(key)) {
    throw AutomationError(
        ErrorNumber::kInvalidKey,
        u"Invalid key: \"" + std::u16string(key) +
            u"\" has a character that is not a single byte in the system's code page");
  }
}

int32_t CSyncIndex::UniqueId(std::u16string_view PrimaryKey) {
  Load();
  const auto* const id = std::get_if<int32_t>(&entries_.Item(PrimaryKey));
  return id ? *id : 0;
}

void CSyncIndex::Add(std::u16string_view PrimaryKey, int32_t UniqueId) {
  RequireKey(PrimaryKey);
  Load();
  const auto* const id = std::get_if<int32_t>(&entries_.Item(PrimaryKey));
  if (id && *id == UniqueId) return;
  if (!id && entries_.Count() == kMaxEntries) {
    throw AutomationError(ErrorNumber::kOverflow,
                          u"The sync index " + Path() + u" holds 65535 keys and can't take more");
  }
  entries_.Add(PrimaryKey, UniqueId);
  changed_ = true;
}

void CSyncIndex::Remove(std::u16string_view PrimaryKey) {
  Load();
  if (entries_.Remove(PrimaryKey)) changed_ = true;
}

void CSyncIndex::Clear() {
  Load();
  if (entries_.Count() == 0) return;
  entries_.RemoveAll();
  changed_ = true;
}

void CSyncIndex::Load() {
  if (state_ == State::kInMemory) return;
  if (state_ == State::kReading) {
    throw AutomationError(ErrorNumber::kInvalidArgument,
                          u"The sync index " + Path() + u" is being read");
  }
  const ScopeExit unread([this] {
    if (state_ == State::kReading) state_ = State::kUnread;
  });
  state_ = State::kReading;
  close_wanted_ = false;
  Read();
  if (close_wanted_) {
    Release();
    throw AutomationError(ErrorNumber::kInvalidArgument,
                          u"The sync index " + Path() + u" was closed while it was read");
  }
  state_ = State::kInMemory;
}

void CSyncIndex::Read() {
  had_file_ = SyncIndexExists();
  if (!had_file_) return;
  std::unique_ptr<PdbFile> file = IndexFile();
  CHashTable entries(with_.code_page);
  const PdbFile::Opening opening = file->Open();
  std::u16string damage;
  switch (opening.outcome) {
    case PdbFile::Outcome::kOpened:
      damage = ReadEntries(*file, entries);
      break;
    case PdbFile::Outcome::kDamaged:
    case PdbFile::Outcome::kAppInfoTooLarge:
      damage = file->Line(opening.reason);
      break;
    case PdbFile::Outcome::kMissing:
    case PdbFile::Outcome::kUnreadable:
      throw Failure(kReadStep, file->Line(opening.reason));
  }
  if (damage.empty()) {
    entries_ = std::move(entries);
    file_ = std::move(file);
    return;
  }
  file->Close();
  had_file_ = false;
  const std::u16string outcome = damage + u"; it is kept as " + SetAside(damage) +
                                 u", and the sync goes on with an empty index";
  if (!has_log_) throw Failure(kReadStep, outcome);
  with_.log->UpdateLog(std::u16string(kReadStep) + outcome);
}

// Why the file is not an index; empty when it is one.
std::u16string CSyncIndex::ReadEntries(PdbFile& file, CHashTable& entries) const {
  const PDBHeader& header = file.header();
  if (header.type.Text(with_.code_page) != kType ||
      header.creator.Text(with_.code_page) != kCreator) {
    return file.Line(u"it is not a sync index");
  }
  const std::shared_ptr<MessageLoop> loop = with_.loop.lock();
  const RecordTable& records = file.records();
  std::u16string key;
  for (size_t slot = records.First(); slot != records.End(); slot = records.Next(slot)) {
    ByteSpan record;
    try {
      record = file.DataOf(records[slot]);
    } catch (const AutomationError& error) {
      throw Failure(kReadStep, error.description());
    }
    int32_t id = 0;
    if (!DecodeEntry(record, with_.code_page, id, key)) {
      return file.Line(u"the file is damaged: record " + ToText(records.IndexOf(slot)) +
                       u" is not an entry");
    }
    entries.Add(key, id);
    if (loop) loop->Yield();
  }
  return {};
}

// Returns the name that the damaged file has then.
std::u16string CSyncIndex::SetAside(std::u16string_view damage) const {
  const std::unique_ptr<IPCFile> file = File();
  const std::u16string name = file->FileName() + std::u16string(kDamaged);
  std::u16string free_name = name;
  const auto is_taken = [&] {
    const std::unique_ptr<IPCFile> other = File();
    other->SetFullFileName(free_name);
    return other->FileExists();
  };
  for (int n = 2; is_taken(); ++n) free_name = name + ToText(n);
  if (file->RenameFile(free_name)) return free_name;
  std::u16string reason;
  int32_t number = 0;
  file->ReadErrorHandler(reason, number);
  throw Failure(kReadStep, std::u16string(damage) + u"; it can't be set aside (" + reason + u")");
}

void CSyncIndex::CloseIndex() {
  if (state_ == State::kReading) {
    close_wanted_ = true;
    return;
  }
  if (changed_) Write();
  Release();
}

void CSyncIndex::Write() {
  if (!had_file_ && SyncIndexExists()) {
    throw Failure(kWriteStep,
                  DatabaseFileText(Path(), u"another process has created it meanwhile"));
  }
  file_.reset();  // which may be open
  try {
    WriteEntries();
  } catch (const AutomationError& error) {
    throw Failure(kWriteStep, error.description());
  }
  changed_ = false;
  DeleteObsolete();
}

void CSyncIndex::WriteEntries() {
  RequireDatabaseName(name_, with_.code_page);
  PDBHeader header;
  header.name.SetText(name_, with_.code_page);
  header.type.SetText(kType, with_.code_page);
  header.creator.SetText(kCreator, with_.code_page);
  const std::unique_ptr<PdbFile> file = IndexFile();
  file->Create(header, with_.clock.Now());
  UniqueIds ids(*file);
  ids.Assign();
  const std::vector<std::u16string_view> keys = entries_.Keys();
  const std::vector<TaggedValue> values = entries_.Values();
  for (size_t i = 0; i < keys.size(); ++i) {
    const Bytes entry = EncodeEntry(std::get<int32_t>(values[i]), keys[i], with_.code_page);
    file->records().Append(ids.HandOut(), 0, entry);
  }
  file->Save(with_.clock.Now());
}

void CSyncIndex::DeleteObsolete() {
  const std::u16string obsolete = std::exchange(obsolete_, {});
  if (obsolete.empty() || obsolete == Path()) return;
  const std::unique_ptr<IPCFile> old = File();
  old->SetFullFileName(obsolete);
  if (!old->FileExists() || old->DeleteFile()) return;
  std::u16string reason;
  int32_t number = 0;
  old->ReadErrorHandler(reason, number);
  with_.log->UpdateLog(
      std::u16string(kWriteStep) +
      DatabaseFileText(old->FullFileName(),
                       u"the index under the old name can't be deleted (" + reason + u")"));
}

void CSyncIndex::Release() {
  file_.reset();
  entries_.RemoveAll();
  state_ = State::kUnread;
  had_file_ = false;
}

}  // namespace pylon
