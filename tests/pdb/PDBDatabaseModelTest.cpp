#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/support/PdbTesting.h"

namespace pylon {
namespace {

using testing::BlockOf;
using testing::DatabaseFile;
using testing::Put;
using testing::ReadAll;
using testing::Record;
using testing::StreamOf;

// A database next to the simplest thing that behaves like one, through saves and reopenings.
class DatabaseModel {
 public:
  explicit DatabaseModel(uint32_t seed)
      : random_(seed),
        database_for_(static_cast<eDatabaseForType>(Draw(6))),
        database_(file_.Database(database_for_)) {
    EXPECT_TRUE(database_->CreateDatabase());
  }

  void Step() {
    switch (Draw(12)) {
      case 0:
      case 1:
      case 2:
      case 3: {
        Record record = Random();
        record.id = Draw(2) ? 0 : FreeId();
        const bool stays = record.id || record.data.empty() || database_for_ == dftPalmHotSync;
        const int32_t asked = record.id;
        record.id = Put(*database_, 0, record);
        EXPECT_EQ(record.id == asked, stays);
        EXPECT_TRUE(record.id == 0 || Holder(record.id) == records_.end());
        records_.push_back(record);
        break;
      }
      case 4:
      case 5:
      case 6: {
        if (records_.empty()) break;
        Record& old = records_[Draw(records_.size())];
        Record record = Random();
        record.id = Draw(5) ? old.id : FreeId();
        const auto index = static_cast<int32_t>(&old - records_.data()) + 1;
        record.id = Put(*database_, index, record);
        old = record;
        break;
      }
      case 7:
      case 8: {
        if (records_.empty()) break;
        const int32_t id = records_[Draw(records_.size())].id;
        if (id == 0) break;
        database_->Remove(id);
        records_.erase(Holder(id));
        break;
      }
      case 9:
        if (Draw(4)) break;
        database_->RemoveWithDeleteFlag();
        std::erase_if(records_, [](const Record& r) { return (r.attributes & eDelete) != 0; });
        break;
      case 10:
        (Draw(2) ? app_info_ : sort_info_) = Bytes(Draw(2000), std::byte(Draw(256)));
        database_->WriteAppInfoBlock(app_info_);
        database_->WriteSortInfoBlock(sort_info_);
        break;
      case 11:
        database_->CloseDatabase();
        ASSERT_TRUE(database_->OpenDatabase()) << file_.log->lines.back();
        if (database_for_ == dftPalmHotSync || database_for_ == dftPalmVFS) {
          for (Bytes* block : {&app_info_, &sort_info_}) {
            if (!block->empty()) block->resize(std::max<size_t>(block->size(), 512));
          }
        }
        break;
    }
    Compare();
  }

 private:
  void Compare() {
    ASSERT_EQ(database_->RecordCount(), static_cast<int32_t>(records_.size()));
    ASSERT_EQ(ReadAll(*database_), records_);
    ASSERT_EQ(BlockOf(database_->ReadAppInfoBlock()), app_info_);
    ASSERT_EQ(BlockOf(database_->ReadSortInfoBlock()), sort_info_);
    if (records_.empty()) return;
    const Record& some = records_[Draw(records_.size())];
    if (some.id == 0) return;
    const std::optional<pylon::Record> found = database_->ById(some.id);
    ASSERT_TRUE(found);
    ASSERT_EQ(found->index, Holder(some.id) - records_.begin() + 1);
  }

  uint32_t Draw(size_t below) { return static_cast<uint32_t>(random_() % below); }
  std::vector<Record>::iterator Holder(int32_t id) {
    return std::ranges::find(records_, id, &Record::id);
  }
  int32_t FreeId() {
    for (;;) {
      const auto id = static_cast<int32_t>(Draw(Draw(2) ? 100 : 0x800000)) + 1;
      if (Holder(id) == records_.end()) return id;
    }
  }
  Record Random() {
    Record record;
    record.attributes = static_cast<int32_t>(Draw(16)) << 4;
    record.category = static_cast<int16_t>(Draw(record.attributes & eDelete ? 8 : 16));
    record.data = Bytes(Draw(4) ? Draw(100) : Draw(3), std::byte(Draw(256)));
    return record;
  }

  std::mt19937 random_;
  eDatabaseForType database_for_;
  DatabaseFile file_;
  std::unique_ptr<PDBDatabasePC> database_;
  std::vector<Record> records_;
  Bytes app_info_, sort_info_;
};

TEST(PDBDatabaseModel, AgreesWithAVectorWhateverIsDone) {
  for (uint32_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    DatabaseModel model(seed);
    for (int i = 0; i < 300; ++i) {
      model.Step();
      if (::testing::Test::HasFailure()) return;
    }
  }
}

}  // namespace
}  // namespace pylon
