#include "Plan.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "Text.h"

namespace inventory {
namespace {

using Action = Step::Action;

class Planner {
 public:
  Planner(const std::vector<TableRow>& rows, const std::vector<TableRecord>& records,
          const History& history)
      : rows_(rows), records_(records), history_(history) {}

  std::vector<Step> Run() {
    PairByKey();
    PairAsLastTime();
    for (const TableRow& row : rows_) DecideRow(row);
    const bool all_told =
        std::ranges::none_of(rows_, [](const TableRow& row) { return row.key.empty(); });
    for (const TableRecord& record : records_) {
      if (!taken_.contains(&record)) DecideRecord(record, all_told);
    }
    return std::move(steps_);
  }

 private:
  void PairByKey() {
    std::unordered_map<std::u16string_view, const TableRecord*> records;
    for (const TableRecord& record : records_) {
      if (!record.deleted && !record.key.empty()) records.emplace(record.key, &record);
    }
    for (const TableRow& row : rows_) {
      const auto record = records.find(row.key);
      if (record != records.end()) Pair(row, *record->second);
    }
  }

  // What is left of the records was deleted, or has another key now.
  void PairAsLastTime() {
    std::unordered_map<long, const TableRecord*> records;
    for (const TableRecord& record : records_) records.emplace(record.id, &record);
    for (const TableRow& row : rows_) {
      const auto id = history_.ids.find(row.key);
      if (id == history_.ids.end() || record_of_.contains(&row)) continue;
      const auto record = records.find(id->second);
      if (record != records.end() && !taken_.contains(record->second)) Pair(row, *record->second);
    }
  }

  void Pair(const TableRow& row, const TableRecord& record) {
    record_of_[&row] = &record;
    taken_.insert(&record);
  }

  // What the last sync left of a key; an id of 0 when it did not know it.
  struct Last {
    long id = 0;
    std::uint32_t checksum = 0;
  };
  Last LastOf(const std::u16string& key) const {
    const auto id = history_.ids.find(key);
    if (id == history_.ids.end()) return {};
    return {id->second, history_.checksums.at(id->second)};
  }

  static bool IsUnchanged(const TableRecord& record, const Last& last) {
    return last.id != 0 && last.id == record.id && ChecksumOf(record.bytes) == last.checksum;
  }

  void DecideRow(const TableRow& row) {
    const auto found = record_of_.find(&row);
    const TableRecord* const record = found == record_of_.end() ? nullptr : found->second;
    if (!row.problem.empty() || (record && !record->problem.empty())) {
      return Add(Action::kSkip, &row, record);
    }
    const Last last = LastOf(row.key);
    const bool row_unchanged = last.id != 0 && ChecksumOf(row.bytes) == last.checksum;
    if (!record) return Add(Action::kToRecord, &row, nullptr);
    if (record->deleted) {
      if (row_unchanged) return Add(Action::kRemoveRow, &row, record);
      Add(Action::kSame, nullptr, record);
      return Add(Action::kToRecord, &row, nullptr);
    }
    if (row.bytes == record->bytes) return Add(Action::kSame, &row, record);
    if (row_unchanged) return Add(Action::kToRow, &row, record);
    Add(IsUnchanged(*record, last) ? Action::kToRecord : Action::kConflict, &row, record);
  }

  // Of a record without a row.
  void DecideRecord(const TableRecord& record, bool all_told) {
    if (!record.problem.empty()) return Add(Action::kSkip, nullptr, &record);
    const bool had_row = history_.checksums.contains(record.id);
    if (had_row && !all_told) return Add(Action::kSkip, nullptr, &record);
    if (record.deleted) return Add(Action::kSame, nullptr, &record);
    Add(IsUnchanged(record, LastOf(record.key)) ? Action::kRemoveRecord : Action::kToRow, nullptr,
        &record);
  }

  void Add(Action action, const TableRow* row, const TableRecord* record) {
    steps_.push_back({action, row, record});
  }

  const std::vector<TableRow>& rows_;
  const std::vector<TableRecord>& records_;
  const History& history_;
  std::unordered_map<const TableRow*, const TableRecord*> record_of_;
  std::unordered_set<const TableRecord*> taken_;
  std::vector<Step> steps_;
};

}  // namespace

void RefuseDoubles(std::vector<TableRow>& rows) {
  std::unordered_map<std::u16string, size_t> lines;
  for (TableRow& row : rows) {
    if (row.key.empty()) continue;
    const auto [first, is_new] = lines.emplace(row.key, row.line);
    if (is_new) continue;
    row.problem = u"the key \"" + row.key + u"\" is that of line " +
                  Decimal(static_cast<long long>(first->second));
    row.key.clear();
  }
}

void RefuseDoubles(std::vector<TableRecord>& records, const History& history) {
  const auto counts = [](const TableRecord& record) {
    return !record.deleted && !record.key.empty();
  };
  std::unordered_map<std::u16string, const TableRecord*> kept;
  for (const TableRecord& record : records) {
    if (!counts(record)) continue;
    const TableRecord*& keeper = kept[record.key];
    const auto known = history.ids.find(record.key);
    const bool is_known = known != history.ids.end() && known->second == record.id;
    if (!keeper || is_known) keeper = &record;
  }
  for (TableRecord& record : records) {
    if (!counts(record) || kept.at(record.key) == &record) continue;
    record.problem = u"the key \"" + record.key + u"\" is that of another record";
    record.key.clear();
  }
}

History ReadHistory(const std::vector<TableRow>& rows, const std::vector<TableRecord>& records,
                    const std::function<std::int32_t(const std::u16string&)>& entry,
                    const Holds& holds, bool& outdated) {
  History history;
  outdated = false;
  for (const TableRecord& record : records) {
    const auto checksum =
        record.id == 0 ? 0 : static_cast<std::uint32_t>(entry(EntryOf(record.id)));
    if (checksum == 0) continue;
    if (record.dirty || record.deleted || ChecksumOf(record.bytes) == checksum) {
      history.checksums.emplace(record.id, checksum);
    } else {
      outdated = true;
    }
  }
  // This is not the database that was saved last, but an older one, say: what the handheld changed
  // in it can't be told from what it lacks.
  if (outdated) {
    for (const TableRecord& record : records) {
      if (record.dirty || record.deleted) history.checksums.erase(record.id);
    }
  }
  const auto read = [&](const std::u16string& key) {
    if (key.empty() || history.ids.contains(key)) return;
    const long id = entry(EntryOf(key, holds));
    if (id == 0) return;
    if (history.checksums.contains(id)) {
      history.ids.emplace(key, id);
    } else {
      outdated = true;
    }
  };
  for (const TableRow& row : rows) read(row.key);
  for (const TableRecord& record : records) read(record.key);
  return history;
}

std::vector<Step> MakePlan(const std::vector<TableRow>& rows,
                           const std::vector<TableRecord>& records, const History& history) {
  return Planner(rows, records, history).Run();
}

}  // namespace inventory
