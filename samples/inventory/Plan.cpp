#include "Plan.h"

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <utility>

#include "Files.h"

namespace inventory {
namespace {

class Planner {
 public:
  Planner(const std::vector<TableRow>& rows, const std::vector<TableRecord>& records,
          const History& history)
      : rows_(rows), records_(records), history_(history) {}

  std::vector<Step> Run() {
    const auto key = [](const auto& side) {
      return side.key.empty() ? std::nullopt : std::optional(side.key);
    };
    pairs_.PairBy(rows_, records_, key, key);
    PairAsLastTime();
    for (const TableRow& row : rows_) DecideRow(row, pairs_.RecordOf(row));
    const bool all_told =
        std::ranges::none_of(rows_, [](const TableRow& row) { return row.key.empty(); });
    for (const TableRecord& record : records_) {
      if (!pairs_.IsTaken(record)) DecideRecord(record, all_told);
    }
    return std::move(steps_);
  }

 private:
  // What is left of the records was deleted, or has another key now.
  void PairAsLastTime() {
    std::unordered_map<long, const TableRecord*> records;
    for (const TableRecord& record : records_) records.emplace(record.id, &record);
    for (const TableRow& row : rows_) {
      const auto id = history_.ids.find(row.key);
      if (id == history_.ids.end() || pairs_.RecordOf(row)) continue;
      const auto record = records.find(id->second);
      if (record != records.end() && !pairs_.IsTaken(*record->second)) {
        pairs_.Pair(row, *record->second);
      }
    }
  }

  void DecideRow(const TableRow& row, const TableRecord* record) {
    const auto* const last = record ? history_.Find(record->id) : nullptr;
    const Action action = sample::Decide(&row, record, history_.Find(row.key), last);
    // A row that has changed since its record was deleted gets a new one.
    if (record && record->deleted && action == Action::kToRecord) {
      Add(Action::kNothing, nullptr, record);
      record = nullptr;
    }
    Add(action, &row, record);
  }

  // Of a record without a row.
  void DecideRecord(const TableRecord& record, bool all_told) {
    const auto* const last = history_.Find(record.id);
    const bool withheld = last && !all_told;
    Add(withheld ? Action::kSkip : sample::Decide(nullptr, &record, nullptr, last), nullptr,
        &record);
  }

  void Add(Action action, const TableRow* row, const TableRecord* record) {
    steps_.push_back({action, row, record});
  }

  const std::vector<TableRow>& rows_;
  const std::vector<TableRecord>& records_;
  const History& history_;
  sample::Pairs<TableRow, TableRecord> pairs_;
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

std::vector<Step> MakePlan(const std::vector<TableRow>& rows,
                           const std::vector<TableRecord>& records, const History& history) {
  return Planner(rows, records, history).Run();
}

}  // namespace inventory
