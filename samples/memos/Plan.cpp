#include "Plan.h"

#include <algorithm>
#include <filesystem>
#include <map>
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
      : files_(files), records_(records), history_(history) {
    for (const MemoRecord& record : records_) by_id_.emplace(record.id, &record);
  }

  std::vector<Step> Run() {
    const auto is_usable = [](const MemoFile& file) { return file.problem.empty(); };
    const auto category_and_text = [](const auto& side) {
      return std::pair(side.category, side.memo);
    };
    const auto text = [](const auto& side) { return side.memo; };
    const auto is_known = [&](const MemoFile& file) {
      return file.problem.empty() && history_.ids.contains(PathOf(file));
    };

    PairByPath(Unchanged::kFile);
    // Files that were renamed to each other's names are found where they are now.
    PairBy(category_and_text, is_known);
    PairBy(text, is_known);
    // A changed file stays the memo that it was, even if there is a copy of its old text.
    PairByPath(Unchanged::kRecord);
    PairBy(category_and_text, is_usable);
    PairBy(text, is_usable);
    PairRenamed(is_usable);
    PairByPath(Unchanged::kNone);

    // What can't become a memo is still there: the memo of that text has not lost its file.
    const auto has_problem = [](const MemoFile& file) {
      return !file.problem.empty() && !file.memo.empty();
    };
    PairBy(text, has_problem);
    PairRenamed(has_problem);

    PairBy([](const auto& side) { return std::pair(side.category, side.title); },
           [](const MemoFile& file) { return file.problem.empty() && !IsCopy(file); });

    for (const MemoFile& file : files_) DecideFile(file, PartnerOf(file));
    for (const MemoRecord& record : records_) DecideRecord(record);
    std::stable_partition(steps_.begin(), steps_.end(), [](const Step& step) {
      return step.action != Action::kRemove && step.action != Action::kDelete;
    });
    return std::move(steps_);
  }

 private:
  enum class Unchanged { kFile, kRecord, kNone };  // who has to be, unless both have the same text

  void PairByPath(Unchanged unchanged) {
    for (const MemoFile& file : files_) {
      if (record_of_.contains(&file)) continue;
      const auto known = history_.ids.find(PathOf(file));
      if (known == history_.ids.end()) continue;
      const auto found = by_id_.find(known->second);
      if (found == by_id_.end() || file_of_.contains(found->second)) continue;
      const MemoRecord& record = *found->second;
      const Synced* const last = LastTime(record);
      if (!last) continue;
      if (file.memo == record.memo || unchanged == Unchanged::kNone ||
          (unchanged == Unchanged::kFile ? Holds(file, *last)
                                         : !record.deleted && Holds(record, *last))) {
        Pair(file, record);
      }
    }
  }

  // Pairs what is left and has the same key; of several, in their order.
  template <class KeyOf, class Filter>
  void PairBy(KeyOf key_of, Filter may_pair) {
    using Key = decltype(key_of(records_.front()));
    std::multimap<Key, const MemoRecord*> free;
    for (const MemoRecord& record : records_) {
      if (IsFree(record)) free.emplace(key_of(record), &record);
    }
    for (const MemoFile& file : files_) {
      if (IsFree(file) && may_pair(file)) Take(free, key_of(file), file);
    }
  }

  // Pairs a file that has the text of the last sync, elsewhere, with the record whose text is no
  // longer that.
  template <class Filter>
  void PairRenamed(Filter may_pair) {
    std::multimap<std::uint32_t, const MemoRecord*> free;
    for (const MemoRecord& record : records_) {
      const Synced* const last = LastTime(record);
      if (last && IsFree(record)) free.emplace(last->checksum, &record);
    }
    for (const MemoFile& file : files_) {
      if (IsFree(file) && may_pair(file)) Take(free, ChecksumOf(file.memo), file);
    }
  }

  template <class Key>
  void Take(std::multimap<Key, const MemoRecord*>& free, const Key& key, const MemoFile& file) {
    const auto found = free.find(key);
    if (found == free.end()) return;
    Pair(file, *found->second);
    free.erase(found);
  }

  void Pair(const MemoFile& file, const MemoRecord& record) {
    record_of_[&file] = &record;
    file_of_[&record] = &file;
  }

  bool IsFree(const MemoFile& file) const { return !record_of_.contains(&file); }
  bool IsFree(const MemoRecord& record) const {
    return !record.deleted && !file_of_.contains(&record);
  }

  const MemoRecord* PartnerOf(const MemoFile& file) const {
    const auto found = record_of_.find(&file);
    return found == record_of_.end() ? nullptr : found->second;
  }

  const Synced* LastTime(const MemoRecord& record) const {
    const auto found = history_.memos.find(record.id);
    return found == history_.memos.end() ? nullptr : &found->second;
  }

  template <class Side>
  static bool Holds(const Side& side, const Synced& last) {
    return ChecksumOf(side.memo) == last.checksum;
  }

  void DecideFile(const MemoFile& file, const MemoRecord* record) {
    if (file.place != MemoFile::Place::kCategory) {
      // The folders that are too deep are named as a whole.
      if (record || file.place == MemoFile::Place::kNoCategory) {
        steps_.push_back({Action::kSkip, &file, record});
      }
      return;
    }
    const Synced* const last = record ? LastTime(*record) : nullptr;
    const bool file_unchanged = last && Holds(file, *last);

    const bool secret = record && record->secret;
    if (record && record->deleted) {
      if (file_unchanged) {
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
    } else if (record && !record->memo.empty() && !(last && Holds(*record, *last))) {
      steps_.push_back({Action::kConflict, &file, record, &record->memo,
                        CategoryFor(&file, record, last), CopyOf(file), secret});
    } else {
      Merge(&file, record, file.memo, last, secret);
    }
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
    if (last && Holds(record, *last) && record.category == last->category) {
      steps_.push_back({Action::kRemove, nullptr, &record});
    } else if (wanted) {
      Merge(nullptr, &record, record.memo, last);
    }
  }

  void Merge(const MemoFile* file, const MemoRecord* record, const std::string& memo,
             const Synced* last, bool secret = false) {
    steps_.push_back(
        {Action::kMerge, file, record, &memo, CategoryFor(file, record, last), nullptr, secret});
  }

  // The side that left the category of the last sync has moved the memo; the file if both did.
  static int CategoryFor(const MemoFile* file, const MemoRecord* record, const Synced* last) {
    const bool record_moved = record && (!file || (last && file->category == last->category));
    return record_moved ? record->category : file->category;
  }

  const MemoFile* CopyOf(const MemoFile& file) const {
    const std::filesystem::path name(file.name);
    const std::u16string wanted = ConflictName(name.stem().u16string());
    const auto found = std::ranges::find_if(files_, [&](const MemoFile& other) {
      const std::filesystem::path other_name(other.name);
      return other.memo == file.memo && other.folder == file.folder && other.problem.empty() &&
             IsFree(other) && other_name.extension() == name.extension() &&
             IsNameOrNumbered(other_name.stem().u16string(), wanted);
    });
    return found == files_.end() ? nullptr : &*found;
  }

  // The PC's side of a conflict is a memo of its own, like as its title is to the handheld's.
  static bool IsCopy(const MemoFile& file) {
    const std::u16string stem = std::filesystem::path(file.name).stem().u16string();
    return IsNameOrNumbered(stem, ConflictName(stem));
  }

  const std::vector<MemoFile>& files_;
  const std::vector<MemoRecord>& records_;
  const History& history_;
  std::unordered_map<long, const MemoRecord*> by_id_;
  std::unordered_map<const MemoFile*, const MemoRecord*> record_of_;
  std::unordered_map<const MemoRecord*, const MemoFile*> file_of_;
  std::vector<Step> steps_;
};

}  // namespace

std::u16string PathOf(const MemoFile& file) {
  return file.folder.empty() ? file.name : file.folder + u"\\" + file.name;
}

History Believable(const History& saved, const std::vector<MemoRecord>& records, bool same_state) {
  const auto entry_of = [&](const MemoRecord& record) { return saved.memos.find(record.id); };
  for (const MemoRecord& record : records) {
    const auto entry = entry_of(record);
    if (entry == saved.memos.end() || record.dirty || record.deleted) continue;
    same_state = same_state && ChecksumOf(record.memo) == entry->second.checksum;
  }
  History history;
  for (const MemoRecord& record : records) {
    const auto entry = entry_of(record);
    if (entry == saved.memos.end()) continue;
    const bool may_differ = record.dirty || record.deleted;
    if (may_differ ? same_state : ChecksumOf(record.memo) == entry->second.checksum) {
      history.memos.insert(*entry);
    }
  }
  for (const auto& [path, id] : saved.ids) {
    if (history.memos.contains(id)) history.ids.emplace(path, id);
  }
  return history;
}

std::vector<Step> MakePlan(const std::vector<MemoFile>& files,
                           const std::vector<MemoRecord>& records, const History& history) {
  return Planner(files, records, history).Run();
}

}  // namespace memos
