#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/AnsiCodePage.h"
#include "base/Date.h"
#include "base/LogSink.h"
#include "base/Types.h"
#include "files/IPCFile.h"
#include "pdb/NamedDatabases.h"
#include "pdb/PDBDatabasePC.h"
#include "pdb/PDBFileSystem.h"

namespace pylon {

// The databases of one folder: the database X is in the file "X.pdb".
//
// Names are file names without ".pdb", compared exactly. Those that reach out of the folder or mean
// something else to Windows (separators, colons, wildcards, control characters, devices) are not
// database names. A name that differs in case only from that of another database is another one,
// but where the disk ignores case both mean the same file: while one has it open the other can
// neither be opened nor saved.
//
// Also keeps the databases that were asked for, in that order; a name stays in the list when its
// file could not be opened; the 32,768th raises error 6. MoveDatabase and DeleteDatabase keep the
// list in step: a database that is open goes on under its new name with its unsaved changes, and
// the list drops a closed one whose name is taken over; a deleted one is closed unsaved and
// dropped.
//
// Members that answer a boolean raise nothing but what opening or creating the database raises.
class PDBFileSystemPC final : public PDBFileSystem {
 public:
  // `files` makes file objects of the kind that reaches `folder`; code page and clock are borrowed,
  // the code page outlives the databases too. `log` may be null. Without `indexes` the databases
  // keep no sync index.
  PDBFileSystemPC(std::u16string folder, FileFactory files, eDatabaseForType database_for,
                  const AnsiCodePage& code_page, const Clock& clock, std::shared_ptr<LogSink> log,
                  SyncIndexFactory indexes = {});
  ~PDBFileSystemPC() override { Close(); }
  PDBFileSystemPC(const PDBFileSystemPC&) = delete;
  PDBFileSystemPC& operator=(const PDBFileSystemPC&) = delete;

  bool OpenDatabase(std::u16string_view FileName, std::shared_ptr<PDBDatabase>& oDatabase) override;
  bool CreateDatabase(std::u16string_view FileName,
                      std::shared_ptr<PDBDatabase>& oDatabase) override;
  // False when there is no such database or the new name is taken.
  bool MoveDatabase(std::u16string_view FromFileName, std::u16string_view ToFileName) override;
  bool DeleteDatabase(std::u16string_view FileName) override;
  int32_t DatabaseCount() const override { return databases_.count(); }
  std::shared_ptr<PDBDatabase> Database(int32_t iIndex) const override;
  bool CloseDatabases(Failures& failures) noexcept override;
  bool End(Failures& failures) noexcept override;

  // Whether the text can name a database here.
  static bool IsDatabaseName(std::u16string_view name);

 private:
  bool Accepts(std::u16string_view name) const;
  bool Refuse(std::u16string_view name, std::u16string_view reason) const;
  std::shared_ptr<PDBDatabasePC> FindOrAdd(std::u16string_view name);
  std::shared_ptr<PDBDatabasePC> FindOrMake(std::u16string_view name) const;  // not in the list
  std::unique_ptr<PDBDatabasePC> NewDatabase(std::u16string_view name) const;

  std::u16string folder_;
  FileFactory files_;
  eDatabaseForType database_for_;
  const AnsiCodePage* code_page_;
  const Clock* clock_;
  std::shared_ptr<LogSink> log_;  // not null
  SyncIndexFactory indexes_;
  bool closed_ = false;
  NamedDatabases<PDBDatabasePC> databases_;
};

}  // namespace pylon
