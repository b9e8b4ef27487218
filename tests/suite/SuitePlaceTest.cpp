// DatabasePlaceTest on the simulated handheld, over the COM suite of the simulator: real calls into
// a second process. The tests are what a conduit does in one session of the simulator.

#include <fstream>
#include <iostream>
#include <string>

#include "base/Com.h"
#include "hotsync/PDBFileSystemPalm.h"
#include "hotsync/SuiteHandheld.h"
#include "tests/automation/Processes.h"
#include "tests/hotsync/IndexesInMemory.h"
#include "tests/palm/TestConduit.h"

namespace pylon::testing {
namespace {

class SimulatorPlace final : public IndexesInMemory {
 public:
  SimulatorPlace() {
    const auto handheld = Connect();
    for (const std::u16string& name : handheld->DatabaseNames()) handheld->DeleteDatabase(name);
  }

  std::shared_ptr<PDBFileSystem> BeginSync() override {
    auto files = std::make_shared<PDBFileSystemPalm>(Connect(), AnsiCodePage::Windows1252(), log_,
                                                     Indexes());
    files->SetCreatorId(u"test");
    return files;
  }

 private:
  static std::shared_ptr<SuiteHandheld> Connect() {
    return SuiteHandheld::Connect(AnsiCodePage::Windows1252());
  }
};

INSTANTIATE_TEST_SUITE_P(Simulator, DatabasePlaceTest,
                         ::testing::Values(PlaceKind{
                             "Handheld", [] { return std::make_unique<SimulatorPlace>(); }}),
                         PlaceName);

// Runs the simulator with these arguments; it calls into this process meanwhile.
int Simulate(const std::u16string& arguments) {
  const std::filesystem::path program =
      std::filesystem::absolute("simulators/palm/PalmSimulator.exe");
  Process process(Quoted(program) + u" " + arguments);
  while (process.running()) {
    ::MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_ALLINPUT);
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
  }
  return static_cast<int>(process.Wait().value_or(99));
}

int RunAsConduit() {
  com::Check(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
  const TemporaryFolder folder;
  const std::filesystem::path settings = folder.path() / "suite.ini";
  std::ofstream(settings) << "[Session]\nConduits=tst1\n";
  // Until the simulator has called it, no test has run.
  int result = 1;
  palm::testing::TestConduit conduit;
  conduit.begin = [&]() -> palm::testing::TestConduit::Answer {
    result = RUN_ALL_TESTS();
    return {};
  };
  (void)Simulate(u"/removeconduit tst1");  // of a run that was killed
  const bool set_up =
      Simulate(u"/regserver") == 0 && Simulate(u"/addconduit tst1 PalmTest.Conduit Tests") == 0;
  const bool synced = set_up && Simulate(u"/sync " + Quoted(settings)) == 0;
  const bool cleaned_up = Simulate(u"/removeconduit tst1") == 0 && Simulate(u"/unregserver") == 0;
  if (synced && cleaned_up) return result;
  std::cerr << "The simulator failed.\n" << ReadFile(folder.path() / "hotsync.log");
  return 1;
}

}  // namespace
}  // namespace pylon::testing

int main(int count, char** arguments) {
  ::testing::InitGoogleTest(&count, arguments);
  return pylon::testing::RunAsConduit();
}
