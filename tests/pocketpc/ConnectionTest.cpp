// Connecting, the settings, and the log.

#include <gmock/gmock.h>

#include "tests/pocketpc/SimulatedDevice.h"

namespace pocketpc::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;

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

TEST_F(ConnectionTest, WrongSettingsRefuseTheConnectionAndAreNamed) {
  const struct {
    const char* settings;
    const char* mistake;
  } cases[] = {
      {"[Faults]\nConnect=perhaps\n",
       "[Faults] Connect=perhaps: this must be ok, error, refused or no-answer"},
      {"[Link]\nCallDelay=5ms\n", "[Link] CallDelay=5ms: this must be a number of milliseconds"},
      {"[Link]\nCallDelay=-1\n", "[Link] CallDelay=-1: this must be"},
      {"[Device]\nDiskSize=99999999999999999999\n", "[Device] DiskSize=99999999999999999999: "},
      {"[Device]\nTempPath=Temp\n", "[Device] TempPath=Temp: this must be a device path"},
      {"[Device]\nColour=red\n", "[Device] Colour: there is no such setting"},
      {"[Divice]\nFolder=x\n", "[Divice]: there is no such section"},
      {"[Faults]\nLinkLostAt=CeGuess 2\n", "[Faults] LinkLostAt=CeGuess 2: this must be the name"},
      {"[Faults]\nLinkLostAt=CeReadFile 0\n", "[Faults] LinkLostAt=CeReadFile 0: "},
      {"[Faults]\nLinkLostError=0x2775\n", "[Faults] LinkLostError=0x2775: this must be"},
      {"[Faults]\nLockedFile=\\..\\a\n", "[Faults] LockedFile=\\..\\a: this must be a device path"},
      {"[HKLM\\A]\nB=dword:xyz\n", "[HKLM\\A] B=dword:xyz: the digits"},
      {"[HKLM\\A]\nB=hex:1,234\n", "[HKLM\\A] B=hex:1,234: the digits"},
      {"[Device]\nFolder=test.ini\n", "error: Windows error "},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.settings);
    std::filesystem::remove(home_ / "rapi.log");
    WriteSettings(c.settings);
    init_ = {sizeof init_, nullptr, S_OK};
    EXPECT_EQ(Hex(rapi.CeRapiInitEx(&init_)), "8007064A");
    EXPECT_THAT(LogLines("error: "), ElementsAre(HasSubstr(c.mistake)));
    EXPECT_THAT(LogLines("CeRapiInitEx "), ElementsAre(EndsWith(" -> rapi 0x8007064A")));
  }
  WriteSettings("[Link]\nCallDelay=x\nBandwidth=y\n; Remark=z\n");
  rapi.CeRapiInitEx(&init_);
  EXPECT_EQ(LogLines("error: ").size(), 3u) << "each mistake has its line";
}

TEST_F(ConnectionTest, LogsEachCallInOneLine) {
  Connect();
  const HANDLE file = Open(L"\\My Documents\\\x00DF.pdb");
  Write(file, "12345");
  rapi.CeCloseHandle(file);
  TryOpen(L"\\none", GENERIC_READ, OPEN_EXISTING);
  rapi.CeDeleteFile(L"\\a\nb");
  rapi.CeRapiUninit();

  char number[20];
  std::snprintf(number, sizeof number, "%llx",
                static_cast<unsigned long long>(reinterpret_cast<ULONG_PTR>(file)));
  const std::string handle = std::string("handle=") + number;
  EXPECT_THAT(LogLines("Ce"),
              ElementsAre("CeRapiInitEx size=" + std::to_string(sizeof init_) + " -> ok",
                          "CeCreateFile \"\\My Documents\\\xC3\x9F.pdb\" access=rw share=none "
                          "disposition=open-always -> ok " +
                              handle,
                          "CeWriteFile " + handle + " size=5 -> ok bytes=5",
                          "CeCloseHandle " + handle + " -> ok",
                          "CeCreateFile \"\\none\" access=r share=none disposition=open-existing "
                          "-> error 2",
                          "CeRapiGetError -> 0x00000000", "CeGetLastError -> 2",
                          "CeDeleteFile \"\\a?b\" -> error 123", "CeRapiUninit -> ok"));
  EXPECT_THAT(LogLines("note: "), ElementsAre(HasSubstr("0 of 33554432 bytes used")));
}

}  // namespace
}  // namespace pocketpc::testing
