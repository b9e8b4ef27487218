// The PC and a handheld, both in memory, for DatabasePlaceTest.

#include "hotsync/PDBFileSystemPalm.h"
#include "pdb/PDBFileSystemPC.h"
#include "tests/hotsync/DatabasePlaceTest.h"
#include "tests/support/MemoryHandheld.h"
#include "tests/support/PdbTesting.h"

namespace pylon::testing {
namespace {

class MemoryPlace : public DatabasePlace {
 protected:
  SyncIndexFactory Indexes() {
    return [this] {
      return std::make_shared<CSyncIndex>(CSyncIndex::Surroundings{
          disk_.Factory(), AnsiCodePage::Windows1252(), clock_, log_, {}, u"C:\\index", u"Device"});
    };
  }

  MemoryFolder disk_;
  FixedClock clock_;
  std::shared_ptr<CollectingLog> log_ = std::make_shared<CollectingLog>();
};

class PcPlace final : public MemoryPlace {
 public:
  std::shared_ptr<PDBFileSystem> BeginSync() override {
    return std::make_shared<PDBFileSystemPC>(u"C:\\pdb", disk_.Factory(), dftWindows,
                                             AnsiCodePage::Windows1252(), clock_, log_, Indexes());
  }
};

class HandheldPlace final : public MemoryPlace {
 public:
  std::shared_ptr<PDBFileSystem> BeginSync() override {
    auto files = std::make_shared<PDBFileSystemPalm>(handheld_, AnsiCodePage::Windows1252(), log_,
                                                     Indexes());
    files->SetCreatorId(u"test");
    return files;
  }

 private:
  std::shared_ptr<MemoryHandheld> handheld_ = std::make_shared<MemoryHandheld>();
};

INSTANTIATE_TEST_SUITE_P(
    Memory, DatabasePlaceTest,
    ::testing::Values(PlaceKind{"Pc", [] { return std::make_unique<PcPlace>(); }},
                      PlaceKind{"Handheld", [] { return std::make_unique<HandheldPlace>(); }}),
    PlaceName);

}  // namespace
}  // namespace pylon::testing
