#pragma once

#include <cstdint>

#include "pdb/PdbFile.h"

namespace pylon {

// The unique ids of the records of a file, and the seed and next id in its header, which say what
// a new record gets. In files for HotSync none is given: the handheld does that.
//
// Borrows the file. Once Assign has run over all records, seed and ids are kept up with each
// update, which gives the same ids.
class UniqueIds {
 public:
  explicit UniqueIds(PdbFile& file) : file_(file) {}
  UniqueIds(const UniqueIds&) = delete;
  UniqueIds& operator=(const UniqueIds&) = delete;

  bool AreGivenHere() const { return file_.database_for() != dftPalmHotSync; }
  // The seed rises to the highest id of a record with data; then the records that have data and no
  // id get the next ones, which marks the file as changed. Does nothing the second time.
  void Assign();
  // The next id that no record has. After Assign. Error 6 when there is none left.
  uint32_t HandOut();
  // A record with data has this id now.
  void OnUpdated(uint32_t id) {
    if (assigned_) Count(id);
  }
  // Other records, or another platform.
  void Forget() { assigned_ = false; }

 private:
  void Count(uint32_t id);
  void Restart();

  PdbFile& file_;
  bool assigned_ = false;
};

}  // namespace pylon
