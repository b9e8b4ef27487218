// The suite's other classes.

#include "base/Text.h"
#include "tests/palm/SuiteSession.h"

namespace pylon::palm::testing {
namespace {

constexpr int32_t kTst1 = 0x74737431;

class SuiteTest : public SuiteSession {
 protected:
  SuiteTest() {
    AddDatabase("One", {{0, "x"}});
    AddDatabase("Two", {});
  }
};

std::string Names(const Outcome& outcome) {
  const VARIANT& value = *outcome.value.get();
  EXPECT_TRUE(V_VT(&value) & VT_ARRAY);
  std::string names;
  LONG last = -1;
  EXPECT_EQ(::SafeArrayGetUBound(V_ARRAY(&value), 1, &last), S_OK);
  for (LONG i = 0; i <= last; ++i) {
    com::Variant name;
    void* place = name.get();
    if (V_VT(&value) == (VT_ARRAY | VT_BSTR)) {
      V_VT(name.get()) = VT_BSTR;
      place = &V_BSTR(name.get());
    }
    EXPECT_EQ(::SafeArrayGetElement(V_ARRAY(&value), &i, place), S_OK);
    names += ToUtf8(com::Text(V_BSTR(name.get()))) + " ";
  }
  return names;
}

TEST_F(SuiteTest, DatabasesComeAndGo) {
  EXPECT_EQ(
      Sync("[Handheld]\nClock=2003-05-17 09:30:00\n",
           [] {
             const Late query = Late::Create(L"PDDirect.PDDatabaseQuery");
             constexpr char16_t kAdapter[] = u"PDDirect.PDRecordAdapter";
             EXPECT_EQ(Names(query.Call(L"ReadDbNameList", true)), "One Two ");
             EXPECT_EQ(Names(query.Call(L"ReadDbNameList")), "One Two ");
             EXPECT_EQ(Names(query.Call(L"ReadDbNameList", false)), "");
             {
               const Late made(
                   query.Call(L"CreateRecordDatabase", u"New", kAdapter, kTst1, 0x44415441));
               EXPECT_EQ(made.Call(L"Write", Argument(com::Variant()), 0, 0, ByteArray("x")).result,
                         "ok");
               EXPECT_EQ(query.Call(L"RemoveDatabase", u"New").result, "80070005") << "it is open";
             }
             const Late info(query.Call(L"ReadDbInfoByName", u"New"));
             EXPECT_EQ(info.Call(L"CreatorId").Number(), kTst1);
             EXPECT_EQ(info.Call(L"TypeId").Number(), 0x44415441);
             EXPECT_NEAR(V_DATE(info.Call(L"CreateDate").value.get()), 37758.3958333, 1e-6);
             EXPECT_NEAR(V_DATE(info.Call(L"ModifyDate").value.get()), 37758.3958333, 1e-6);
             const struct {
               const char* what;
               Outcome outcome;
               const char* result;
             } cases[] = {
                 {"taken", query.Call(L"CreateRecordDatabase", u"One", kAdapter, 1, 2), "80030050"},
                 {"card", query.Call(L"CreateRecordDatabase", u"Card", kAdapter, 1, 2, 1),
                  "80070057"},
                 {"optional",
                  query.Call(L"CreateRecordDatabase", u"Opt", kAdapter, 1, 2, Missing(), 0xC0),
                  "ok"},
                 {"long name",
                  query.Call(L"CreateRecordDatabase", u"12345678901234567890123456789012", kAdapter,
                             1, 2),
                  "80070057"},
                 {"not there", query.Call(L"OpenRecordDatabase", u"one", kAdapter), "80030002"},
                 {"another adapter", query.Call(L"OpenRecordDatabase", u"One", u"My.Adapter"),
                  "80070057"},
                 {"no info", query.Call(L"ReadDbInfoByName", u"one"), "80030002"},
                 {"remove", query.Call(L"RemoveDatabase", u"Two"), "ok"},
                 {"gone", query.Call(L"RemoveDatabase", u"Two"), "80030002"},
             };
             for (const auto& c : cases) EXPECT_EQ(c.outcome.result, c.result) << c.what;
             EXPECT_EQ(Late::Create(L"PDDirect.PDRecordAdapter").Call(L"RecordCount").result,
                       "8000FFFF");
           }),
      0);
  EXPECT_EQ(FileRecords("New"), Lines{"1:0:x"});
  EXPECT_EQ(FileRecords("Two"), Lines{"no file"});
}

TEST_F(SuiteTest, TheSystemTellsOfUserAndSession) {
  EXPECT_EQ(Sync("SyncType=1\n[Handheld]\nUserName=Test user\nUserId=77\n"
                 "Clock=2003-05-17 09:30:00\n",
                 [] {
                   const Late system = Late::Create(L"PDDirect.PDSystemAdapter");
                   EXPECT_NEAR(V_DATE(system.Call(L"DateTime").value.get()), 37758.3958333, 1e-6);
                   EXPECT_EQ(system.Call(L"AddLogEntry", u"A line \u20AC").result, "ok");
                   const Late user(system.Call(L"PDUserInfo"));
                   EXPECT_EQ(user.Call(L"UserName").Text(), "Test user");
                   EXPECT_EQ(user.Call(L"UserId").Number(), 77);
                   const Late sync(system.Call(L"PDHotSyncInfo"));
                   EXPECT_EQ(sync.Call(L"SyncType").Number(), 1);
                   EXPECT_EQ(sync.Call(L"CreatorId").Number(), kTst1);
                   EXPECT_TRUE(sync.Call(L"PathName").Text().ends_with("\\Test user\\Tests\\"));
                   EXPECT_EQ(sync.Call(L"NameCount").Number(), 2);
                   EXPECT_EQ(sync.Call(L"NameList", 1).Text(), "Two");
                   EXPECT_EQ(sync.Call(L"NameList", 2).result, "800A0009");
                 }),
            0);
  EXPECT_NE(SessionLog().find("\nA line \xE2\x82\xAC\n"), std::string::npos);
}

}  // namespace
}  // namespace pylon::palm::testing
