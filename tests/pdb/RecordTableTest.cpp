#include "pdb/RecordTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace pylon {
namespace {

// The table against a plain vector of ids and data. Few different ids make many records share one;
// some large data makes the table clear away what was given up.
class RecordTableModel {
 public:
  explicit RecordTableModel(uint32_t seed) : random_(seed) {}

  void Step() {
    const uint32_t choice = Draw(100);
    const uint32_t id = Draw(kIds);
    const Bytes data(Draw(20) ? Draw(40) : Draw(100000), std::byte(id));
    if (choice < 35) {
      table_.Append(id, 0, data);
      records_.push_back({id, data});
    } else if (choice == 99) {
      table_.RemoveIf([&](const RecordEntry& entry) { return entry.unique_id == id; });
      std::erase_if(records_, [&](const Record& record) { return record.id == id; });
    } else if (!records_.empty()) {
      const auto at = Draw(static_cast<uint32_t>(records_.size()));
      const size_t slot = table_.SlotAt(static_cast<int32_t>(at) + 1);
      if (choice < 68) {
        table_.Remove(slot);
        records_.erase(records_.begin() + at);
      } else if (choice < 80) {
        table_.SetId(slot, id);
        records_[at].id = id;
      } else {
        table_.SetData(slot, data);
        records_[at].data = data;
      }
    }
  }

  void Compare() const {
    ASSERT_EQ(table_.count(), static_cast<int32_t>(records_.size()));
    size_t slot = table_.First();
    for (size_t i = 0; i < records_.size(); ++i, slot = table_.Next(slot)) {
      const auto index = static_cast<int32_t>(i) + 1;
      ASSERT_EQ(table_.SlotAt(index), slot);
      ASSERT_EQ(table_.IndexOf(slot), index);
      ASSERT_EQ(table_[slot].unique_id, records_[i].id);
      ASSERT_TRUE(
          std::ranges::equal(ByteSpan(table_[slot].data, table_[slot].size), records_[i].data));
    }
    ASSERT_EQ(slot, table_.End());
    for (uint32_t id = 0; id < kIds; ++id) {
      const auto first = std::ranges::find(records_, id, &Record::id);
      const size_t found = table_.Find(id);
      if (first == records_.end()) {
        ASSERT_EQ(found, RecordTable::kNone) << id;
      } else {
        ASSERT_NE(found, RecordTable::kNone) << id;
        ASSERT_EQ(table_.IndexOf(found), first - records_.begin() + 1) << id;
      }
    }
  }

 private:
  struct Record {
    uint32_t id;
    Bytes data;
  };
  static constexpr uint32_t kIds = 60;
  uint32_t Draw(uint32_t below) { return static_cast<uint32_t>(random_() % below); }

  std::mt19937 random_;
  RecordTable table_;
  std::vector<Record> records_;
};

TEST(RecordTable, AgreesWithAVectorWhateverIsDone) {
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    RecordTableModel model(seed);
    for (int i = 0; i < 1500; ++i) {
      model.Step();
      if (i % 7 == 0) model.Compare();
      if (HasFatalFailure()) return;
    }
  }
}

TEST(RecordTable, RemovingOneByOneInAnyOrderEndsSoon) {
  constexpr int32_t kCount = 65535;
  for (const bool shared : {false, true}) {
    for (const bool from_front : {false, true}) {
      RecordTable table;
      for (int32_t i = 0; i < kCount; ++i) {
        table.Append(shared ? 0 : static_cast<uint32_t>(i) * 256, 0, {});
      }
      for (int32_t left = kCount; left > 0; --left) {
        const size_t slot = table.SlotAt(from_front ? 1 : left);
        ASSERT_NE(table.Find(table[slot].unique_id), RecordTable::kNone);
        table.Remove(slot);
      }
      EXPECT_EQ(table.count(), 0);
    }
  }
}

}  // namespace
}  // namespace pylon
