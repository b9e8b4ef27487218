#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/Bytes.h"
#include "base/Date.h"
#include "pdb/PDBFormat.h"
#include "pdb/RecordTable.h"

namespace pylon::palm {

// A record as the suite hands it out. The data is the database's, until its next change.
struct Record {
  int32_t index = 0;  // from 0
  uint32_t id = 0;    // 24 bits, not 0
  int32_t category = 0;
  int32_t attributes = 0;  // eRecordAttribute and the busy bit
  ByteSpan data;
};

// Which records a reader wants.
struct Wanted {
  bool secret = true;     // also those marked secret
  bool modified = false;  // only those marked dirty
};

inline constexpr int32_t kBusy = 0x20;
inline constexpr int32_t kReadOnlyDatabase = 0x0002;  // in the header's attributes
inline constexpr int32_t kResourceDatabase = 0x0001;
inline constexpr size_t kMaxName = 31;

// A record database in the handheld's memory, read from a PDB file and turned into one again. Every
// record has an id of its own; what a file lacks there is given when it is read.
//
// Reading and writing a record takes the same time whatever their number. Wrong calls raise
// SuiteError.
class Database {
 public:
  // Raises SuiteError for a file that is no whole database. A resource database has a name, a type
  // and a creator here, and no records.
  static Database Parse(Bytes file);
  // The name has 1 to 31 characters.
  static Database Make(std::u16string_view name, uint32_t creator, uint32_t type, Date now);
  Bytes Build() const;

  std::u16string Name() const;
  uint32_t creator() const;
  uint32_t type() const;
  Date created() const;
  Date modified() const;
  Date backed_up() const;
  uint32_t modification_number() const { return header_.modification_number; }
  bool IsResources() const { return (header_.attributes & kResourceDatabase) != 0; }
  bool IsReadOnly() const { return (header_.attributes & kReadOnlyDatabase) != 0; }

  int32_t count() const { return records_.count(); }
  std::optional<Record> At(int32_t index) const;
  std::optional<Record> Find(uint32_t id) const;
  // The first record from `index` on that is wanted.
  std::optional<Record> Next(int32_t index, Wanted wanted) const;

  // Replaces the record with this id, or adds one when it is 0. Returns its id.
  uint32_t Write(uint32_t id, int32_t category, int32_t attributes, ByteSpan data, Date now);
  bool Remove(uint32_t id, Date now);
  void RemoveAll(Date now);
  void RemoveDeleted(Date now);
  // The backup date changes as well: it tells when the handheld was synchronized last.
  void ResetModified(Date now);
  // As the handheld's own delete does: the record goes to the end, marked and without data but for
  // an archived one's.
  bool MarkDeleted(uint32_t id, bool archive, Date now);

  ByteSpan app_info() const { return app_info_; }
  ByteSpan sort_info() const { return sort_info_; }
  void SetAppInfo(ByteSpan block, Date now);
  void SetSortInfo(ByteSpan block, Date now);

  // Whether the file is behind.
  bool changed() const { return changed_; }
  void SetSaved() { changed_ = false; }

 private:
  Database() = default;

  void ReadRecords(ByteSpan file);
  void GiveIds();
  uint32_t NewId();
  void Touch(Date now);
  ByteSpan DataOf(const RecordEntry& entry) const;
  Record RecordIn(size_t slot) const;

  PDBHeader header_;  // offsets and count as they were read
  Bytes app_info_;
  Bytes sort_info_;
  Bytes file_;  // the data of the records that were not written since
  RecordTable records_;
  bool changed_ = false;
};

}  // namespace pylon::palm
