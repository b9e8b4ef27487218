#include "pdb/CSyncIndex.h"

#include <utility>

#include "base/Text.h"
#include "files/FileNames.h"
#include "pdb/PDBByteStream.h"
#include "pdb/PDBDatabasePC.h"

namespace pylon {
namespace {

constexpr std::u16string_view kType = u"INDX";
constexpr std::u16string_view kCreator = u"PYL1";
constexpr std::u16string_view kExtension = u".si";
constexpr std::u16string_view kDamaged = u".damaged";
constexpr std::u16string_view kReadStep = u"ReadSyncIndex ";
constexpr std::u16string_view kWriteStep = u"WriteSyncIndex ";
constexpr int32_t kInvalidKey = 1001;
constexpr size_t kMaxKey = 32'767;  // what the 16-bit length of a CString counts to
constexpr uint8_t kLongString = 255;

// What the index file says of itself, to be told in the index's own line.
class LastLine final : public LogSink {
 public:
  void UpdateLog(std::u16string_view line) noexcept override {
    try {
      text = line;
    } catch (const std::bad_alloc&) {
      // The line is lost; that the file is damaged is still told.
    }
  }
  std::u16string text;
};

// One record: the unique id and the key, and nothing behind it. False when it is something else.
bool ParseEntry(const PDBByteStream& stream, const AnsiCodePage& code_page, int32_t& id,
                std::u16string& key) try {
  int32_t offset = 0;
  uint8_t short_length = 0;
  stream.ByteToLong(id, offset);
  stream.GetByte(short_length, offset);
  int16_t length = short_length;
  if (short_length == kLongString) stream.ByteToInteger(length, offset);
  // Taken from the bytes themselves: a field's text would end at a zero byte, which a key may hold.
  const ByteSpan record = stream.RecordBytes();
  if (length < 1 || record.size() - static_cast<size_t>(offset) != static_cast<size_t>(length)) {
    return false;
  }
  key = code_page.Decode(record.subspan(static_cast<size_t>(offset)));
  return true;
} catch (const AutomationError&) {
  return false;  // it ends within a field
}

}  // namespace

CSyncIndex::CSyncIndex(Surroundings surroundings)
    : with_(std::move(surroundings)), has_log_(with_.log != nullptr), entries_(with_.code_page) {
  if (!has_log_) with_.log = std::make_shared<NullLog>();
}

CSyncIndex::~CSyncIndex() = default;

// ---- The file

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
  if (database_) database_->Abandon();
  database_.reset();
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

std::unique_ptr<PDBDatabasePC> CSyncIndex::Database(std::shared_ptr<LogSink> log) const {
  auto database =
      std::make_unique<PDBDatabasePC>(with_.files(), with_.code_page, with_.clock, std::move(log));
  database->SetPDBFilePath(Path());
  database->SetDatabaseFor(dftWindows);
  return database;
}

bool CSyncIndex::SyncIndexExists() const { return File()->FileExists(); }

// The error for the caller; the same words go to the log.
AutomationError CSyncIndex::Failure(std::u16string_view step, std::u16string_view reason) const {
  const std::u16string text = std::u16string(step) + std::u16string(reason);
  with_.log->UpdateLog(text);
  return AutomationError(ErrorNumber::kDeviceIo, text);
}

// ---- Entries

void CSyncIndex::RequireKey(std::u16string_view key) const {
  if (key.empty()) throw AutomationError(kInvalidKey, {}, u"Invalid key");
  if (key.size() > kMaxKey) {
    throw AutomationError(kInvalidKey, {},
                          u"Invalid key: it has " + ToText(static_cast<int64_t>(key.size())) +
                              u" characters; 32767 is the most");
  }
  if (!with_.code_page.Holds(key)) {
    throw AutomationError(
        kInvalidKey, {},
        u"Invalid key: \"" + std::u16string(key) +
            u"\" has a character that is no single byte in the system's code page");
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

// ---- Reading

void CSyncIndex::Load() {
  if (state_ == State::kInMemory) return;
  if (state_ == State::kReading) {
    throw AutomationError(ErrorNumber::kInvalidArgument,
                          u"The sync index " + Path() + u" is being read");
  }
  struct Reading {
    State& state;
    ~Reading() {
      if (state == State::kReading) state = State::kUnread;
    }
  } reading{state_};
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
  const auto said = std::make_shared<LastLine>();
  std::unique_ptr<PDBDatabasePC> database = Database(said);
  CHashTable entries(with_.code_page);
  std::u16string damage;
  try {
    if (database->OpenDatabase()) {
      damage = ReadEntries(*database, entries);
    } else if (database->IsDamaged()) {
      damage = said->text;
    } else {
      throw Failure(kReadStep, said->text);
    }
  } catch (const AutomationError& error) {
    if (error.number() == static_cast<int32_t>(ErrorNumber::kDeviceIo)) {
      if (!error.description().starts_with(kReadStep)) {
        throw Failure(kReadStep, error.description());
      }
      throw;
    }
    damage = error.description();
  }
  if (damage.empty()) {
    entries_ = std::move(entries);
    database_ = std::move(database);
    return;
  }
  database->Abandon();
  had_file_ = false;
  const std::u16string outcome = damage + u"; it is kept as " + SetAside(damage) +
                                 u", and the sync goes on with an empty index";
  if (!has_log_) throw Failure(kReadStep, outcome);
  with_.log->UpdateLog(std::u16string(kReadStep) + outcome);
}

// Why the file is no index; empty when it is one.
std::u16string CSyncIndex::ReadEntries(PDBDatabasePC& database, CHashTable& entries) const {
  const std::u16string file = u"Database " + Path() + u": ";
  if (database.DatabaseType() != kType || database.CreatorId() != kCreator) {
    return file + u"it is no sync index";
  }
  const std::shared_ptr<MessageLoop> loop = with_.loop.lock();
  PDBByteStream stream(with_.code_page);
  stream.SetDatabaseFor(dftWindows);
  std::u16string key;
  const int32_t count = database.RecordCount();
  for (int32_t index = 1; index <= count; ++index) {
    int32_t record_id = 0, attributes = 0, id = 0;
    int16_t category = 0;
    if (!database.ReadNextByIndex(index, record_id, category, attributes, stream) ||
        !ParseEntry(stream, with_.code_page, id, key)) {
      return file + u"the file is damaged: record " + ToText(index) + u" is no entry";
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

// ---- Writing

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
                  u"Database " + Path() + u": somebody else has written it since it was not there");
  }
  if (database_) database_->Abandon();
  database_ = Database(with_.log);
  try {
    database_->SetPDBDatabaseName(name_);
    database_->SetDatabaseType(kType);
    database_->SetCreatorId(kCreator);
    if (!database_->CreateDatabase()) {
      throw AutomationError(ErrorNumber::kDeviceIo, u"the file can't be made");
    }
    const std::vector<std::u16string_view> keys = entries_.Keys();
    const std::vector<TaggedValue> ids = entries_.Values();
    PDBByteStream stream(with_.code_page);
    stream.SetDatabaseFor(dftWindows);
    for (size_t i = 0; i < keys.size(); ++i) {
      int32_t offset = 0, record_id = 0;
      stream.Clear();
      stream.LongToByte(std::get<int32_t>(ids[i]), offset);
      stream.CStringToByte(keys[i], offset);
      database_->Update(0, record_id, 0, 0, stream);
    }
    database_->CloseDatabase();
  } catch (const AutomationError& error) {
    database_->Abandon();
    throw Failure(kWriteStep, error.description());
  }
  changed_ = false;
  const std::u16string obsolete = std::exchange(obsolete_, {});
  if (obsolete.empty() || obsolete == Path()) return;
  const std::unique_ptr<IPCFile> old = File();
  old->SetFullFileName(obsolete);
  if (old->FileExists() && !old->DeleteFile()) {
    std::u16string reason;
    int32_t number = 0;
    old->ReadErrorHandler(reason, number);
    with_.log->UpdateLog(std::u16string(kWriteStep) + u"Database " + old->FullFileName() +
                         u": the index under the old name can't be deleted (" + reason + u")");
  }
}

void CSyncIndex::Release() {
  if (database_) database_->Abandon();
  database_.reset();
  entries_.RemoveAll();
  state_ = State::kUnread;
  had_file_ = false;
}

}  // namespace pylon
