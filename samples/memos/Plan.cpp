#include "Plan.h"

#include <algorithm>
#include <sstream>
#include <unordered_map>
#include <utility>

#include "Text.h"

namespace memos {
namespace {

using Action = Step::Action;

class Planner {
 public:
  Planner(const std::vector<MemoFile>& files, const std::vector<MemoRecord>& records,
          const History& history)
      : files_(files), records_(records), history_(history) {}

  std::vector<Step> Run() {
    PairAsLastTime();
    // Every record that is left has lost its file, or never had one, so an equal memo elsewhere is
    // the same one, moved.
    PairBy([](const auto& side) { return std::pair(side.category, side.memo); });
    PairBy([](const auto& side) { return std::pair(0, side.memo); });
    PairBy([](const auto& side) { return std::pair(side.category, side.title); });

    for (const MemoFile& file : files_) DecideFile(file, record_of_[&file]);
    for (const MemoRecord& record : records_) DecideRecord(record);
    std::stable_partition(steps_.begin(), steps_.end(), [](const Step& step) {
      return step.action != Action::kRemove && step.action != Action::kDelete;
    });
    return std::move(steps_);
  }

 private:
  void PairAsLastTime() {
    std::map<std::pair<std::u16string_view, std::u16string_view>, long> ids;
    for (const auto& [id, synced] : history_) ids[{synced.folder, synced.name}] = id;
    std::unordered_map<long, const MemoRecord*> by_id;
    for (const MemoRecord& record : records_) by_id.emplace(record.id, &record);

    for (const MemoFile& file : files_) {
      const auto known = ids.find({file.folder, file.name});
      if (known == ids.end()) continue;
      const auto record = by_id.find(known->second);
      if (record != by_id.end() && LastTime(*record->second)) Pair(file, *record->second);
    }
  }

  // Pairs what is left and has the same key; of several, in their order.
  template <class KeyOf>
  void PairBy(KeyOf key_of) {
    using Key = decltype(key_of(records_.front()));
    std::multimap<Key, const MemoRecord*> free;
    for (const MemoRecord& record : records_) {
      if (!record.deleted && !file_of_.contains(&record)) free.emplace(key_of(record), &record);
    }
    for (const MemoFile& file : files_) {
      if (!file.problem.empty() || record_of_.contains(&file)) continue;
      const auto found = free.find(key_of(file));
      if (found == free.end()) continue;
      Pair(file, *found->second);
      free.erase(found);
    }
  }

  void Pair(const MemoFile& file, const MemoRecord& record) {
    record_of_[&file] = &record;
    file_of_[&record] = &file;
  }

  const Synced* LastTime(const MemoRecord& record) const {
    const auto found = history_.find(record.id);
    if (found == history_.end()) return nullptr;
    const bool may_differ = record.dirty || record.deleted;
    return may_differ || HashOf(record.memo) == found->second.hash ? &found->second : nullptr;
  }

  void DecideFile(const MemoFile& file, const MemoRecord* record) {
    const Synced* const last = record ? LastTime(*record) : nullptr;
    const bool file_unchanged = last && HashOf(file.memo) == last->hash;

    if (record && record->deleted) {
      if (file_unchanged && file.category == last->category) {
        steps_.push_back({Action::kDelete, &file, record});
        return;
      }
      record = nullptr;  // changed since: the memo starts anew
    }
    if (record) {
      if (file.memo == record->memo) return Merge(&file, record, file.memo, last);
      if (file_unchanged && !record->memo.empty()) return Merge(&file, record, record->memo, last);
    }
    if (!file.problem.empty()) {
      steps_.push_back({Action::kSkip, &file, record});
      return;
    }
    if (record && !record->memo.empty() && !(last && HashOf(record->memo) == last->hash)) {
      steps_.push_back({Action::kConflict, &file, record, &record->memo, record->category});
      record = nullptr;
    }
    Merge(&file, record, file.memo, last);
  }

  void DecideRecord(const MemoRecord& record) {
    const bool wanted = !record.memo.empty();
    if (record.deleted) {
      if (record.archived && wanted) {
        steps_.push_back({Action::kArchive, nullptr, &record, &record.memo});
      }
      return;
    }
    if (file_of_.contains(&record)) return;
    const Synced* const last = LastTime(record);
    if (last && HashOf(record.memo) == last->hash && record.category == last->category) {
      steps_.push_back({Action::kRemove, nullptr, &record});
    } else if (wanted) {
      Merge(nullptr, &record, record.memo, last);
    }
  }

  void Merge(const MemoFile* file, const MemoRecord* record, const std::string& memo,
             const Synced* last) {
    // The side that left the category of the last sync has moved the memo; the file if both did.
    const bool record_moved = record && (!file || (last && file->category == last->category));
    const int category = record_moved ? record->category : file->category;
    steps_.push_back({Action::kMerge, file, record, &memo, category});
  }

  const std::vector<MemoFile>& files_;
  const std::vector<MemoRecord>& records_;
  const History& history_;
  std::unordered_map<const MemoFile*, const MemoRecord*> record_of_;
  std::unordered_map<const MemoRecord*, const MemoFile*> file_of_;
  std::vector<Step> steps_;
};

constexpr std::string_view kFormat = "Memos 1 ";

}  // namespace

std::vector<Step> MakePlan(const std::vector<MemoFile>& files,
                           const std::vector<MemoRecord>& records, const History& history) {
  return Planner(files, records, history).Run();
}

std::uint64_t HashOf(std::string_view memo) {
  std::uint64_t hash = 0xcbf29ce484222325;  // FNV-1a
  for (const char c : memo) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  return hash;
}

std::string WriteHistory(const History& history, std::string_view stamp) {
  std::ostringstream text;
  text << kFormat << stamp << '\n';
  for (const auto& [id, synced] : history) {
    text << id << ' ' << std::hex << synced.hash << std::dec << ' ' << ToUtf8(synced.folder) << '\\'
         << ToUtf8(synced.name) << '\n';
  }
  return text.str();
}

History ReadHistory(std::string_view text, std::string_view stamp) {
  std::istringstream lines{std::string(text)};
  std::string line;
  if (!std::getline(lines, line) || line != std::string(kFormat) + std::string(stamp)) return {};
  History history;
  while (std::getline(lines, line)) {
    std::istringstream fields(line);
    long id = 0;
    Synced synced;
    std::string folder, name;
    fields >> id >> std::hex >> synced.hash;
    fields.ignore();
    std::getline(fields, folder, '\\');
    std::getline(fields, name);
    const auto decoded_folder = FromUtf8(folder);
    const auto decoded_name = FromUtf8(name);
    if (!fields || id == 0 || name.empty() || !decoded_folder || !decoded_name) return {};
    synced.folder = *decoded_folder;
    synced.name = *decoded_name;
    history.emplace(id, std::move(synced));
  }
  return history;
}

}  // namespace memos
