#include "samples/memos/Plan.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/memos/Latin1.h"

namespace memos {
namespace {

using Files = std::vector<MemoFile>;
using Records = std::vector<MemoRecord>;

MemoFile File(const char16_t* name, std::string memo, int category = 0) {
  MemoFile file;
  file.name = name;
  file.folder = category ? std::u16string(1, static_cast<char16_t>(u'0' + category)) : u"";
  file.category = category;
  file.memo = std::move(memo);
  file.title = Latin1().FoldCase(NameFor(Latin1().Decode(file.memo)));
  return file;
}

MemoFile Problem(const char16_t* name, std::string memo = {}) {
  MemoFile file = File(name, std::move(memo));
  file.problem = u"too long";
  return file;
}

MemoRecord Record(long id, std::string memo, int category = 0) {
  MemoRecord record;
  record.id = id;
  record.category = category;
  record.memo = std::move(memo);
  record.title = Latin1().FoldCase(NameFor(Latin1().Decode(record.memo)));
  return record;
}

MemoRecord Changed(long id, std::string memo, int category = 0) {
  MemoRecord record = Record(id, std::move(memo), category);
  record.dirty = true;
  return record;
}

MemoRecord Deleted(long id, std::string memo, bool archived = false) {
  MemoRecord record = Record(id, std::move(memo));
  record.deleted = true;
  record.archived = archived;
  return record;
}

MemoFile Misplaced(const char16_t* name, std::string memo, MemoFile::Place place) {
  MemoFile file = Problem(name, std::move(memo));
  file.place = place;
  return file;
}

// What a sync that left these pairs behind has noted.
History Last(const std::vector<std::pair<MemoFile, long>>& pairs) {
  History history;
  for (const auto& [file, id] : pairs) {
    history.ids[PathOf(file)] = id;
    history.memos[id] = {ChecksumOf(file.memo), file.category};
  }
  return history;
}

// "merge a.txt 7 = text @1": file, record, memo and category of a step, "-" for what is missing.
std::string Describe(const std::vector<Step>& steps) {
  constexpr const char* kNames[] = {"merge", "conflict", "remove", "delete", "archive", "skip"};
  std::ostringstream text;
  for (const Step& step : steps) {
    text << (&step == &steps.front() ? "" : "; ") << kNames[static_cast<int>(step.action)] << ' '
         << (step.file ? ToUtf8(step.file->name) : "-") << ' '
         << (step.record ? std::to_string(step.record->id) : "-");
    if (step.memo) text << " = " << *step.memo << " @" << step.category;
    if (step.copy) text << " copy " << ToUtf8(step.copy->name);
    if (step.secret) text << " secret";
  }
  return text.str();
}

TEST(Plan, DecidesByWhatChangedSinceTheLastSync) {
  const MemoFile old = File(u"a.txt", "old");
  const MemoFile old_in_1 = File(u"a.txt", "old", 1);
  constexpr auto kNoCategory = MemoFile::Place::kNoCategory, kTooDeep = MemoFile::Place::kTooDeep;
  MemoRecord secret = Changed(7, "there"), secret_deleted = Deleted(7, "old");
  secret.secret = secret_deleted.secret = true;
  const struct {
    const char* name;
    Files files;
    Records records;
    History history;
    const char* steps;
  } cases[] = {
      {"nothing changed", {old}, {Record(7, "old")}, Last({{old, 7}}), "merge a.txt 7 = old @0"},
      {"new file", {old}, {}, {}, "merge a.txt - = old @0"},
      {"new record", {}, {Record(7, "old", 2)}, {}, "merge - 7 = old @2"},
      {"file changed",
       {File(u"a.txt", "new")},
       {Record(7, "old")},
       Last({{old, 7}}),
       "merge a.txt 7 = new @0"},
      {"record changed", {old}, {Changed(7, "new")}, Last({{old, 7}}), "merge a.txt 7 = new @0"},
      {"both changed alike",
       {File(u"a.txt", "new")},
       {Changed(7, "new")},
       Last({{old, 7}}),
       "merge a.txt 7 = new @0"},
      {"both changed",
       {File(u"a.txt", "here")},
       {Changed(7, "there")},
       Last({{old, 7}}),
       "conflict a.txt 7 = there @0"},
      {"file gone", {}, {Record(7, "old")}, Last({{old, 7}}), "remove - 7"},
      {"file gone, record changed",
       {},
       {Changed(7, "new")},
       Last({{old, 7}}),
       "merge - 7 = new @0"},
      {"file gone, record moved",
       {},
       {Record(7, "old", 3)},
       Last({{old, 7}}),
       "merge - 7 = old @3"},
      {"record deleted", {old}, {Deleted(7, "old")}, Last({{old, 7}}), "delete a.txt 7"},
      {"record deleted, data too", {old}, {Deleted(7, "")}, Last({{old, 7}}), "delete a.txt 7"},
      {"record deleted, file changed",
       {File(u"a.txt", "new")},
       {Deleted(7, "old")},
       Last({{old, 7}}),
       "merge a.txt - = new @0"},
      {"record deleted, never synced", {old}, {Deleted(7, "old")}, {}, "merge a.txt - = old @0"},
      {"record archived",
       {old},
       {Deleted(7, "old", true)},
       Last({{old, 7}}),
       "archive - 7 = old @0; delete a.txt 7"},
      {"record and file gone", {}, {}, Last({{old, 7}}), ""},
      {"record gone without a trace", {old}, {}, Last({{old, 7}}), "merge a.txt - = old @0"},
      {"record emptied", {old}, {Changed(7, "")}, Last({{old, 7}}), "merge a.txt 7 = old @0"},
      {"empty record", {}, {Record(7, "")}, {}, ""},
      {"record moved", {old}, {Record(7, "old", 2)}, Last({{old, 7}}), "merge a.txt 7 = old @2"},
      {"record moved, file changed",
       {File(u"a.txt", "new")},
       {Record(7, "old", 2)},
       Last({{old, 7}}),
       "merge a.txt 7 = new @2"},
      {"file moved", {old_in_1}, {Record(7, "old")}, Last({{old, 7}}), "merge a.txt 7 = old @1"},
      {"file and record moved",
       {old_in_1},
       {Record(7, "old", 2)},
       Last({{old, 7}}),
       "merge a.txt 7 = old @1"},
      {"file renamed",
       {File(u"b.txt", "old")},
       {Record(7, "old")},
       Last({{old, 7}}),
       "merge b.txt 7 = old @0"},
      {"file renamed, record moved",
       {File(u"b.txt", "old")},
       {Changed(7, "old", 2)},
       Last({{old, 7}}),
       "merge b.txt 7 = old @2"},
      {"file renamed, record changed",
       {File(u"b.txt", "old")},
       {Changed(7, "new")},
       Last({{old, 7}}),
       "merge b.txt 7 = new @0"},
      {"file moved, record changed",
       {old_in_1},
       {Changed(7, "new")},
       Last({{old, 7}}),
       "merge a.txt 7 = new @1"},
      {"file renamed, record deleted",
       {File(u"b.txt", "old")},
       {Deleted(7, "old")},
       Last({{old, 7}}),
       "merge b.txt - = old @0"},
      {"file renamed and changed below its title",
       {File(u"b.txt", "old\nmore")},
       {Record(7, "old")},
       Last({{old, 7}}),
       "merge b.txt 7 = old\nmore @0"},
      {"title changed in the file",
       {File(u"a.txt", "Other")},
       {Record(7, "old")},
       Last({{old, 7}}),
       "merge a.txt 7 = Other @0"},
      {"two files that took each other's name",
       {File(u"a.txt", "two"), File(u"b.txt", "one")},
       {Record(7, "one"), Record(8, "two")},
       Last({{File(u"a.txt", "one"), 7}, {File(u"b.txt", "two"), 8}}),
       "merge a.txt 8 = two @0; merge b.txt 7 = one @0"},
      {"killed after one file was renamed and another took its name",
       {File(u"a.txt", "two"), File(u"b.txt", "ONE")},
       {Changed(7, "ONE"), Changed(8, "two")},
       Last({{File(u"a.txt", "one"), 7}}),
       "merge a.txt 8 = two @0; merge b.txt 7 = ONE @0"},
      {"killed after the copy of a conflict",
       {File(u"a (conflict) (2).txt", "here"), File(u"a.txt", "here")},
       {Changed(7, "there")},
       Last({{old, 7}}),
       "merge a (conflict) (2).txt - = here @0; "
       "conflict a.txt 7 = there @0 copy a (conflict) (2).txt"},
      {"an older conflict's copy is another memo",
       {File(u"a (conflict).txt", "here"), File(u"a.txt", "here")},
       {Changed(7, "there"), Record(8, "here")},
       Last({{old, 7}, {File(u"a (conflict).txt", "here"), 8}}),
       "merge a (conflict).txt 8 = here @0; conflict a.txt 7 = there @0"},
      {"file unreadable",
       {Problem(u"a.txt")},
       {Record(7, "old")},
       Last({{old, 7}}),
       "skip a.txt 7"},
      {"file unreadable, record changed",
       {Problem(u"a.txt")},
       {Changed(7, "new")},
       Last({{old, 7}}),
       "skip a.txt 7"},
      {"file unreadable and new", {Problem(u"a.txt")}, {}, {}, "skip a.txt -"},
      {"too long a memo that came from the handheld",
       {Problem(u"a.txt", "long")},
       {Record(7, "long")},
       Last({{File(u"a.txt", "long"), 7}}),
       "merge a.txt 7 = long @0"},
      {"the same, renamed",
       {Problem(u"b.txt", "long")},
       {Record(7, "long")},
       Last({{File(u"a.txt", "long"), 7}}),
       "merge b.txt 7 = long @0"},
      {"moved to a folder that can't be a category",
       {Misplaced(u"b.txt", "old", kNoCategory), Misplaced(u"c.txt", "two", kNoCategory)},
       {Record(7, "old"), Changed(8, "new")},
       Last({{old, 7}, {File(u"c.txt", "two", 1), 8}}),
       "skip b.txt 7; skip c.txt 8"},
      {"new in a folder that can't be a category",
       {Misplaced(u"b.txt", "new", kNoCategory), Misplaced(u"c.txt", "new", kTooDeep)},
       {},
       {},
       "skip b.txt -"},
      {"moved too deep, a copy is not",
       {File(u"b.txt", "old"), Misplaced(u"d.txt", "old", kTooDeep),
        Misplaced(u"c.txt", "two", kTooDeep)},
       {Record(7, "old"), Record(8, "two")},
       Last({{old, 7}, {File(u"c.txt", "two"), 8}}),
       "merge b.txt 7 = old @0; skip c.txt 8"},
      {"file changed, a copy has its old text",
       {File(u"a.txt", "new"), File(u"z.txt", "old")},
       {Record(7, "old")},
       Last({{old, 7}}),
       "merge a.txt 7 = new @0; merge z.txt - = old @0"},
      {"two files that took each other's name, records changed",
       {File(u"a.txt", "two"), File(u"b.txt", "one")},
       {Changed(7, "one!"), Changed(8, "two!")},
       Last({{File(u"a.txt", "one"), 7}, {File(u"b.txt", "two"), 8}}),
       "merge a.txt 8 = two! @0; merge b.txt 7 = one! @0"},
      {"what a secret record leaves is secret: copy",
       {File(u"a.txt", "here")},
       {secret},
       Last({{old, 7}}),
       "conflict a.txt 7 = there @0 secret"},
      {"added again",
       {File(u"a.txt", "here")},
       {secret_deleted},
       Last({{old, 7}}),
       "merge a.txt - = here @0 secret"},
      {"blanked on the handheld",
       {Problem(u"a.txt", " \n")},
       {Record(7, " \n")},
       Last({{File(u"a.txt", " \n"), 7}}),
       "merge a.txt 7 =  \n @0"},
      {"no longer blank",
       {Problem(u"a.txt", " \n")},
       {Changed(7, "new")},
       Last({{File(u"a.txt", " \n"), 7}}),
       "merge a.txt 7 = new @0"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Describe(MakePlan(c.files, c.records, c.history)), c.steps);
  }
}

TEST(Plan, WithoutAHistoryMatchesByTextThenByTitle) {
  const struct {
    const char* name;
    Files files;
    Records records;
    const char* steps;
  } cases[] = {
      {"same text", {File(u"any.txt", "T\n1")}, {Record(7, "T\n1")}, "merge any.txt 7 = T\n1 @0"},
      {"same text in another category",
       {File(u"any.txt", "T\n1", 1)},
       {Record(7, "T\n1")},
       "merge any.txt 7 = T\n1 @1"},
      {"same text, the own category first",
       {File(u"any.txt", "T", 1)},
       {Record(7, "T"), Record(8, "T", 1)},
       "merge any.txt 8 = T @1; merge - 7 = T @0"},
      {"same title, other text: nobody knows which is newer",
       {File(u"t.txt", "t\nhere")},
       {Record(7, "T\nthere")},
       "conflict t.txt 7 = T\nthere @0"},
      {"same title, killed after the copy",
       {File(u"t (conflict).txt", "T\nhere"), File(u"t.txt", "T\nhere")},
       {Record(7, "T\nthere")},
       "merge t (conflict).txt - = T\nhere @0; "
       "conflict t.txt 7 = T\nthere @0 copy t (conflict).txt"},
      {"same title, another category: two memos",
       {File(u"t.txt", "T\nhere", 1)},
       {Record(7, "T\nthere")},
       "merge t.txt - = T\nhere @1; merge - 7 = T\nthere @0"},
      {"duplicates pair one to one",
       {File(u"1.txt", "T"), File(u"2.txt", "T"), File(u"3.txt", "T")},
       {Record(7, "T"), Record(8, "T")},
       "merge 1.txt 7 = T @0; merge 2.txt 8 = T @0; merge 3.txt - = T @0"},
      {"records without ids",
       {},
       {Record(0, "T"), Record(0, "T")},
       "merge - 0 = T @0; merge - 0 = T @0"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Describe(MakePlan(c.files, c.records, {})), c.steps);
  }
}

// An entry that is believed in error lets an old text replace a newer one.
TEST(Plan, BelievesAnIndexOnlyOfTheSameStateOfTheDatabase) {
  const History saved = Last({{File(u"a.txt", "a"), 1}, {File(u"b.txt", "b"), 2}});
  const struct {
    const char* name;
    Records records;
    bool same_mark;
    std::vector<long> believed;
  } cases[] = {
      {"the one that was saved", {Record(1, "a"), Record(2, "b")}, true, {1, 2}},
      {"changed since", {Changed(1, "x"), Deleted(2, "")}, true, {1, 2}},
      {"older backup", {Record(1, "a"), Record(2, "b0")}, true, {1}},
      {"older backup, changed since", {Changed(1, "x"), Record(2, "b0")}, true, {}},
      {"older backup, deleted since", {Record(2, "b0"), Deleted(1, "")}, true, {}},
      {"another mark", {Record(1, "a"), Changed(2, "x")}, false, {1}},
      {"another mark, all changed", {Changed(1, "x"), Deleted(2, "")}, false, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const History history = Believable(saved, c.records, c.same_mark);
    std::vector<long> memos, ids;
    for (const auto& [id, synced] : history.memos) memos.push_back(id);
    for (const auto& [path, id] : history.ids) ids.push_back(id);
    EXPECT_EQ(memos, c.believed);
    EXPECT_EQ(ids, c.believed);
  }
}

TEST(Plan, RemovesLast) {
  const MemoFile gone = File(u"gone.txt", "gone"), dead = File(u"dead.txt", "dead");
  const Files files = {dead, File(u"new.txt", "new")};
  const Records records = {Record(1, "gone"), Deleted(2, "dead"), Record(3, "added")};
  EXPECT_EQ(Describe(MakePlan(files, records, Last({{gone, 1}, {dead, 2}}))),
            "merge new.txt - = new @0; merge - 3 = added @0; delete dead.txt 2; remove - 1");
}

}  // namespace
}  // namespace memos
