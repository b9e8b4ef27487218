#include "Plan.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <unordered_map>
#include <utility>

#include "MemoText.h"

namespace memos {
namespace {

using sample::Action;
using sample::Decide;
using sample::IsUnchanged;

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
      return std::pair(side.category, side.content);
    };
    const auto text = [](const auto& side) { return side.content; };
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
      return !file.problem.empty() && !file.content.empty();
    };
    PairBy(text, has_problem);
    PairRenamed(has_problem);

    PairBy([](const auto& side) { return std::pair(side.category, side.title); },
           [](const MemoFile& file) { return file.problem.empty() && !IsCopy(file); });

    for (const MemoFile& file : files_) DecideFile(file, pairs_.RecordOf(file));
    for (const MemoRecord& record : records_) DecideRecord(record);
    std::stable_partition(steps_.begin(), steps_.end(), [](const Step& step) {
      return step.action != Step::Action::kRemove && step.action != Step::Action::kDelete;
    });
    return std::move(steps_);
  }

 private:
  enum class Unchanged { kFile, kRecord, kNone };  // who has to be, unless both have the same text

  void PairByPath(Unchanged unchanged) {
    for (const MemoFile& file : files_) {
      const auto known = history_.ids.find(PathOf(file));
      if (known == history_.ids.end() || pairs_.RecordOf(file)) continue;
      const auto found = by_id_.find(known->second);
      if (found == by_id_.end() || pairs_.IsTaken(*found->second)) continue;
      const MemoRecord& record = *found->second;
      const Synced* const last = history_.Find(record.id);
      if (!last) continue;
      if (file.content == record.content || unchanged == Unchanged::kNone ||
          (unchanged == Unchanged::kFile ? IsUnchanged(file, last)
                                         : !record.deleted && IsUnchanged(record, last))) {
        pairs_.Pair(file, record);
      }
    }
  }

  template <class KeyOf, class Filter>
  void PairBy(KeyOf key_of, Filter may_pair) {
    pairs_.PairBy(
        files_, records_,
        [&](const MemoFile& file) {
          return may_pair(file) ? std::optional(key_of(file)) : std::nullopt;
        },
        [&](const MemoRecord& record) { return std::optional(key_of(record)); });
  }

  // Pairs a file that has the text of the last sync, elsewhere, with the record whose text is no
  // longer that.
  template <class Filter>
  void PairRenamed(Filter may_pair) {
    pairs_.PairBy(
        files_, records_,
        [&](const MemoFile& file) {
          return may_pair(file) ? std::optional(ChecksumOf(file.content)) : std::nullopt;
        },
        [&](const MemoRecord& record) {
          const Synced* const last = history_.Find(record.id);
          return last ? std::optional(last->checksum) : std::nullopt;
        });
  }

  void DecideFile(const MemoFile& file, const MemoRecord* record) {
    if (file.place != MemoFile::Place::kCategory) {
      // The folders that are too deep are named as a whole.
      if (record || file.place == MemoFile::Place::kNoCategory) {
        steps_.push_back({Step::Action::kSkip, &file, record});
      }
      return;
    }
    const Synced* const last = record ? history_.Find(record->id) : nullptr;
    const bool secret = record && record->secret;
    const Action action = Decide(&file, record, last, last);
    if (action == Action::kRemoveItem) {
      steps_.push_back({Step::Action::kDelete, &file, record});
      return;
    }
    // A memo whose file has changed since it was deleted starts again.
    const MemoRecord* const partner = record && record->deleted ? nullptr : record;
    if (action == Action::kSkip) {
      steps_.push_back({Step::Action::kSkip, &file, partner});
    } else if (!partner) {
      Merge(&file, nullptr, file.content, last, secret);
    } else if (action == Action::kConflict) {
      steps_.push_back({Step::Action::kConflict, &file, partner, &partner->content,
                        CategoryFor(&file, partner, last), CopyOf(file), secret});
    } else {
      Merge(&file, partner, action == Action::kToItem ? partner->content : file.content, last);
    }
  }

  void DecideRecord(const MemoRecord& record) {
    if (record.archived && !record.content.empty()) {
      steps_.push_back({Step::Action::kArchive, nullptr, &record, &record.content});
    }
    if (pairs_.IsTaken(record)) return;
    const Synced* const last = history_.Find(record.id);
    // A memo that was moved has changed.
    const bool moved = last && record.category != last->category;
    const Action action = Decide(nullptr, &record, nullptr, moved ? nullptr : last);
    if (action == Action::kRemoveRecord) {
      steps_.push_back({Step::Action::kRemove, nullptr, &record});
    } else if (action == Action::kToItem) {
      Merge(nullptr, &record, record.content, last);
    }
  }

  void Merge(const MemoFile* file, const MemoRecord* record, const std::string& memo,
             const Synced* last, bool secret = false) {
    steps_.push_back({Step::Action::kMerge, file, record, &memo, CategoryFor(file, record, last),
                      nullptr, secret});
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
      return other.content == file.content && other.folder == file.folder &&
             other.problem.empty() && !pairs_.RecordOf(other) &&
             other_name.extension() == name.extension() &&
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
  sample::Pairs<MemoFile, MemoRecord> pairs_;
  std::vector<Step> steps_;
};

}  // namespace

std::u16string PathOf(const MemoFile& file) {
  return file.folder.empty() ? file.name : file.folder + u"\\" + file.name;
}

std::vector<Step> MakePlan(const std::vector<MemoFile>& files,
                           const std::vector<MemoRecord>& records, const History& history) {
  return Planner(files, records, history).Run();
}

}  // namespace memos
