// What goes wrong when the settings say so.

#include "tests/pocketpc/SimulatedDevice.h"

namespace pocketpc::testing {
namespace {

constexpr char kLost[] = "rapi 80072775";

class FaultsTest : public SimulatedDevice {
 protected:
  // Opens \file, writes two times 4 bytes, reads 4 from the start, closes: what each step says.
  std::vector<std::string> WorkOnFile() const {
    const HANDLE file = Open(L"\\file");
    std::vector<std::string> outcomes = {Outcome(file != INVALID_HANDLE_VALUE)};
    outcomes.push_back(Write(file, "1234"));
    outcomes.push_back(Write(file, "5678"));
    outcomes.push_back(Outcome(rapi.CeSetFilePointer(file, 0, nullptr, FILE_BEGIN) == 0));
    outcomes.push_back(Read(file, 4));
    outcomes.push_back(Outcome(rapi.CeCloseHandle(file) != FALSE));
    return outcomes;
  }
};

TEST_F(FaultsTest, TheLinkIsLostWhereTheSettingsSay) {
  const std::string lost_write = std::string(kLost) + " after 0";
  const std::vector<std::string> whole = {"ok", "ok after 4", "ok after 4", "ok", "[1234]", "ok"};
  const std::vector<std::string> dead = {kLost, lost_write, lost_write, kLost, kLost, kLost};
  const struct {
    const char* fault;
    size_t good;       // steps before the link is lost
    const char* text;  // what the device's file holds then
  } cases[] = {
      {"", 6, "12345678"},
      {"LinkLostAfterCalls=6", 6, "12345678"},
      {"LinkLostAfterCalls=0", 0, ""},
      {"LinkLostAfterCalls=1", 1, ""},
      {"LinkLostAfterCalls=3", 3, "12345678"},
      {"LinkLostAfterBytes=0", 0, ""},
      {"LinkLostAfterBytes=4", 2, "1234"},
      {"LinkLostAfterBytes=6", 2, "123456"},
      {"LinkLostAfterBytes=9", 4, "12345678"},
      {"LinkLostAt=CeWriteFile", 1, ""},
      {"LinkLostAt=cewritefile 2", 2, "1234"},
      {"LinkLostAt=CeCloseHandle", 5, "12345678"},
      {"LinkLostAt=CeWriteFile 3", 6, "12345678"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    std::filesystem::remove(OnPc("file"));
    Reconnect(std::string("[Faults]\n") + c.fault + "\n");
    std::vector<std::string> expected(whole.begin(),
                                      whole.begin() + static_cast<std::ptrdiff_t>(c.good));
    expected.insert(expected.end(), dead.begin() + static_cast<std::ptrdiff_t>(c.good), dead.end());
    EXPECT_EQ(WorkOnFile(), expected);
    EXPECT_EQ(ReadFile(OnPc("file")), c.text);
    if (c.good == whole.size()) continue;
    // Nothing gets through, and the device has closed the file.
    EXPECT_EQ(Outcome(rapi.CeDeleteFile(L"\\file") != FALSE), kLost);
    HKEY key = nullptr;
    EXPECT_EQ(rapi.CeRegOpenKeyEx(HKEY_LOCAL_MACHINE, L"Ident", 0, 0, &key), 0x2775);
    EXPECT_EQ(rapi.CeGetLastError(), 0u);
    EXPECT_TRUE(!std::filesystem::exists(OnPc("file")) || std::filesystem::remove(OnPc("file")));
  }
  Reconnect("[Faults]\nLinkLostAfterCalls=0\nLinkLostError=0x80072746\n");
  EXPECT_EQ(Outcome(rapi.CeDeleteFile(L"\\file") != FALSE), "rapi 80072746");
  Reconnect();
  EXPECT_EQ(WorkOnFile(), whole) << "the next connection is sound";
}

}  // namespace
}  // namespace pocketpc::testing
