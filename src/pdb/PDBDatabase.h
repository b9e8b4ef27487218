#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/Bytes.h"
#include "base/Date.h"
#include "base/Failure.h"
#include "base/Types.h"
#include "pdb/Record.h"

namespace pylon {

class CSyncIndex;

// One record database, wherever it is. Records are addressed by a 1-based index and by a unique
// id of 24 bits; `attributes` are eRecordAttribute bits and `category` is 0 to 15.
//
// The archive bit and the category share bit 3 of the stored attributes byte: in a record marked
// eDelete it is eArchive and the category has three bits, otherwise it belongs to the category.
//
// The record members raise error 5 on a database that is not open and error 57 when the file can't
// be read: an empty answer there would look like the end of the records, and a conduit would delete
// what it could not see.
class PDBDatabase {
 public:
  virtual ~PDBDatabase() = default;

  virtual std::u16string PDBFilePath() const = 0;
  virtual void SetPDBFilePath(std::u16string_view path) = 0;
  virtual std::u16string PDBDatabaseName() const = 0;
  // More than 32 characters, or one that the code page lacks, raise error 5.
  virtual void SetPDBDatabaseName(std::u16string_view name) = 0;
  virtual std::u16string CreatorId() const = 0;
  virtual void SetCreatorId(std::u16string_view id) = 0;  // more than 4 characters raise error 5
  virtual eDatabaseForType DatabaseFor() const = 0;

  // False, and a line in the log, when there is no such database or it is damaged. One that is
  // open already stays as it is, unsaved changes included, with the cursor at the first record.
  virtual bool OpenDatabase() = 0;
  virtual bool IsOpen() const = 0;
  // Saves changes; after an error it is still open and changed, except after one of SyncIndex.
  virtual void CloseDatabase() = 0;
  // Why saving failed, the first of the tries since it last did not.
  virtual std::optional<Failure> SaveFailure() const { return std::nullopt; }
  virtual void RemoveDatabase() = 0;
  // Empty, also where one exists: that is replaced at the close. False where one exists that the
  // last OpenDatabase could not read: it may well be whole.
  virtual bool CreateDatabase() = 0;

  virtual RecordData ReadAppInfoBlock() = 0;
  virtual void WriteAppInfoBlock(ByteSpan block) = 0;
  virtual RecordData ReadSortInfoBlock() = 0;
  virtual void WriteSortInfoBlock(ByteSpan block) = 0;

  // The cursor: index of the record that ReadNext reads next; record count + 1 is the end. Below 1
  // it is before the first record, and reading starts with the first.
  virtual int32_t IterationIndex() const = 0;
  virtual void SetIterationIndex(int32_t index) = 0;
  virtual bool BOF() const = 0;
  virtual bool EOF_() const = 0;  // EOF is a macro of <cstdio>

  // Each is empty at the end, for an index out of range and for an id that no record has.
  virtual std::optional<Record> Next() = 0;
  virtual std::optional<Record> ByIndex(int32_t index) = 0;
  virtual std::optional<Record> ById(int32_t id) = 0;
  // The next record marked eDirty or eDelete, from the cursor on. The cursor then stays on the
  // record that was read, and the next read goes on behind it.
  virtual std::optional<Record> NextModified() = 0;
  virtual void Remove(int32_t unique_id) = 0;  // an unknown id raises error 5
  virtual void RemoveAll() = 0;
  virtual void RemoveWithDeleteFlag() = 0;
  virtual void ResetModifyFlags() = 0;  // except of records marked eDelete
  virtual int32_t RecordCount() const = 0;
  // Writes the record at `index`, or a new one at the end when it is below 1 or beyond the last,
  // and returns the record's id. A record with data and unique_id 0 gets one, except for
  // dftPalmHotSync, where the handheld gives it; an existing record keeps its id when given 0. What
  // `attributes` and `category` hold beyond the stored byte is dropped: bits 0 to 2, eArchive
  // without eDelete, and category bit 3 with eDelete. `data` may be that of a record that was read.
  // A category outside 0 to 15, attributes outside 0 to 255 or an id outside 24 bits raise error 5;
  // record 65,536 raises error 6.
  virtual int32_t Update(int32_t index, int32_t unique_id, int16_t category, int32_t attributes,
                         ByteSpan data) = 0;
  virtual Date CreateDateTime() const = 0;
  virtual Date ModifyDateTime() const = 0;
  // The same object as long as this is the same database. Closing closes it too, after the records
  // are saved; a failure of that is not a failure of the close: the log reports it and the index
  // stays changed. Without a log it is error 57, with the records saved and the database closed.
  // Error 5 when it is first asked for on a database that is not open, error 445 where none is
  // kept.
  virtual std::shared_ptr<CSyncIndex> SyncIndex() = 0;
};

}  // namespace pylon
