#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/Failure.h"
#include "pdb/PDBDatabase.h"

namespace pylon {

// The databases of one handheld or folder. A database is shared between the file system and its
// users: the same name gives the same object.
class PDBFileSystem {
 public:
  virtual ~PDBFileSystem() = default;

  // False, with the reason in the log, for a name that is not a database name, for a database that
  // is not there or for a damaged one. oDatabase is set whenever the name is a database name.
  virtual bool OpenDatabase(std::u16string_view FileName,
                            std::shared_ptr<PDBDatabase>& oDatabase) = 0;
  virtual bool CreateDatabase(std::u16string_view FileName,
                              std::shared_ptr<PDBDatabase>& oDatabase) = 0;
  virtual bool MoveDatabase(std::u16string_view FromFileName, std::u16string_view ToFileName) = 0;
  virtual bool DeleteDatabase(std::u16string_view FileName) = 0;
  virtual int32_t DatabaseCount() const = 0;
  // 1-based; out of range error 9, or null where the implementation says so.
  virtual std::shared_ptr<PDBDatabase> Database(int32_t iIndex) const = 0;

  // Saves and closes what is open. False when something could not be saved: that stays open, the
  // log says so, and `failures` gets the reason, kCancelled where the user has stopped it and
  // nothing else went wrong, else kUnsaved: the reason of the first try to save it, when there was
  // one before. Not tried again, and not reported again, by the next call.
  virtual bool CloseDatabases(Failures& failures) noexcept = 0;
  // Does the same and ends the file system: afterwards every member answers False or 0, and what
  // could not be saved is gone.
  virtual bool End(Failures& failures) noexcept = 0;
  void Close() noexcept {
    Failures in_the_log;
    End(in_the_log);
  }
};

}  // namespace pylon
