// Connecting.

#include "tests/pocketpc/SimulatedDevice.h"

namespace pocketpc::testing {
namespace {

class ConnectionTest : public SimulatedDevice {};

TEST_F(ConnectionTest, AnswersAsTheSettingsSay) {
  const struct {
    const char* settings;
    HRESULT result;
    bool answers;
    HRESULT answer;  // when the record is final
  } cases[] = {
      {"", S_OK, true, S_OK},
      {"[Faults]\nConnect=OK\n", S_OK, true, S_OK},
      {"[Link]\nConnectDelay=50\n", S_OK, true, S_OK},
      {"[Faults]\nConnect=refused\n", S_OK, true, E_FAIL},
      {"[Faults]\nConnect=refused\n[Link]\nConnectDelay=50\n", S_OK, true, E_FAIL},
      {"[Faults]\nConnect=no-answer\n", S_OK, false, S_OK},
      {"[Faults]\nConnect=error\n", E_FAIL, false, E_FAIL},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.settings);
    WriteSettings(c.settings);
    init_ = {sizeof init_, nullptr, E_PENDING};
    ASSERT_EQ(rapi.CeRapiInitEx(&init_), c.result);
    EXPECT_EQ(init_.heRapiInit != nullptr, c.result == S_OK);
    if (init_.heRapiInit) {
      EXPECT_EQ(::WaitForSingleObject(init_.heRapiInit, c.answers ? 10'000 : 100),
                c.answers ? WAIT_OBJECT_0 : static_cast<DWORD>(WAIT_TIMEOUT));
    }
    EXPECT_EQ(init_.hrRapiInit, c.answer);
    const bool connected = c.answers && c.answer == S_OK;
    EXPECT_EQ(TryOpen(L"\\a", GENERIC_WRITE, CREATE_ALWAYS), connected ? "ok" : "rapi 800708CA");
    EXPECT_EQ(rapi.CeRapiUninit(), c.result);
    EXPECT_EQ(TryOpen(L"\\a", GENERIC_READ, OPEN_EXISTING), "rapi 800708CA");
  }
}

TEST_F(ConnectionTest, RefusesWhatNoProgramShouldPass) {
  WriteSettings("");
  EXPECT_EQ(rapi.CeRapiUninit(), E_FAIL);
  EXPECT_EQ(rapi.CeRapiInitEx(nullptr), E_INVALIDARG);
  for (const DWORD size : {0u, static_cast<unsigned>(sizeof init_) - 4, 100u}) {
    init_ = {size, nullptr, S_OK};
    EXPECT_EQ(rapi.CeRapiInitEx(&init_), E_INVALIDARG);
    EXPECT_EQ(init_.heRapiInit, nullptr);
  }
  Connect();
  RAPIINIT second = {sizeof second, nullptr, S_OK};
  EXPECT_EQ(Hex(rapi.CeRapiInitEx(&second)), "80041001");
  EXPECT_EQ(TryOpen(L"\\a", GENERIC_WRITE, CREATE_ALWAYS), "ok") << "the first one is still there";
}

// The module stays while its timer may still come.
TEST_F(ConnectionTest, OutlivesItsUnloadingUntilTheEnd) {
  WriteSettings("[Link]\nConnectDelay=20\n");
  init_ = {sizeof init_, nullptr, S_OK};
  ASSERT_EQ(rapi.CeRapiInitEx(&init_), S_OK);
  ASSERT_TRUE(::FreeLibrary(module_));
  EXPECT_EQ(::WaitForSingleObject(init_.heRapiInit, 10'000), WAIT_OBJECT_0);
  module_ = ::LoadLibraryW(std::filesystem::absolute("simulators/pocketpc/rapi.dll").c_str());
  EXPECT_EQ(rapi.CeRapiUninit(), S_OK);
}

}  // namespace
}  // namespace pocketpc::testing
