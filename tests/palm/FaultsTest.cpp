// What goes wrong when the settings say so.

#include "tests/palm/SuiteSession.h"

namespace pylon::palm::testing {
namespace {

constexpr char kLost[] = "800704D4";

class FaultsTest : public SuiteSession {
 protected:
  FaultsTest() { AddDatabase("Test", {{0, "one"}, {0, "two"}, {0, "three"}}); }

  // Writes three records anew: the results, and what the file holds then.
  Lines Write(std::string_view settings, int exit_code) {
    Lines results;
    EXPECT_EQ(
        Sync(settings,
             [&] {
               const Late adapter = Open(L"Test");
               for (const int32_t id : {1, 2, 3}) {
                 results.push_back(adapter.Call(L"Write", id, 0, 0x40, ByteArray("new!")).result);
               }
             }),
        exit_code)
        << settings;
    for (const std::string& record : FileRecords("Test")) results.push_back(record);
    return results;
  }
};

TEST_F(FaultsTest, WritesFailWhereTheSettingsSay) {
  const std::string old[] = {"1:0:one", "2:0:two", "3:0:three"};
  const std::string now[] = {"1:64:new!", "2:64:new!", "3:64:new!"};
  const struct {
    const char* settings;
    Lines outcome;
    int exit_code;
  } cases[] = {
      {"", {"ok", "ok", "ok", now[0], now[1], now[2]}, 0},
      {"LinkLostAfterCalls=2", {"ok", kLost, kLost, now[0], old[1], old[2]}, 1},
      {"LinkLostAt=Write 3", {"ok", "ok", kLost, now[0], now[1], old[2]}, 1},
      {"LinkLostAt=Close", {"ok", "ok", "ok", now[0], now[1], now[2]}, 1},
      {"RecordBusy=Test 2", {"ok", "80070005", "ok", now[0], old[1], now[2]}, 0},
      {"RecordBusy=Other 2", {"ok", "ok", "ok", now[0], now[1], now[2]}, 0},
      {"DatabaseReadOnly=Test", {"80070005", "80070005", "80070005", old[0], old[1], old[2]}, 0},
      {"MemoryFullAfterBytes=8", {"ok", "ok", "8007000E", now[0], now[1], old[2]}, 0},
      {"MemoryFullAfterBytes=0", {"8007000E", "8007000E", "8007000E", old[0], old[1], old[2]}, 0},
  };
  for (const auto& c : cases) {
    AddDatabase("Test", {{0, "one"}, {0, "two"}, {0, "three"}});
    EXPECT_EQ(Write(std::string("[Faults]\n") + c.settings + "\n", c.exit_code), c.outcome)
        << c.settings;
  }
}

TEST_F(FaultsTest, ABusyRecordIsPassedOver) {
  EXPECT_EQ(Sync("[Faults]\nRecordBusy=Test 2\n",
                 [] {
                   const Late adapter = Open(L"Test");
                   EXPECT_EQ(Read(adapter, L"ReadNext"), "0:1:0:0:one");
                   EXPECT_EQ(Read(adapter, L"ReadNext"), "80070005");
                   EXPECT_EQ(Read(adapter, L"ReadNext"), "2:3:0:0:three");
                   EXPECT_EQ(ReadById(adapter, 2), "80070005");
                   EXPECT_EQ(adapter.Call(L"Remove", 2).result, "80070005");
                   EXPECT_EQ(adapter.Call(L"RemoveSet", 0).result, "80070005");
                 }),
            0);
}

}  // namespace
}  // namespace pylon::palm::testing
