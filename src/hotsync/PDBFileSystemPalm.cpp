#include "hotsync/PDBFileSystemPalm.h"

#include <utility>

#include "base/AutomationError.h"
#include "pdb/DatabaseText.h"

namespace pylon {
PDBFileSystemPalm::PDBFileSystemPalm(std::shared_ptr<Handheld> handheld,
                                     const AnsiCodePage& code_page, std::shared_ptr<LogSink> log,
                                     SyncIndexFactory indexes)
    : handheld_(std::move(handheld)),
      code_page_(&code_page),
      log_(log ? std::move(log) : std::make_shared<NullLog>()),
      indexes_(std::move(indexes)) {}

bool PDBFileSystemPalm::RefuseEnded(std::u16string_view name) const {
  log_->UpdateLog(DatabaseText(name, u"the file system has ended"));
  return false;
}

std::shared_ptr<PDBDatabasePalm> PDBFileSystemPalm::FindOrAdd(std::u16string_view name) {
  if (std::shared_ptr<PDBDatabasePalm> found = databases_.Find(name)) return found;
  auto database = std::make_shared<PDBDatabasePalm>(handheld_, *code_page_, log_, indexes_);
  database->SetUp(creator_id_, database_for_, name, folder_);
  return databases_.Add(name, std::move(database));
}

bool PDBFileSystemPalm::OpenDatabase(std::u16string_view FileName,
                                     std::shared_ptr<PDBDatabase>& oDatabase) {
  if (!handheld_) return RefuseEnded(FileName);
  const std::shared_ptr<PDBDatabasePalm> database = FindOrAdd(FileName);
  oDatabase = database;
  return database->OpenDatabase();
}

bool PDBFileSystemPalm::CreateDatabase(std::u16string_view FileName,
                                       std::shared_ptr<PDBDatabase>& oDatabase) {
  if (!handheld_) return RefuseEnded(FileName);
  const std::shared_ptr<PDBDatabasePalm> database = FindOrAdd(FileName);
  if (!database->CreateDatabase()) return false;
  oDatabase = database;
  return true;
}

bool PDBFileSystemPalm::MoveDatabase(std::u16string_view, std::u16string_view) { return false; }

bool PDBFileSystemPalm::DeleteDatabase(std::u16string_view FileName) {
  if (!handheld_) return RefuseEnded(FileName);
  FindOrAdd(FileName)->RemoveDatabase();
  return true;
}

bool PDBFileSystemPalm::CloseDatabases(Failures& failures) noexcept {
  return databases_.CloseAll(*log_, failures);
}

bool PDBFileSystemPalm::End(Failures& failures) noexcept {
  NamedDatabases<PDBDatabasePalm> databases = std::exchange(databases_, {});
  // Held until the last database is closed.
  const std::shared_ptr<Handheld> handheld = std::exchange(handheld_, nullptr);
  const bool all = databases.End(*log_, failures);
  databases.ForEach([](PDBDatabasePalm& database) { database.EndSession(); });
  return all;
}

}  // namespace pylon
