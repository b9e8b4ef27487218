#include "samples/inventory/Plan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "samples/inventory/Files.h"

namespace inventory {
namespace {

using Rows = std::vector<TableRow>;
using Records = std::vector<TableRecord>;

// A value "old" of the key A has the bytes "A old".
template <class Side>
Side Make(const char16_t* key, const std::string& value) {
  Side side;
  side.key = key;
  side.content = ToUtf8(key) + " " + value;
  return side;
}
TableRow Row(const char16_t* key, const std::string& value) { return Make<TableRow>(key, value); }
TableRow BadRow(const char16_t* key) {
  TableRow row;
  row.key = key;
  row.problem = u"bad";
  return row;
}
TableRecord Record(long id, const char16_t* key, const std::string& value) {
  auto record = Make<TableRecord>(key, value);
  record.id = id;
  return record;
}
TableRecord Changed(long id, const char16_t* key, const std::string& value) {
  TableRecord record = Record(id, key, value);
  record.dirty = true;
  return record;
}
TableRecord Deleted(long id) {
  TableRecord record;
  record.id = id;
  record.deleted = true;
  return record;
}
TableRecord Damaged(long id) {
  TableRecord record;
  record.id = id;
  record.dirty = true;
  record.problem = u"damaged";
  return record;
}

// A and B as the last sync left them: records 7 and 8, value "old".
History AsLast() {
  return {{{u"A", 7}, {u"B", 8}}, {{7, {ChecksumOf("A old"), 0}}, {8, {ChecksumOf("B old"), 0}}}};
}

// "to-row A 7; skip B -": row and record of each step, "-" for what is missing.
std::string Describe(const std::vector<Step>& steps) {
  constexpr const char* kNames[] = {"same",          "to-record",  "to-row", "conflict",
                                    "remove-record", "remove-row", "skip"};
  std::ostringstream text;
  for (const Step& step : steps) {
    text << (&step == &steps.front() ? "" : "; ") << kNames[static_cast<int>(step.action)] << ' '
         << (!step.row               ? "-"
             : step.row->key.empty() ? "?"
                                     : ToUtf8(step.row->key))
         << ' ' << (step.record ? std::to_string(step.record->id) : "-");
  }
  return text.str();
}

TEST(TablePlan, FindsTheRecordOfEachRow) {
  const TableRow a = Row(u"A", "old");
  const TableRecord r = Record(7, u"A", "old");
  const struct {
    const char* name;
    Rows rows;
    Records records;
    const char* steps;
  } cases[] = {
      {"nothing changed", {a}, {r}, "same A 7"},
      {"both new", {Row(u"C", "here")}, {Changed(9, u"C", "there")}, "conflict C 9"},
      {"row gone", {}, {r}, "remove-record - 7"},
      {"record deleted", {a}, {Deleted(7)}, "remove-row A 7"},
      {"record deleted, row changed", {Row(u"A", "new")}, {Deleted(7)}, "same - 7; to-record A -"},
      {"record deleted and made again",
       {a},
       {Deleted(7), Changed(9, u"A", "new")},
       "to-row A 9; same - 7"},
      {"key changed on the handheld", {a}, {Changed(7, u"C", "old")}, "to-row A 7"},
      {"key changed on the PC", {Row(u"C", "old")}, {r}, "to-record C -; remove-record - 7"},
      {"key changed on both sides",
       {Row(u"C", "old")},
       {Changed(7, u"D", "old")},
       "to-record C -; to-row - 7"},
      {"key changed to that of a row",
       {a, Row(u"C", "new")},
       {Changed(7, u"C", "old")},
       "to-record A -; conflict C 7"},
      {"keys swapped on the handheld",
       {a, Row(u"B", "old")},
       {Changed(7, u"B", "old"), Changed(8, u"A", "old")},
       "same A 8; same B 7"},
      {"bad row", {BadRow(u"A")}, {Changed(7, u"A", "new")}, "skip A 7"},
      {"bad row, record deleted", {BadRow(u"A")}, {Deleted(7)}, "skip A 7"},
      {"row without a key, record deleted", {BadRow(u"")}, {Deleted(7)}, "skip ? -; skip - 7"},
      {"a row without a key keeps records whose rows are gone",
       {BadRow(u"")},
       {r, Changed(8, u"B", "new"), Changed(9, u"C", "new")},
       "skip ? -; skip - 7; skip - 8; to-row - 9"},
      {"damaged record", {a}, {Damaged(7)}, "skip A 7"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Describe(MakePlan(c.rows, c.records, AsLast())), c.steps) << c.name;
  }
}

TEST(TablePlan, RefusesKeysThatAreThereTwice) {
  Rows rows = {Row(u"A", "1"), Row(u"B", "1"), Row(u"A", "2")};
  rows[0].line = 2;
  RefuseDoubles(rows);
  EXPECT_EQ(rows[0].problem, u"");
  EXPECT_EQ(rows[2].problem, u"the key \"A\" is that of line 2");
  EXPECT_EQ(rows[2].key, u"") << "it may be another row's";

  Records records = {Deleted(1), Record(9, u"A", "1"), Record(7, u"A", "2"), Record(5, u"C", "1"),
                     Record(6, u"C", "1")};
  RefuseDoubles(records, AsLast());
  std::string refused;
  for (const TableRecord& record : records) refused += record.problem.empty() ? '-' : '!';
  EXPECT_EQ(refused, "-!--!") << "the one of the last sync stays, else the first";
}

}  // namespace
}  // namespace inventory
