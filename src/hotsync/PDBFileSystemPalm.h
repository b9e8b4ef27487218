#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/AnsiCodePage.h"
#include "base/LogSink.h"
#include "base/Types.h"
#include "hotsync/Handheld.h"
#include "hotsync/PDBDatabasePalm.h"
#include "pdb/CSyncIndex.h"
#include "pdb/NamedDatabases.h"
#include "pdb/PDBFileSystem.h"

namespace pylon {

// The databases of a handheld during its session with the PC.
//
// Does no work on the handheld itself: it keeps the databases that were asked for, in that order,
// and forwards. Names are compared exactly; every member that takes one adds it to the list, where
// it stays, also when there is no such database or it is deleted.
//
// Errors of the databases reach the caller as they are.
class PDBFileSystemPalm final : public PDBFileSystem {
 public:
  // `log` may be null. Without `indexes` the databases keep no sync index. The code page outlives
  // the databases.
  PDBFileSystemPalm(std::shared_ptr<Handheld> handheld, const AnsiCodePage& code_page,
                    std::shared_ptr<LogSink> log, SyncIndexFactory indexes = {});
  ~PDBFileSystemPalm() override { Close(); }
  PDBFileSystemPalm(const PDBFileSystemPalm&) = delete;
  PDBFileSystemPalm& operator=(const PDBFileSystemPalm&) = delete;

  // Not for components: what databases that are added from now on are given.
  const std::u16string& CreatorId() const { return creator_id_; }
  void SetCreatorId(std::u16string_view id) { creator_id_ = id; }
  eDatabaseForType DatabaseFor() const { return database_for_; }
  void SetDatabaseFor(eDatabaseForType type) { database_for_ = type; }
  const std::u16string& Folder() const { return folder_; }  // on the PC, for the sync indexes
  void SetFolder(std::u16string_view folder) { folder_ = folder; }

  bool OpenDatabase(std::u16string_view FileName, std::shared_ptr<PDBDatabase>& oDatabase) override;
  // oDatabase is left as it was when the database can't be created.
  bool CreateDatabase(std::u16string_view FileName,
                      std::shared_ptr<PDBDatabase>& oDatabase) override;
  // Always False: handhelds rename no database.
  bool MoveDatabase(std::u16string_view FromFileName, std::u16string_view ToFileName) override;
  // True, also when there was none. The list keeps it.
  bool DeleteDatabase(std::u16string_view FileName) override;
  int32_t DatabaseCount() const override { return databases_.count(); }
  std::shared_ptr<PDBDatabase> Database(int32_t iIndex) const override {  // null out of range
    return databases_.At(iIndex);
  }
  bool CloseDatabases(Failures& failures) noexcept override;
  // Also lets go of the handheld, for databases too that are still referenced.
  bool End(Failures& failures) noexcept override;

 private:
  bool RefuseEnded(std::u16string_view name) const;
  std::shared_ptr<PDBDatabasePalm> FindOrAdd(std::u16string_view name);

  std::shared_ptr<Handheld> handheld_;  // null once it has ended
  const AnsiCodePage* code_page_;
  std::shared_ptr<LogSink> log_;  // not null
  SyncIndexFactory indexes_;
  std::u16string creator_id_;
  eDatabaseForType database_for_ = dftPalmHotSync;
  std::u16string folder_;
  NamedDatabases<PDBDatabasePalm> databases_;
};

}  // namespace pylon
