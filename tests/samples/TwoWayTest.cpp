#include "samples/common/TwoWay.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace sample {
namespace {

Record Changed(long id, std::string content) {
  Record record;
  record.id = id;
  record.content = std::move(content);
  record.dirty = true;
  return record;
}
Record Kept(long id, std::string content) {
  Record record = Changed(id, std::move(content));
  record.dirty = false;
  return record;
}
Record Deleted(long id) {
  Record record = Kept(id, "");
  record.deleted = true;
  return record;
}

// The conflict table: each pair of what has become of an item and of its record.
TEST(TwoWay, DecidesByWhatChangedSinceTheLastSync) {
  static constexpr const char* kChanges[] = {"old",   "new",     "other", "bad",
                                             "empty", "deleted", "none"};
  static constexpr const char* kActions[] = {"=",        "to record", "to item", "conflict",
                                             "- record", "- item",    "skip"};
  const struct {
    const char* item;
    const char* actions[std::size(kChanges)];  // by what the record is now
  } rows[] = {
      // record:  old     new          other        bad     empty        deleted      none
      {"old", {"=", "to item", "to item", "skip", "to record", "- item", "to record"}},
      {"new", {"to record", "=", "conflict", "skip", "to record", "to record", "to record"}},
      {"bad", {"skip", "skip", "skip", "skip", "=", "skip", "skip"}},
      {"none", {"- record", "to item", "to item", "skip", "=", "=", "="}},
  };
  const Synced last = {ChecksumOf("old"), 0};
  const auto set = [](Side& side, std::string_view change) {
    if (change == "bad") side.problem = u"damaged";
    if (change == "old" || change == "new" || change == "other") side.content = change;
  };
  for (const auto& row : rows) {
    for (size_t i = 0; i < std::size(kChanges); ++i) {
      Item item;
      Record record;
      set(item, row.item);
      set(record, kChanges[i]);
      record.deleted = kChanges[i] == std::string_view("deleted");
      const bool has_item = row.item != std::string_view("none");
      const bool has_record = kChanges[i] != std::string_view("none");
      const Action action =
          Decide(has_item ? &item : nullptr, has_record ? &record : nullptr, &last, &last);
      EXPECT_STREQ(kActions[static_cast<int>(action)], row.actions[i])
          << "item " << row.item << ", record " << kChanges[i];
    }
  }
  Item item;
  Record record;
  item.content = "here";
  record.content = "there";
  EXPECT_EQ(Decide(&item, &record, nullptr, nullptr), Action::kConflict) << "never synced";
  item.problem = u"too long";
  EXPECT_EQ(Decide(&item, &record, nullptr, nullptr), Action::kSkip);
  record.content = "here";
  EXPECT_EQ(Decide(&item, &record, nullptr, nullptr), Action::kNothing) << "it came from there";
  record.content = "new";
  const Synced came = {ChecksumOf("here"), 0};
  EXPECT_EQ(Decide(&item, &record, &came, &came), Action::kToItem) << "and did not change since";
  record.deleted = true;
  EXPECT_EQ(Decide(&item, &record, &came, &came), Action::kRemoveItem);
}

// An entry that is believed in error lets an old text replace a newer one.
TEST(TwoWay, BelievesAHistoryOnlyOfTheSameStateOfTheDatabase) {
  const History saved = {{{u"a", 1}, {u"b", 2}, {u"gone", 3}},
                         {{1, {ChecksumOf("a"), 5}}, {2, {ChecksumOf("b"), 0}}}};
  const struct {
    const char* name;
    std::vector<Record> records;
    bool same_state;
    std::vector<long> believed;
  } cases[] = {
      {"the one that was saved", {Kept(1, "a"), Kept(2, "b"), Kept(0, "new")}, true, {1, 2}},
      {"changed since", {Changed(1, "x"), Deleted(2)}, true, {1, 2}},
      {"older backup", {Kept(1, "a"), Kept(2, "b0")}, true, {1}},
      {"older backup, changed since", {Changed(1, "x"), Kept(2, "b0")}, true, {}},
      {"older backup, deleted since", {Kept(2, "b0"), Deleted(1)}, true, {}},
      {"another mark", {Kept(1, "a"), Changed(2, "x")}, false, {1}},
      {"another mark, all changed", {Changed(1, "x"), Deleted(2)}, false, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const History history = Believable(saved, c.records, c.same_state);
    std::vector<long> records, ids;
    for (const auto& [id, synced] : history.records) records.push_back(id);
    for (const auto& [key, id] : history.ids) ids.push_back(id);
    EXPECT_EQ(records, c.believed);
    EXPECT_EQ(ids, c.believed);
    for (const long id : records) EXPECT_EQ(*history.Find(id), saved.records.at(id));
  }
}

TEST(TwoWay, EveryKeyHasAnEntryOfItsOwn) {
  const auto ascii = [](char16_t c) { return c < 0x80; };
  EXPECT_EQ(EntryOf(u"A-100", ascii), u"A-100");
  const std::u16string entries[] = {
      EntryOf(u"\u20AC", ascii),   EntryOf(u"20AC", ascii), EntryOf(20),
      std::u16string(kStampEntry), EntryOf(u"#20", ascii),  EntryOf(u"\U0001F600", ascii)};
  for (const std::u16string& one : entries) {
    EXPECT_TRUE(std::ranges::all_of(one, ascii));
    EXPECT_EQ(std::ranges::count(entries, one), 1);
  }
}

TEST(TwoWay, ANumberComesBackAndIsNeverThatOfAnUnknownEntry) {
  for (const Synced& synced : {Synced{1, 0}, Synced{0xFFFFFFF, 15}, Synced{0x8000000, 1}}) {
    EXPECT_EQ(FromNumber(ToNumber(synced)), synced);
    EXPECT_NE(ToNumber(synced), 0);
  }
  EXPECT_EQ(FromNumber(0), std::nullopt);
  EXPECT_NE(ToNumber("a", 1), ToNumber("b", 1));
  EXPECT_EQ(ToNumber("a", 1) & 0xFF, 1);
  for (int i = 0; i < 1000; ++i) {
    const std::uint32_t checksum = ChecksumOf(std::to_string(i));
    EXPECT_TRUE(checksum > 0 && checksum < 1U << 28) << i;
    EXPECT_NE(checksum, ChecksumOf(std::to_string(i + 1)));
  }
}

}  // namespace
}  // namespace sample
