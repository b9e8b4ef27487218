#include "pdb/UniqueIds.h"

#include <algorithm>

#include "base/AutomationError.h"

namespace pylon {

void UniqueIds::Assign() {
  if (!AreGivenHere() || assigned_) return;
  PDBHeader& header = file_.header();
  RecordTable& records = file_.records();
  for (size_t slot = records.First(); slot != records.End(); slot = records.Next(slot)) {
    if (records[slot].size > 0) Count(records[slot].unique_id);
  }
  if (header.next_unique_id == 0) header.next_unique_id = 1;
  for (size_t slot = records.First(); slot != records.End(); slot = records.Next(slot)) {
    const RecordEntry& entry = records[slot];
    if (entry.size == 0 || entry.unique_id != 0) continue;
    records.SetId(slot, HandOut());
    file_.MarkChanged();  // also when the next one fails: what a caller has seen is saved
  }
  assigned_ = true;
}

uint32_t UniqueIds::HandOut() {
  PDBHeader& header = file_.header();
  uint32_t id = 0;
  do {
    if (std::max(header.next_unique_id, header.unique_id_seed) > kMaxUniqueId) Restart();
    if (header.next_unique_id > kMaxUniqueId) {
      throw AutomationError(ErrorNumber::kOverflow,
                            u"The database " + file_.Path() + u" has no unique ids left");
    }
    id = header.next_unique_id;
    ++header.unique_id_seed;
    header.next_unique_id = header.unique_id_seed + 1;
    // An id that a record holds already counts as handed out: given again, one would be lost.
  } while (id == 0 || file_.records().Find(id) != RecordTable::kNone);
  return id;
}

void UniqueIds::Count(uint32_t id) {
  PDBHeader& header = file_.header();
  if (id == 0 || id < header.unique_id_seed) return;
  header.unique_id_seed = id;
  header.next_unique_id = id + 1;
}

// Handhelds leave seeds that were never the id of a record: go on above the highest.
void UniqueIds::Restart() {
  const RecordTable& records = file_.records();
  uint32_t highest = 0;
  for (size_t slot = records.First(); slot != records.End(); slot = records.Next(slot)) {
    highest = std::max(highest, records[slot].unique_id);
  }
  file_.header().unique_id_seed = highest;
  file_.header().next_unique_id = highest + 1;
}

}  // namespace pylon
