#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/AnsiCodePage.h"
#include "base/AutomationError.h"
#include "base/Bytes.h"
#include "base/Date.h"
#include "base/LogSink.h"
#include "files/IPCFile.h"
#include "pdb/CSyncIndex.h"
#include "pdb/PDBDatabase.h"
#include "pdb/PDBFormat.h"
#include "pdb/PDBUtils.h"
#include "pdb/RecordTable.h"

namespace pylon {

// A database in one PDB file, on the PC's disks or wherever its IPCFile reaches.
//
// Opening reads header and record list, one read each, and keeps the file open, so that nobody else
// changes it meanwhile. The first access to the bytes of a record or block reads all the rest in
// one piece. Changes stay in memory until CloseDatabase, which writes the whole file under another
// name (the file's own followed by ".new") and puts it in the place of the old one: at no moment is
// there half a file. A database that was only read is not written.
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
  eDatabaseForType DatabaseFor() const override { return database_for_; }
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

  void ReadAppInfoBlock(PDBByteStream& stream) override;
  void WriteAppInfoBlock(const PDBByteStream& stream) override;  // over 32,767 bytes: error 6
  void ReadSortInfoBlock(PDBByteStream& stream) override;
  void WriteSortInfoBlock(const PDBByteStream& stream) override;

  // Takes what is outside 0 .. record count + 1 as the nearer end.
  int32_t IterationIndex() const override;
  void SetIterationIndex(int32_t index) override;
  bool BOF() const override;
  bool EOF_() const override;

  bool ReadNext(int32_t& Index, int32_t& UniqueId, int16_t& Category, int32_t& Attributes,
                PDBByteStream& oByteStream) override;
  bool ReadNextByIndex(int32_t Index, int32_t& UniqueId, int16_t& Category, int32_t& Attributes,
                       PDBByteStream& aData) override;
  // Of records that share the id, the first.
  bool ReadNextById(int32_t& Index, int32_t UniqueId, int16_t& Category, int32_t& Attributes,
                    PDBByteStream& aData) override;
  bool ReadNextModified(int32_t& Index, int32_t& UniqueId, int16_t& Category, int32_t& Attributes,
                        PDBByteStream& aData) override;
  // Of records that share the id (0, in files for HotSync), the one that was read last if it is
  // among them, else the first. The cursor stays with the record that it stands on.
  void Remove(int32_t UniqueId) override;
  void RemoveAll() override;
  void RemoveWithDeleteFlag() override;
  void ResetModifyFlags() override;
  int32_t RecordCount() const override;
  // Also error 5 for the id of another record, and error 6 when no id is left for a new one.
  void Update(int32_t Index, int32_t& UniqueId, int16_t Category, int32_t Attributes,
              const PDBByteStream& oByteStream) override;
  Date CreateDateTime() const override;
  Date ModifyDateTime() const override;
  std::shared_ptr<CSyncIndex> SyncIndex() override;

  bool IsOpen() const override { return state_ == State::kOpen; }
  // A file that is not local may let other work in while it is opened or saved.
  bool IsBusy() const { return state_ == State::kOpening || state_ == State::kSaving; }
  // Whether the last OpenDatabase answered False for what the file holds, not for failing to read.
  bool IsDamaged() const { return damaged_; }
  bool FileExists() const { return file_->FileExists(); }
  // Gives the file another name in its folder; an open database goes on under it, unsaved changes
  // included. False, with a line in the log, when the name is taken or the file can't be renamed.
  // Error 57 when an open database can't be read.
  bool Rename(std::u16string_view new_file_name);
  // Closes without saving, neither records nor sync index.
  void Abandon();

 private:
  enum class State { kClosed, kOpening, kOpen, kSaving };

  // An AppInfo or SortInfo block: in the file, or given by the caller.
  struct Block {
    uint32_t offset = 0;  // in the file, when not changed
    uint32_t size = 0;
    bool changed = false;
    Bytes data;  // when changed
  };
  // Where things go in a new file, in file order.
  struct Layout {
    size_t app_info = 0;
    size_t sort_info = 0;
    size_t records = 0;
    size_t end = 0;
  };

  void RequireOpen() const;
  void RequireIdle() const;
  bool RefuseBusy() const;
  bool Refuse(std::u16string_view reason) const;
  bool RefuseDamaged(std::u16string_view what);
  std::u16string FileFailure() const;
  AutomationError DeviceError(std::u16string_view path, std::u16string_view what) const;

  AutomationError AppInfoOverflow(size_t size) const;

  bool ReadAt(Bytes& bytes, size_t offset, size_t size);
  bool ReadHeader(PDBHeader& header);
  bool ReadList(const PDBHeader& header, size_t file_size, std::vector<RecordEntry>& records);
  bool LocateBlocks(const PDBHeader& header, size_t list_end, size_t data_start, Block& app_info,
                    Block& sort_info);
  bool NeedsBody() const;
  void LoadBody();
  void Detach();
  ByteSpan FromBody(uint32_t offset, uint32_t size);
  ByteSpan DataOf(const RecordEntry& entry);
  ByteSpan DataOf(const Block& block);
  void WriteBlock(Block& block, const PDBByteStream& stream);

  void ReadSlot(size_t slot, int32_t& unique_id, int16_t& category, int32_t& attributes,
                PDBByteStream& stream);
  int32_t NextIndex() const;

  void AssignIds();
  void NoteId(uint32_t id);
  void RestartIds();
  uint32_t HandOutId();

  std::u16string IndexName() const;
  CSyncIndex& Index();
  void TakeIndex();
  void LoadIndexToMove();
  void MoveIndex(CSyncIndex::OldFile old_file);
  void CloseIndex();
  void Close();
  void Reopen();
  Layout PlanLayout() const;
  void Save();
  size_t WriteTo(IPCFile& file, const Layout& layout);
  void ReplaceFile(const Layout& layout);
  void Forget();
  template <class Text>
  void SetText(Text& field, std::u16string_view text, const char16_t* what);

  std::unique_ptr<IPCFile> file_;  // open from OpenDatabase until its body is needed no more
  const AnsiCodePage* code_page_;
  const Clock* clock_;
  std::shared_ptr<LogSink> log_;  // not null
  PDBUtils utils_;
  SyncIndexFactory indexes_;
  std::shared_ptr<CSyncIndex> index_;  // made when first asked for
  bool is_new_ =
      false;  // created where there was no file: an index that there is speaks of another
  eDatabaseForType database_for_ = dftPalmHotSync;

  State state_ = State::kClosed;
  bool damaged_ = false;
  bool unopened_ = false;  // the last OpenDatabase found a file and did not open it
  bool dirty_ = false;     // whether the close has something to write
  std::optional<Failure> save_failure_;
  PDBHeader header_;  // offsets and count as last read; the close computes them anew
  Block app_info_;
  Block sort_info_;
  RecordTable records_;
  int32_t cursor_ = 0;             // 0 to record count + 1
  bool cursor_delivered_ = false;  // ReadNextModified has read the record at the cursor
  int32_t last_read_ = 0;          // index of the record that was read last; 0: none

  bool body_loaded_ = false;
  Bytes body_;                // the file from body_offset_ on
  uint32_t body_offset_ = 0;  // end of the record list
  uint32_t file_size_ = 0;

  // Whether the closing passes have run over all records: from then on seed and ids are kept up
  // with each Update, which gives the same ids.
  bool ids_assigned_ = false;
};

}  // namespace pylon
