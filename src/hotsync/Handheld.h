#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Bytes.h"
#include "base/Date.h"
#include "pdb/Record.h"

namespace pylon {

// One open record database on a handheld. Destroying it closes it.
//
// Every member goes over the link and costs at least one exchange. Each raises error 57 when the
// link is lost, error 70 when the handheld refuses (a busy record, a database that is read-only or
// protected), error 7 when its memory is full, and any other failure as error 51 with the words
// that came along. What is simply not there is a null or false result. Indexes are 1-based.
class HandheldDatabase {
 public:
  virtual ~HandheldDatabase() = default;

  virtual int32_t RecordCount() = 0;
  // Records as the handheld keeps them: its upper attribute bits, with the busy bit, and 16
  // categories, and ids that it has given. Their data is their own.
  virtual std::optional<Record> ReadByIndex(int32_t index) = 0;
  virtual std::optional<Record> ReadById(int32_t id) = 0;
  // The first record from `index` on that is marked dirty. Handhelds mark records that the user
  // deletes as dirty too.
  virtual std::optional<Record> ReadNextModified(int32_t index) = 0;
  // Replaces the record with this id, or adds one when it is 0. Returns its id.
  virtual int32_t Write(int32_t id, int16_t category, int32_t attributes, ByteSpan data) = 0;
  virtual bool Remove(int32_t id) = 0;
  virtual void RemoveAll() = 0;
  virtual void ResetModifiedFlags() = 0;

  virtual Bytes ReadAppInfoBlock() = 0;
  virtual void WriteAppInfoBlock(ByteSpan block) = 0;
  virtual Bytes ReadSortInfoBlock() = 0;
  virtual void WriteSortInfoBlock(ByteSpan block) = 0;
};

// What is known of a database without opening it; empty or 0 where a link doesn't report it.
struct HandheldDatabaseInfo {
  std::u16string creator;  // four characters
  std::u16string type;     // four characters
  Date created = 0;
  Date modified = 0;
};

// A handheld during its session with the PC, whatever the link: HotSync's own, or a direct one.
//
// Used by the one STA thread. Errors are those of HandheldDatabase.
class Handheld {
 public:
  virtual ~Handheld() = default;

  virtual std::u16string UserName() = 0;  // of the handheld's owner, which names the device
  virtual Date DateTime() = 0;            // the handheld's clock
  // A line in the log that the user reads after the session; ends are the link's business.
  virtual void AddLogEntry(std::u16string_view text) = 0;

  virtual std::vector<std::u16string> DatabaseNames() = 0;
  virtual std::optional<HandheldDatabaseInfo> DatabaseInfo(std::u16string_view name) = 0;
  // For reading and writing, secret records included; null when there is no such database.
  virtual std::unique_ptr<HandheldDatabase> OpenDatabase(std::u16string_view name) = 0;
  // A new, empty one, open; error 58 when the name is taken.
  virtual std::unique_ptr<HandheldDatabase> CreateDatabase(std::u16string_view name,
                                                           std::u16string_view creator,
                                                           std::u16string_view type) = 0;
  virtual bool DeleteDatabase(std::u16string_view name) = 0;

  // Whether the link was lost: from then on every other member raises error 57 at once.
  virtual bool IsLost() const noexcept = 0;
};

}  // namespace pylon
