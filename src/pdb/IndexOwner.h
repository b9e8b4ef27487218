#pragma once

#include <memory>
#include <string>

#include "pdb/CSyncIndex.h"

namespace pylon {

// The sync index of one database object: made when it is first asked for, kept as long as the
// object is the same database, and closed with it.
//
// The database says where it is with each call, since it may have been renamed or moved.
class IndexOwner {
 public:
  struct Place {
    std::u16string folder;
    std::u16string name;  // of the database
  };

  // Without `make` there is no index.
  explicit IndexOwner(SyncIndexFactory make) : make_(std::move(make)) {}

  // Whether Get would make the index.
  bool IsToBeMade() const { return make_ && !index_; }
  // Error 445 where none is kept.
  std::shared_ptr<CSyncIndex> Get(const Place& place);

  // The database was opened, or created: in the second case `is_new` says that there was none, so
  // that an index file speaks of another one. The object may have been another database before: the
  // index of that one is closed and stays with those who hold it.
  void OnOpened(const Place& place, bool is_new = false);
  // Reads the index, if there is one, while it can still be found.
  void LoadToMove(const Place& place);
  // The open database is called so now.
  void Move(const Place& place, CSyncIndex::OldFile old_file);
  // The records are safe. Raises the index's errors only where no log reports them; the index then
  // keeps its changes for the next close.
  void Close(const Place& place);
  void Discard();  // without saving

  bool IsNew() const { return is_new_; }

 private:
  void CloseIndex(const Place& place);

  SyncIndexFactory make_;
  std::shared_ptr<CSyncIndex> index_;
  bool is_new_ = false;
};

}  // namespace pylon
