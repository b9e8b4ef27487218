#include "pdb/RecordTable.h"

#include <gtest/gtest.h>

#include <random>

namespace pylon {
namespace {

// The table against a plain vector of ids. Few different ids make many records share one.
class RecordTableModel {
 public:
  explicit RecordTableModel(uint32_t seed) : random_(seed) {}

  void Step() {
    const uint32_t choice = Draw(100);
    const uint32_t id = Draw(kIds);
    if (choice < 45) {
      RecordEntry entry;
      entry.unique_id = id;
      table_.Append(entry);
      ids_.push_back(id);
    } else if (choice < 88 && !ids_.empty()) {
      const auto at = Draw(static_cast<uint32_t>(ids_.size()));
      table_.Remove(table_.SlotAt(static_cast<int32_t>(at) + 1));
      ids_.erase(ids_.begin() + at);
    } else if (choice < 99 && !ids_.empty()) {
      const auto at = Draw(static_cast<uint32_t>(ids_.size()));
      table_.SetId(table_.SlotAt(static_cast<int32_t>(at) + 1), id);
      ids_[at] = id;
    } else if (choice == 99) {
      table_.RemoveIf([&](const RecordEntry& entry) { return entry.unique_id == id; });
      std::erase(ids_, id);
    }
  }

  void Compare() const {
    ASSERT_EQ(table_.count(), static_cast<int32_t>(ids_.size()));
    size_t slot = table_.First();
    for (size_t i = 0; i < ids_.size(); ++i, slot = table_.Next(slot)) {
      const auto index = static_cast<int32_t>(i) + 1;
      ASSERT_EQ(table_.SlotAt(index), slot);
      ASSERT_EQ(table_.IndexOf(slot), index);
      ASSERT_EQ(table_[slot].unique_id, ids_[i]);
    }
    ASSERT_EQ(slot, table_.End());
    for (uint32_t id = 0; id < kIds; ++id) {
      const auto first = std::find(ids_.begin(), ids_.end(), id);
      const size_t found = table_.Find(id);
      if (first == ids_.end()) {
        ASSERT_EQ(found, RecordTable::kNone) << id;
      } else {
        ASSERT_NE(found, RecordTable::kNone) << id;
        ASSERT_EQ(table_.IndexOf(found), first - ids_.begin() + 1) << id;
      }
    }
  }

 private:
  static constexpr uint32_t kIds = 60;
  uint32_t Draw(uint32_t below) { return static_cast<uint32_t>(random_() % below); }

  std::mt19937 random_;
  RecordTable table_;
  std::vector<uint32_t> ids_;
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
        RecordEntry entry;
        entry.unique_id = shared ? 0 : static_cast<uint32_t>(i) * 256;
        table.Append(entry);
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
