#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/AnsiCodePage.h"
#include "base/Bytes.h"
#include "base/Date.h"
#include "base/Failure.h"
#include "base/LogSink.h"
#include "files/IPCFile.h"
#include "pdb/IndexOwner.h"
#include "pdb/PDBDatabase.h"
#include "pdb/PDBUtils.h"
#include "pdb/PdbFile.h"
#include "pdb/RecordCursor.h"
#include "pdb/UniqueIds.h"

namespace pylon {

// A database in one PDB file, on the PC's disks or wherever its IPCFile reaches; see PdbFile.
// Changes stay in memory until CloseDatabase. A database that was only read is not written.
//
// An object that is destroyed while open is not saved; PDBFileSystemPC closes what it opened.
//
// Owns its file object; borrows code page and clock. The code page must outlive the database.
//
// Without `indexes` it keeps no sync index. The index goes with the database's name, and without a
// run with its folder too. A database that is created where there was no file starts with an empty
// one.
class PDBDatabasePC final : public PDBDatabase {
 public:
  PDBDatabasePC(std::unique_ptr<IPCFile> file, const AnsiCodePage& code_page, const Clock& clock,
                std::shared_ptr<LogSink> log, SyncIndexFactory indexes = {});

  std::u16string PDBFilePath() const override;
  // While open this is "save as": the close writes the database under the new path, and the file
  // under the old one stays as it is.
  void SetPDBFilePath(std::u16string_view path) override;
  std::u16string PDBDatabaseName() const override;
  void SetPDBDatabaseName(std::u16string_view name) override;
  std::u16string CreatorId() const override;
  void SetCreatorId(std::u16string_view id) override;
  std::u16string DatabaseType() const;
  void SetDatabaseType(std::u16string_view id);  // more than 4 characters raise error 5
  eDatabaseForType DatabaseFor() const override { return file_.database_for(); }
  // Decides how the file is read and how it is written; on an open database only the latter.
  void SetDatabaseFor(eDatabaseForType value);

  // An AppInfo block of more than 32,767 bytes raises error 6.
  bool OpenDatabase() override;
  // Error 6 for a file of 2 GB or more or for unique ids that have run out, before anything is
  // written; error 57 when the file can't be written, and the old one is then still there.
  void CloseDatabase() override;
  // A try that the user has stopped gives way to the next one.
  std::optional<Failure> SaveFailure() const override { return save_failure_; }
  // Deletes the file and closes unsaved. Error 57 when there is one that can't be deleted; the
  // database then stays as it is.
  void RemoveDatabase() override;
  // Without a name the database takes the one of its file, which must have one; without a type and
  // creator it keeps those that the object has.
  // False as well when the last OpenDatabase did not open a file that is still there, unreadable or
  // damaged: the close would replace what may be whole or mended. RemoveDatabase or another path
  // lift that.
  bool CreateDatabase() override;

  RecordData ReadAppInfoBlock() override;
  void WriteAppInfoBlock(ByteSpan block) override;  // over 32,767 bytes: error 6
  RecordData ReadSortInfoBlock() override;
  void WriteSortInfoBlock(ByteSpan block) override;

  // Takes what is outside 0 .. record count + 1 as the nearer end.
  int32_t IterationIndex() const override;
  void SetIterationIndex(int32_t index) override;
  bool BOF() const override;
  bool EOF_() const override;

  std::optional<Record> Next() override;
  std::optional<Record> ByIndex(int32_t index) override;
  std::optional<Record> ById(int32_t id) override;  // of records that share the id, the first
  std::optional<Record> NextModified() override;
  // Of records that share the id (0, in files for HotSync), the one that was read last if it is
  // among them, else the first. The cursor stays with its record.
  void Remove(int32_t unique_id) override;
  void RemoveAll() override;
  void RemoveWithDeleteFlag() override;
  void ResetModifyFlags() override;
  int32_t RecordCount() const override;
  // Also error 5 for the id of another record, and error 6 when no id is left for a new one.
  int32_t Update(int32_t index, int32_t unique_id, int16_t category, int32_t attributes,
                 ByteSpan data) override;
  Date CreateDateTime() const override;
  Date ModifyDateTime() const override;
  std::shared_ptr<CSyncIndex> SyncIndex() override;

  bool IsOpen() const override { return state_ == State::kOpen; }  // and not busy
  // A device's file pumps messages while it is opened or saved.
  bool IsBusy() const { return state_ == State::kOpening || state_ == State::kSaving; }
  bool FileExists() const { return file_.Exists(); }
  // Gives the file another name in its folder; an open database goes on under it, unsaved changes
  // included. False, with a line in the log, when the name is taken or the file can't be renamed.
  // Error 57 when an open database can't be read.
  bool Rename(std::u16string_view new_file_name);
  // Closes without saving, neither records nor sync index.
  void Abandon();

 private:
  enum class State { kClosed, kOpening, kOpen, kSaving };
  class Busy;

  void RequireOpen() const;
  void RequireIdle() const;
  bool RefuseBusy() const;
  bool Refuse(std::u16string_view reason) const;

  Record ReadSlot(size_t slot, int32_t index);
  IndexOwner::Place IndexPlace() const;
  void LoadIndexToMove();
  void MoveIndex(CSyncIndex::OldFile old_file);
  void Save();
  void Close();
  template <class Text>
  void SetText(Text& field, std::u16string_view text);

  PdbFile file_;
  UniqueIds ids_{file_};
  IndexOwner index_;
  RecordCursor cursor_;
  const AnsiCodePage* code_page_;
  const Clock* clock_;
  std::shared_ptr<LogSink> log_;  // not null
  PDBUtils utils_;

  State state_ = State::kClosed;
  bool unopened_ = false;  // the last OpenDatabase found a file and did not open it
  std::optional<Failure> save_failure_;
};

}  // namespace pylon
