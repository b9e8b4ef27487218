#include "hotsync/PDBFileSystemPalm.h"

#include <algorithm>
#include <utility>

#include "base/AutomationError.h"

namespace pylon {
namespace {

constexpr std::u16string_view kNoMemory = u"A database could not be closed: out of memory";

}  // namespace

PDBFileSystemPalm::PDBFileSystemPalm(std::shared_ptr<Handheld> handheld,
                                     const AnsiCodePage& code_page, std::shared_ptr<LogSink> log,
                                     SyncIndexFactory indexes)
    : handheld_(std::move(handheld)),
      code_page_(&code_page),
      log_(log ? std::move(log) : std::make_shared<NullLog>()),
      indexes_(std::move(indexes)) {}

bool PDBFileSystemPalm::RefuseEnded(std::u16string_view name) const {
  log_->UpdateLog(u"Database \"" + std::u16string(name) + u"\": the file system has ended");
  return false;
}

std::shared_ptr<PDBDatabasePalm> PDBFileSystemPalm::FindOrAdd(std::u16string_view name) {
  const auto found = std::ranges::find(databases_, name, &Named::name);
  if (found != databases_.end()) return found->database;
  auto database = std::make_shared<PDBDatabasePalm>(handheld_, *code_page_, log_, indexes_);
  database->SetUp(creator_id_, database_for_, name, folder_);
  databases_.push_back({std::u16string(name), database});
  return database;
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

std::shared_ptr<PDBDatabase> PDBFileSystemPalm::Database(int32_t iIndex) const {
  if (iIndex < 1 || iIndex > DatabaseCount()) return nullptr;
  return databases_[static_cast<size_t>(iIndex) - 1].database;
}

bool PDBFileSystemPalm::CloseDatabases(std::u16string& failure) noexcept {
  try {
    // A copy: closing may let other work in, and the list change.
    return CloseAll(std::vector<Named>(databases_), failure);
  } catch (const std::bad_alloc&) {
    log_->UpdateLog(kNoMemory);
    return false;
  }
}

bool PDBFileSystemPalm::End(std::u16string& failure) noexcept {
  const std::vector<Named> databases = std::exchange(databases_, {});
  // Held until the last database is closed.
  const std::shared_ptr<Handheld> handheld = std::exchange(handheld_, nullptr);
  const bool all = CloseAll(databases, failure);
  for (const Named& entry : databases) entry.database->EndSession();
  return all;
}

bool PDBFileSystemPalm::CloseAll(const std::vector<Named>& databases,
                                 std::u16string& failure) noexcept {
  bool all = true;
  for (const Named& entry : databases) {
    try {
      entry.database->CloseDatabase();
    } catch (const AutomationError& error) {
      all = false;
      log_->UpdateLog(error.description());
      try {
        if (!failure.empty()) failure += u"\r\n";
        failure += error.description();
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
