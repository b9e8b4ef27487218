#include "pdb/PDBFileSystemPC.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "base/AutomationError.h"
#include "base/Text.h"
#include "pdb/DatabaseText.h"

namespace pylon {
namespace {

constexpr std::u16string_view kExtension = u".pdb";
constexpr int32_t kMaxDatabases = std::numeric_limits<int16_t>::max();

std::u16string FileNameOf(std::u16string_view name) {
  return std::u16string(name) + std::u16string(kExtension);
}

// The names that Windows keeps for devices, whatever extension follows.
bool IsDeviceName(std::u16string_view name) {
  static constexpr std::u16string_view kDevices[] = {u"CON", u"PRN",    u"AUX",
                                                     u"NUL", u"CONIN$", u"CONOUT$"};
  static constexpr std::u16string_view kNumbered[] = {u"COM", u"LPT"};
  static constexpr std::u16string_view kNumbers = u"123456789\u00B9\u00B2\u00B3";
  std::u16string_view stem = name.substr(0, name.find(u'.'));
  stem = stem.substr(0, stem.find_last_not_of(u' ') + 1);
  const auto equals = [](std::u16string_view text) {
    return [text](std::u16string_view device) { return EqualsIgnoringCase(text, device); };
  };
  if (std::ranges::any_of(kDevices, equals(stem))) return true;
  return stem.size() == 4 && kNumbers.find(stem[3]) != kNumbers.npos &&
         std::ranges::any_of(kNumbered, equals(stem.substr(0, 3)));
}

}  // namespace

PDBFileSystemPC::PDBFileSystemPC(std::u16string folder, FileFactory files,
                                 eDatabaseForType database_for, const AnsiCodePage& code_page,
                                 const Clock& clock, std::shared_ptr<LogSink> log,
                                 SyncIndexFactory indexes)
    : folder_(std::move(folder)),
      files_(std::move(files)),
      database_for_(database_for),
      code_page_(&code_page),
      clock_(&clock),
      log_(log ? std::move(log) : std::make_shared<NullLog>()),
      indexes_(std::move(indexes)) {}

bool PDBFileSystemPC::IsDatabaseName(std::u16string_view name) {
  static constexpr std::u16string_view kForbidden = u"\\/:*?\"<>|";
  return !name.empty() && !IsDeviceName(name) && std::ranges::none_of(name, [](char16_t c) {
    return c < u' ' || (c >= 0x7F && c <= 0x9F) || kForbidden.find(c) != kForbidden.npos;
  });
}

bool PDBFileSystemPC::Refuse(std::u16string_view name, std::u16string_view reason) const {
  log_->UpdateLog(DatabaseText(name, reason));
  return false;
}

bool PDBFileSystemPC::Accepts(std::u16string_view name) const {
  if (closed_) return Refuse(name, u"the file system has ended");
  if (!IsDatabaseName(name)) return Refuse(name, u"that is not a database name");
  return true;
}

std::unique_ptr<PDBDatabasePC> PDBFileSystemPC::NewDatabase(std::u16string_view name) const {
  std::unique_ptr<IPCFile> file = files_();
  file->SetFilePath(folder_);
  file->SetFullFileName(FileNameOf(name));
  auto database =
      std::make_unique<PDBDatabasePC>(std::move(file), *code_page_, *clock_, log_, indexes_);
  database->SetDatabaseFor(database_for_);
  if (PalmName::Holds(name, *code_page_)) database->SetPDBDatabaseName(name);
  return database;
}

std::shared_ptr<PDBDatabasePC> PDBFileSystemPC::FindOrAdd(std::u16string_view name) {
  if (std::shared_ptr<PDBDatabasePC> found = databases_.Find(name)) return found;
  if (databases_.count() >= kMaxDatabases) throw Overflow();
  return databases_.Add(name, NewDatabase(name));
}

std::shared_ptr<PDBDatabasePC> PDBFileSystemPC::FindOrMake(std::u16string_view name) const {
  std::shared_ptr<PDBDatabasePC> found = databases_.Find(name);
  return found ? found : NewDatabase(name);
}

bool PDBFileSystemPC::OpenDatabase(std::u16string_view FileName,
                                   std::shared_ptr<PDBDatabase>& oDatabase) {
  if (!Accepts(FileName)) return false;
  // Held here too: a device's file pumps messages, during which the database may leave the list.
  const std::shared_ptr<PDBDatabasePC> database = FindOrAdd(FileName);
  oDatabase = database;
  return database->OpenDatabase();
}

bool PDBFileSystemPC::CreateDatabase(std::u16string_view FileName,
                                     std::shared_ptr<PDBDatabase>& oDatabase) {
  if (!Accepts(FileName)) return false;
  if (!PalmName::Holds(FileName, *code_page_)) {
    return Refuse(FileName,
                  u"a new database's name has up to 32 characters of the system's code page");
  }
  const std::shared_ptr<PDBDatabasePC> database = FindOrAdd(FileName);
  oDatabase = database;
  if (!database->IsBusy()) database->SetPDBDatabaseName(FileName);
  return database->CreateDatabase();
}

bool PDBFileSystemPC::MoveDatabase(std::u16string_view FromFileName,
                                   std::u16string_view ToFileName) {
  if (!Accepts(FromFileName) || !Accepts(ToFileName)) return false;
  const std::u16string from(FromFileName), to(ToFileName);
  const std::shared_ptr<PDBDatabasePC> database = FindOrMake(from);
  if (!database->IsOpen() && !database->FileExists()) {
    return Refuse(from, u"there is nothing to move");
  }
  if (from == to) return true;
  const std::shared_ptr<PDBDatabasePC> target = databases_.Find(to);
  // Where the disk ignores case, the file of a name that differs in case only is its own.
  const bool in_use = target && (target->IsOpen() || target->IsBusy());
  const bool taken = in_use || (!EqualsIgnoringCase(from, to) && NewDatabase(to)->FileExists());
  if (taken) return Refuse(from, u"it can't be moved to \"" + to + u"\", which exists");
  try {
    if (!database->Rename(FileNameOf(to))) return false;
    if (target) {
      // Closed, but its index may have been read since.
      target->CloseDatabase();
      databases_.Drop(target);
    }
    databases_.Rename(from, to);
    if (database->IsOpen() && database->PDBDatabaseName() == from &&
        PalmName::Holds(to, *code_page_)) {
      database->SetPDBDatabaseName(to);
    }
  } catch (const AutomationError& error) {
    log_->UpdateLog(error.description());
    return false;
  }
  return true;
}

bool PDBFileSystemPC::DeleteDatabase(std::u16string_view FileName) {
  if (!Accepts(FileName)) return false;
  const std::u16string name(FileName);
  const std::shared_ptr<PDBDatabasePC> database = FindOrMake(name);
  if (!database->IsOpen() && !database->FileExists()) {
    return Refuse(name, u"there is nothing to delete");
  }
  try {
    database->RemoveDatabase();
  } catch (const AutomationError& error) {
    log_->UpdateLog(error.description());
    return false;
  }
  databases_.Drop(database);
  return true;
}

std::shared_ptr<PDBDatabase> PDBFileSystemPC::Database(int32_t iIndex) const {
  std::shared_ptr<PDBDatabase> database = databases_.At(iIndex);
  if (!database) throw SubscriptOutOfRange();
  return database;
}

bool PDBFileSystemPC::CloseDatabases(Failures& failures) noexcept {
  return databases_.CloseAll(*log_, failures);
}

bool PDBFileSystemPC::End(Failures& failures) noexcept {
  closed_ = true;
  return std::exchange(databases_, {}).End(*log_, failures);
}

}  // namespace pylon
