// The program that plays HotSync, from its command line.

#include <fstream>

#include "tests/palm/SuiteSession.h"
#include "tests/support/PdbTesting.h"

namespace pylon::palm::testing {
namespace {

class HotSyncTest : public SuiteSession {
 protected:
  HotSyncTest() { AddDatabase("Test", {{0x10, "one"}}); }
};

TEST_F(HotSyncTest, BothOrdersOfTheLibraryWork) {
  for (const char* library : {"second", "first"}) {
    SCOPED_TRACE(library);
    const bool second = std::string_view(library) == "second";
    EXPECT_EQ(Sync(std::string("[Suite]\nLibrary=") + library + "\n",
                   [&] {
                     // The access modes have other numbers, too.
                     EXPECT_EQ(ReadAt(Open(L"Test", second ? 1 : 0x80), 0), "none");
                     EXPECT_EQ(ReadAt(Open(L"Test", second ? 5 : 0x90), 0), "0:1:0:16:one");
                   }),
              0);
    std::string said;
    conduit_.calls.clear();
    EXPECT_EQ(Run(u"/info tst1", &said), 0);
    EXPECT_NE(said.find("Name: Test conduit"), std::string::npos) << said;
    EXPECT_NE(said.find("Version: 1.5"), std::string::npos) << said;
    EXPECT_NE(said.find("Default action: no answer"), std::string::npos) << said;
    EXPECT_EQ(conduit_.calls.front(),
              std::string("GetConduitInfo ") + (second ? "12" : "0") + " 1953723441 Palm User");
    EXPECT_EQ(Run(u"/configure tst1", &said), 0);
    EXPECT_NE(said.find("Preference 2"), std::string::npos) << said;
    EXPECT_EQ(Run(u"/cfg tst1", &said), 0);
    EXPECT_NE(said.find("Temporary 4, new 5, preference 6"), std::string::npos) << said;
    EXPECT_NE(conduit_.calls.back().find("CfgConduit 1953723441 1001 Palm User "),
              std::string::npos)
        << conduit_.calls.back();
  }
}

TEST_F(HotSyncTest, AConduitThatFailsLeavesALineAndTheOthersRun) {
  const struct {
    const char16_t* creator;
    const char16_t* prog_id;
    const char* line;
  } cases[] = {
      {u"tst0", u"PalmTest.Nobody", "tst0: failed, PalmTest.Nobody is not registered"},
      {u"tst3", u"PalmTest.Stranger", "tst3: failed, PalmTest.Stranger has no IPDClientNotify"},
      {u"tst4", u"PalmTest.Crash", "tst4: failed, The conduit failed"},
      {u"tst5", u"PalmTest.Conduit", "\nOK tst5"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(
        Run(std::u16string(u"/addconduit ") + c.creator + u" " + c.prog_id + u" " + c.creator), 0);
  }
  std::ofstream(folder_.path() / "all.ini") << "[Session]\nConduits=tst0,tst1,tst3,tst4,tst5\n";
  int called = 0;
  conduit_.begin = [&]() -> TestConduit::Answer { return {S_OK, ++called == 1}; };
  EXPECT_EQ(Run(u"/sync " + pylon::testing::Quoted(folder_.path() / "all.ini")), 1);
  EXPECT_EQ(called, 2);
  const std::string log = SessionLog();
  for (const auto& c : cases) {
    EXPECT_NE(log.find(c.line), std::string::npos) << c.line << "\n" << log;
    EXPECT_EQ(Run(std::u16string(u"/removeconduit ") + c.creator), 0);
  }
  EXPECT_NE(log.find("Test one: failed, it says so itself"), std::string::npos) << log;
  EXPECT_NE(log.find("HotSync is complete, with failures"), std::string::npos) << log;
}

TEST_F(HotSyncTest, ALostLinkEndsTheSession) {
  EXPECT_EQ(Run(u"/addconduit tst2 PalmTest.Conduit Second"), 0);
  EXPECT_EQ(Sync("Conduits=tst1,tst2\n[Faults]\nLinkLostAfterCalls=0\n",
                 [] { Late::Create(L"PDDirect.PDSystemAdapter").Call(L"DateTime"); }),
            1);
  EXPECT_NE(SessionLog().find("Second: not run"), std::string::npos) << SessionLog();
  EXPECT_EQ(Run(u"/removeconduit tst2"), 0);
}

TEST_F(HotSyncTest, WithoutASessionThereAreNoObjects) {
  std::string result;
  EXPECT_FALSE(Late::Create(L"PDDirect.PDDatabaseQuery", &result));
  EXPECT_EQ(result, "80070015");
  // Who refused them is out of the way of the next session.
  EXPECT_EQ(Sync("", [] { EXPECT_TRUE(Late::Create(L"PDDirect.PDDatabaseQuery")); }), 0);
}

TEST_F(HotSyncTest, MistakesInTheSettingsAreTold) {
  const char* mistakes[] = {
      "[Nonsense]\nA=1",
      "[Handheld]\nNobody=1",
      "[Handheld]\nClock=yesterday",
      "[Session]\nSyncType=7",
      "[Session]\nConduits=memos",
      "[Faults]\nRecordBusy=12",
      "[Faults]\nLinkLostAt=Reed 1",
      "[Faults]\nLinkLostAt=Write 0",
      "[Suite]\nLibrary=third",
  };
  const std::filesystem::path ini = folder_.path() / "bad.ini";
  for (const char* mistake : mistakes) {
    std::ofstream(ini) << mistake << "\n";
    std::string said;
    EXPECT_EQ(Run(u"/sync " + pylon::testing::Quoted(ini), &said), 2) << mistake;
    EXPECT_NE(said.find("The settings are wrong"), std::string::npos) << said;
  }
  std::string said;
  EXPECT_EQ(Run(u"/sync nowhere.ini", &said), 2);
  std::ofstream(ini) << "[Faults]\nConnect=no-answer\n";
  EXPECT_EQ(Run(u"/sync " + pylon::testing::Quoted(ini), &said), 1);
  EXPECT_NE(said.find("does not answer"), std::string::npos) << said;
}

}  // namespace
}  // namespace pylon::palm::testing
