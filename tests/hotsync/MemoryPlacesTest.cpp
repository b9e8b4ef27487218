// The PC and a handheld, both in memory, for DatabasePlaceTest.

#include "hotsync/PDBFileSystemPalm.h"
#include "pdb/PDBFileSystemPC.h"
#include "tests/hotsync/IndexesInMemory.h"
#include "tests/support/MemoryHandheld.h"

namespace pylon::testing {
namespace {

class PcPlace final : public IndexesInMemory {
 public:
  std::shared_ptr<PDBFileSystem> BeginSync() override {
    return std::make_shared<PDBFileSystemPC>(u"C:\\pdb", disk_.Factory(), dftWindows,
                                             AnsiCodePage::Windows1252(), clock_, log_, Indexes());
  }
};

class HandheldPlace final : public IndexesInMemory {
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
