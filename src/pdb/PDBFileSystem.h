#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "pdb/PDBDatabase.h"

namespace pylon {

// The databases of one handheld or folder. A database is shared between the file system and who
// uses it: the same name gives the same object. Members stand in the order of their slots.
class PDBFileSystem {
 public:
  virtual ~PDBFileSystem() = default;

  // False, with the reason in the log, for a name that is no database name, for a database that is
  // not there or for a damaged one. oDatabase is set whenever the name is a database name.
  virtual bool OpenDatabase(std::u16string_view FileName,
                            std::shared_ptr<PDBDatabase>& oDatabase) = 0;
  virtual bool CreateDatabase(std::u16string_view FileName,
                              std::shared_ptr<PDBDatabase>& oDatabase) = 0;
  virtual bool MoveDatabase(std::u16string_view FromFileName, std::u16string_view ToFileName) = 0;
  virtual bool DeleteDatabase(std::u16string_view FileName) = 0;
  virtual int32_t DatabaseCount() const = 0;
  virtual std::shared_ptr<PDBDatabase> Database(int32_t iIndex) const = 0;  // 1-based; else error 9

  // Ends the file system: saves and closes what is open. A failure goes to the log. Afterwards
  // every member answers False or 0.
  virtual void Close() noexcept = 0;
};

}  // namespace pylon
