#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/Date.h"
#include "base/Failure.h"
#include "base/Types.h"
#include "pdb/PDBByteStream.h"

namespace pylon {

class CSyncIndex;

// One record database, wherever it lies. Records are addressed by a 1-based index and by a unique
// id of 24 bits; `Attributes` are eRecordAttribute bits and `Category` is 0 to 15.
//
// The archive bit and the category share bit 3 of the stored attributes byte: in a record marked
// eDelete it is eArchive and the category has three bits, otherwise it belongs to the category.
//
// Members stand in the order of their slots. The record members raise error 5 on a database that
// is not open and error 57 when the file can't be read: a False there would look like the end of
// the records, and a conduit would delete what it could not see.
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
  // Saves changes; after an error it is still open and changed, but for one of SyncIndex.
  virtual void CloseDatabase() = 0;
  // Why saving failed, the first of the tries since it last did not.
  virtual std::optional<Failure> SaveFailure() const { return std::nullopt; }
  virtual void RemoveDatabase() = 0;
  // Empty, also where one exists: that is replaced at the close. False where one exists that the
  // last OpenDatabase could not read: it may well be whole.
  virtual bool CreateDatabase() = 0;

  virtual void ReadAppInfoBlock(PDBByteStream& stream) = 0;
  virtual void WriteAppInfoBlock(const PDBByteStream& stream) = 0;
  virtual void ReadSortInfoBlock(PDBByteStream& stream) = 0;
  virtual void WriteSortInfoBlock(const PDBByteStream& stream) = 0;

  // The cursor: index of the record that ReadNext reads next; record count + 1 is the end. Below 1
  // it is before the first record, and reading starts with the first.
  virtual int32_t IterationIndex() const = 0;
  virtual void SetIterationIndex(int32_t index) = 0;
  virtual bool BOF() const = 0;
  virtual bool EOF_() const = 0;  // EOF is a macro of <cstdio>

  virtual bool ReadNext(int32_t& Index, int32_t& UniqueId, int16_t& Category, int32_t& Attributes,
                        PDBByteStream& oByteStream) = 0;
  virtual bool ReadNextByIndex(int32_t Index, int32_t& UniqueId, int16_t& Category,
                               int32_t& Attributes, PDBByteStream& aData) = 0;
  virtual bool ReadNextById(int32_t& Index, int32_t UniqueId, int16_t& Category,
                            int32_t& Attributes, PDBByteStream& aData) = 0;
  // Reads the next record marked eDirty or eDelete, from the cursor on. The cursor then stands on
  // the record that was read, and the next read goes on behind it.
  virtual bool ReadNextModified(int32_t& Index, int32_t& UniqueId, int16_t& Category,
                                int32_t& Attributes, PDBByteStream& aData) = 0;
  virtual void Remove(int32_t UniqueId) = 0;  // an unknown id raises error 5
  virtual void RemoveAll() = 0;
  virtual void RemoveWithDeleteFlag() = 0;
  virtual void ResetModifyFlags() = 0;  // but for records marked eDelete
  virtual int32_t RecordCount() const = 0;
  // Writes the record at Index, or a new one at the end when Index is below 1 or beyond the last. A
  // record with data and UniqueId 0 gets an id, which comes back, but for dftPalmHotSync, where the
  // handheld gives it; an existing record keeps its id when given 0. What Attributes and Category
  // hold beyond the stored byte is dropped: bits 0 to 2, eArchive without eDelete, and category bit
  // 3 with eDelete.
  // Category outside 0 to 15, Attributes outside 0 to 255 or an id outside 24 bits raise error 5;
  // record 65,536 raises error 6.
  virtual void Update(int32_t Index, int32_t& UniqueId, int16_t Category, int32_t Attributes,
                      const PDBByteStream& oByteStream) = 0;
  virtual Date CreateDateTime() const = 0;
  virtual Date ModifyDateTime() const = 0;
  // The same object as long as this is the same database. Closing closes it too, after the records
  // are saved; a failure of that is no failure of the close: the log tells it and the index stays
  // changed. Where nobody keeps a log it is error 57, with the records saved and the database
  // closed. Error 5 when it is first asked for on a database that is not open, error 445 where none
  // is kept.
  virtual std::shared_ptr<CSyncIndex> SyncIndex() = 0;
};

}  // namespace pylon
