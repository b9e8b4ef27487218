#include "MemoIndex.h"

#include <utility>

namespace memos {
namespace {

constexpr std::u16string_view kStampKey = u":";

}  // namespace

MemoIndex::MemoIndex(PDBDatabase& database, std::string stamp, const SystemText& system)
    : stamp_(std::move(stamp)), system_(&system) {
  com::Check(database.get_SyncIndex(&index_));
}

History MemoIndex::Read(const std::vector<MemoFile>& files, const std::vector<MemoRecord>& records,
                        unsigned char mark) {
  const std::int32_t stamp = Entry(kStampKey);
  const auto saved_mark = static_cast<unsigned char>(stamp);
  if (stamp != ToEntry(stamp_, saved_mark)) return {};
  History saved;
  for (const MemoRecord& record : records) {
    if (const auto synced = FromEntry(Entry(KeyOf(record.id)))) {
      saved.memos.emplace(record.id, *synced);
    }
  }
  for (const MemoFile& file : files) {
    const std::u16string path = PathOf(file);
    if (const std::int32_t id = Entry(KeyOf(path, *system_)); id != 0) saved.ids.emplace(path, id);
  }
  History history = Believable(saved, records, mark == saved_mark);
  outdated_ = history != saved || mark != saved_mark;
  found_ = history;
  return history;
}

void MemoIndex::Write(const History& history, unsigned char mark) {
  if (history == found_ && !outdated_) return;
  com::Check(index_->Clear());
  Add(kStampKey, ToEntry(stamp_, mark));
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
