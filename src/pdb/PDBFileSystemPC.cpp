#include "pdb/PDBFileSystemPC.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "base/AutomationError.h"
#include "base/Text.h"

namespace pylon {
namespace {

constexpr std::u16string_view kExtension = u".pdb";
constexpr std::u16string_view kNoMemory = u"A database could not be closed: out of memory";
constexpr size_t kMaxDatabases = std::numeric_limits<int16_t>::max();

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
  log_->UpdateLog(u"Database \"" + std::u16string(name) + u"\": " + std::u16string(reason));
  return false;
}

bool PDBFileSystemPC::Accepts(std::u16string_view name) const {
  if (closed_) return Refuse(name, u"the file system has ended");
  if (!IsDatabaseName(name)) return Refuse(name, u"that is no name for a database");
  return true;
}

std::vector<PDBFileSystemPC::Named>::iterator PDBFileSystemPC::Find(std::u16string_view name) {
  return std::ranges::find(databases_, name, &Named::name);
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
  const auto found = Find(name);
  if (found != databases_.end()) return found->database;
  if (databases_.size() >= kMaxDatabases) throw Overflow();
  databases_.push_back({std::u16string(name), NewDatabase(name)});
  return databases_.back().database;
}

bool PDBFileSystemPC::OpenDatabase(std::u16string_view FileName,
                                   std::shared_ptr<PDBDatabase>& oDatabase) {
  if (!Accepts(FileName)) return false;
  // Held here too: a device's file may let other work in, which may drop it from the list.
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
  const auto listed = Find(from);
  const std::shared_ptr<PDBDatabasePC> database =
      listed != databases_.end() ? listed->database
                                 : std::shared_ptr<PDBDatabasePC>(NewDatabase(from));
  if (!database->IsOpen() && !database->FileExists()) {
    return Refuse(from, u"there is nothing to move");
  }
  if (from == to) return true;
  const auto target = Find(to);
  // Where the disk ignores case, the file of a name that differs in case only is its own.
  const bool in_use =
      target != databases_.end() && (target->database->IsOpen() || target->database->IsBusy());
  const bool taken = in_use || (!EqualsIgnoringCase(from, to) && NewDatabase(to)->FileExists());
  if (taken) return Refuse(from, u"it can't be moved to \"" + to + u"\", which exists");
  try {
    if (!database->Rename(FileNameOf(to))) return false;
    if (target != databases_.end()) {
      // Closed, but its index may have been read since.
      target->database->CloseDatabase();
      databases_.erase(target);
    }
    if (const auto moved = Find(from); moved != databases_.end()) moved->name = to;
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
  const auto listed = Find(name);
  const std::shared_ptr<PDBDatabasePC> database =
      listed != databases_.end() ? listed->database
                                 : std::shared_ptr<PDBDatabasePC>(NewDatabase(name));
  if (!database->IsOpen() && !database->FileExists()) {
    return Refuse(name, u"there is nothing to delete");
  }
  try {
    database->RemoveDatabase();
  } catch (const AutomationError& error) {
    log_->UpdateLog(error.description());
    return false;
  }
  std::erase_if(databases_, [&](const Named& entry) { return entry.database == database; });
  return true;
}

std::shared_ptr<PDBDatabase> PDBFileSystemPC::Database(int32_t iIndex) const {
  if (iIndex < 1 || iIndex > DatabaseCount()) throw SubscriptOutOfRange();
  return databases_[static_cast<size_t>(iIndex) - 1].database;
}

bool PDBFileSystemPC::CloseDatabases(std::u16string& failure) noexcept {
  try {
    // A copy: closing a device's file may let other work in, and the list change.
    std::vector<Named> databases(databases_);
    const bool all = CloseAll(databases, failure);
    for (Named& entry : databases_) {
      entry.given_up = std::ranges::any_of(databases, [&](const Named& closed) {
        return closed.given_up && closed.database == entry.database;
      });
    }
    return all;
  } catch (const std::bad_alloc&) {
    log_->UpdateLog(kNoMemory);
    return false;
  }
}

bool PDBFileSystemPC::End(std::u16string& failure) noexcept {
  closed_ = true;
  std::vector<Named> databases = std::exchange(databases_, {});
  return CloseAll(databases, failure);
}

bool PDBFileSystemPC::CloseAll(std::vector<Named>& databases, std::u16string& failure) noexcept {
  bool all = true;
  for (Named& entry : databases) {
    if (entry.given_up && entry.database->IsOpen()) {
      all = false;
      continue;
    }
    try {
      entry.database->CloseDatabase();
    } catch (const AutomationError& error) {
      all = false;
      entry.given_up = true;
      log_->UpdateLog(error.description());
      try {
        const std::u16string& told = entry.database->SaveFailure();
        if (!failure.empty()) failure += u"\r\n";
        failure += told.empty() ? error.description() : told;
      } catch (const std::bad_alloc&) {
        // The log has it.
      }
    } catch (...) {
      all = false;
      log_->UpdateLog(kNoMemory);
    }
  }
  return all;
}

}  // namespace pylon
