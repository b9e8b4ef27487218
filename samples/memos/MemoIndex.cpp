#include "MemoIndex.h"

#include <utility>

namespace memos {
namespace {

constexpr std::u16string_view kStampKey = u":";

}  // namespace

MemoIndex::MemoIndex(PDBDatabase& database, std::string_view stamp, const SystemText& system)
    : stamp_(ToEntry({ChecksumOf(stamp)})), system_(&system) {
  com::Check(database.get_SyncIndex(&index_));
}

History MemoIndex::Read(const std::vector<MemoFile>& files,
                        const std::vector<MemoRecord>& records) {
  History history;
  if (Entry(kStampKey) != stamp_) return history;
  for (const MemoRecord& record : records) {
    const auto synced = FromEntry(Entry(KeyOf(record.id)));
    if (!synced) continue;
    const bool may_differ = record.dirty || record.deleted;
    if (may_differ || ChecksumOf(record.memo) == synced->checksum) {
      history.memos.emplace(record.id, *synced);
    } else {
      outdated_ = true;
    }
  }
  for (const MemoFile& file : files) {
    const std::u16string path = PathOf(file);
    const std::int32_t id = Entry(KeyOf(path, *system_));
    if (id == 0) continue;
    if (history.memos.contains(id)) {
      history.ids.emplace(path, id);
    } else {
      outdated_ = true;
    }
  }
  found_ = history;
  return history;
}

void MemoIndex::Write(const History& history) {
  if (history == found_ && !outdated_) return;
  com::Check(index_->Clear());
  Add(kStampKey, stamp_);
  for (const auto& [path, id] : history.ids) Add(KeyOf(path, *system_), id);
  for (const auto& [id, synced] : history.memos) Add(KeyOf(id), ToEntry(synced));
}

std::int32_t MemoIndex::Entry(std::u16string_view key) const {
  long entry = 0;
  com::Check(index_->get_UniqueId(com::Bstr(key), &entry));
  return entry;
}

void MemoIndex::Add(std::u16string_view key, std::int32_t entry) const {
  com::Check(index_->Add(com::Bstr(key), entry));
}

}  // namespace memos
