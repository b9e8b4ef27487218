#include "pdb/IndexOwner.h"

#include <utility>

#include "base/AutomationError.h"

namespace pylon {

// Reading an index pumps messages, and a call that comes in may make the owner let go of it: every
// member that calls it holds a reference of its own.

std::shared_ptr<CSyncIndex> IndexOwner::Get(const Place& place) {
  if (!make_) throw AutomationError(ErrorNumber::kActionNotSupported);
  if (!index_) {
    std::shared_ptr<CSyncIndex> index = make_();
    index->SetDatabase(place.folder, place.name);
    if (is_new_) index->StartAfresh();
    index_ = std::move(index);
  }
  return index_;
}

void IndexOwner::OnOpened(const Place& place, bool is_new) {
  is_new_ = is_new;
  if (!index_) return;
  if (!index_->IsFor(place.folder, place.name)) {
    CloseIndex(place);
    index_.reset();
  } else if (is_new_) {
    index_->StartAfresh();
  }
}

void IndexOwner::LoadToMove(const Place& place) {
  if (!make_) return;
  const bool had_index = index_ != nullptr;
  const std::shared_ptr<CSyncIndex> index = Get(place);
  if (had_index || index->SyncIndexExists()) index->Load();
}

void IndexOwner::Move(const Place& place, CSyncIndex::OldFile old_file) {
  if (const std::shared_ptr<CSyncIndex> index = index_) {
    index->MoveTo(place.folder, place.name, old_file);
  }
}

void IndexOwner::CloseIndex(const Place& place) {
  std::shared_ptr<CSyncIndex> index;
  try {
    // The index file of a database of that name that is gone is emptied.
    if (is_new_ && make_) Get(place);
    index = index_;
    if (index) index->CloseIndex();
  } catch (const AutomationError&) {
    if (!index || !index->HasLog()) throw;
  }
}

void IndexOwner::Close(const Place& place) {
  CloseIndex(place);
  is_new_ = false;
}

void IndexOwner::Discard() {
  is_new_ = false;
  if (index_) index_->Discard();
}

}  // namespace pylon
