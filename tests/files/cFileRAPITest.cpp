// What is different about files on a handheld, and the rest that the remote API tells, against the
// simulated device; what they have in common with others is in CursorFileTest.

#include "files/cFileRAPI.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <optional>

#include "base/AutomationError.h"
#include "files/RapiFileCalls.h"
#include "files/cRegRAPI.h"
#include "tests/files/CursorFileTest.h"
#include "tests/files/SimulatedDevice.h"

namespace pylon::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class cFileRAPITest : public ::testing::Test {
 protected:
  void SetUp() override { device_.Reconnect(""); }

  std::unique_ptr<cFileRAPI> NewFile() {
    return std::make_unique<cFileRAPI>(device_.connection, AnsiCodePage::Windows1252());
  }
  std::string Error() { return ToUtf8(PendingError(*file_)); }

  SimulatedDevice device_;
  std::unique_ptr<cFileRAPI> file_ = NewFile();
};

TEST_F(cFileRAPITest, FailuresReadAsTheLinkOrTheDeviceSays) {
  const struct {
    const char* fault;
    const char16_t* file;
    const char* message;
    int32_t number;
  } kCases[] = {
      {"", u"\\a", "Unknown Error: 2 RAPI Error: 0", 2},
      {"LockedFile=\\b", u"\\b", "Unknown Error: 32 RAPI Error: 0", 32},
      {"UnreadableFile=\\b", u"\\b", "Unknown Error: 23 RAPI Error: 0", 23},
      {"LinkLostAfterCalls=0", u"\\b", "Connection to ActiveSync has been closed.", -2147014795}};
  device_.Write(u"\\b", "bb");
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.fault);
    device_.Reconnect(std::string("[Faults]\r\n") + test.fault + "\r\n");
    EXPECT_FALSE(file_->OpenFile(test.file, u"R", {}));
    std::u16string message;
    int32_t number = 0;
    EXPECT_TRUE(file_->ReadErrorHandler(message, number));
    EXPECT_EQ(ToUtf8(message),
              "modMain.OpenFile(" + ToUtf8(file_->FullFileName()) + "): " + test.message);
    EXPECT_EQ(number, test.number);
    EXPECT_EQ(device_.connection->IsLost(), test.number < 0);
  }
  const RapiFileCalls calls(device_.connection);
  EXPECT_EQ(calls.Describe(80) + calls.Describe(87) + calls.Describe(112),
            u"File Exists.Invalid ParameterDisk Full");
  device_.connection->End();
  EXPECT_FALSE(file_->OpenFile(u"\\b", u"R", {}));
  EXPECT_THAT(Error(), EndsWith("Connection to ActiveSync has been closed."));
  EXPECT_FALSE(file_->DeleteFile());
  EXPECT_TRUE(file_->FileExists()) << "who knows";
}

TEST_F(cFileRAPITest, WhatADeviceDoesNotTakeIsAFailedWrite) {
  const struct {
    const char* settings;
    int32_t written;
    const char* message;
    bool closes;
  } kCases[] = {{"DiskSize=800\r\n", 300, "Disk Full", true},
                {"DiskSize=800\r\n[Faults]\r\nShortWrites=1\r\n", 300, "Disk Full", true},
                {"[Faults]\r\nLinkLostAt=CeWriteFile 2\r\n", 0,
                 "Connection to ActiveSync has been closed.", false}};
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.settings);
    device_.Reconnect(test.settings);
    ASSERT_TRUE(file_->OpenFile(u"\\c", u"W", {}));
    const Bytes bytes(500);
    EXPECT_EQ(file_->WriteByteArray(bytes, 0, {}), 500);
    EXPECT_EQ(file_->WriteByteArray(bytes, -1, {}), test.written);
    EXPECT_EQ(Error(), std::string("modMain.WriteData(): \\\\c: ") + test.message);
    EXPECT_EQ(file_->CloseFile(), test.closes);
    EXPECT_FALSE(file_->IsOpen());
  }
}

TEST_F(cFileRAPITest, SequencesCostOneCallEach) {
  device_.Write(u"\\a", std::string(1'000, 'a'));
  ASSERT_TRUE(file_->OpenFile(u"\\a", u"RW", {}));
  Bytes bytes;
  for (int i = 0; i < 4; ++i) EXPECT_EQ(file_->ReadByteArray(bytes, 250 * i, 250, {}), 250);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(file_->WriteByteArray(bytes, -1, {}), 250);
  EXPECT_TRUE(file_->CloseFile());
  EXPECT_THAT(device_.Calls(),
              ElementsAre("CeCreateFile", "CeReadFile", "CeGetFileSize", "CeSetFilePointer",
                          "CeReadFile", "CeReadFile", "CeReadFile", "CeReadFile", "CeWriteFile",
                          "CeWriteFile", "CeCloseHandle"));
}

// The device can't replace a file in one step. Wherever the link is cut, one of the two is there
// afterwards, under its name.
TEST_F(cFileRAPITest, AReplacementThatIsCutLosesNoFile) {
  const struct {
    const char* lost_at;
    bool done;
    const char* found;
  } kCases[] = {
      {"CeMoveFile 1", false, "old"},
      {"CeMoveFile 2", false, "old"},
      {"CeDeleteFile 1", true, "new"},
      {"CeCloseHandle 9", true, "new"},  // not cut
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.lost_at);
    device_.Write(u"\\x", "old");
    device_.Write(u"\\x.new", "new");
    device_.Reconnect(std::string("[Faults]\r\nLinkLostAt=") + test.lost_at + "\r\n");
    file_->SetFullFileName(u"\\x.new");
    EXPECT_EQ(file_->ReplaceFile(u"x"), test.done);

    device_.Reconnect("");
    const auto next = NewFile();
    ASSERT_TRUE(next->OpenFile(u"\\x", u"R", {}));
    EXPECT_EQ(ReadBytes(*next, 0, 10), test.found);
    EXPECT_EQ(device_.Exists(u"\\x.new"), !test.done) << "nothing was lost either";
    next->CloseFile();
    // What the cut has left behind neither comes in the way of the next one nor comes back.
    device_.Write(u"\\x.new", "newer");
    EXPECT_TRUE(file_->OpenFile(u"\\x.new", u"R", {}));
    EXPECT_TRUE(file_->ReplaceFile(u"x"));
    EXPECT_EQ(device_.Read(u"\\x"), "newer");
    EXPECT_TRUE(next->DeleteFile());
    EXPECT_FALSE(next->FileExists());
    EXPECT_FALSE(next->OpenFile({}, u"R", {}));
  }
}

TEST_F(cFileRAPITest, AReadOnlyFileIsReplacedAgainAndAgain) {
  device_.Write(u"\\x", "0");
  for (const char* text : {"1", "2", "3"}) {
    device_.MakeReadOnly(u"\\x");
    device_.Write(u"\\x.new", text);
    file_->SetFullFileName(u"\\x.new");
    EXPECT_TRUE(file_->ReplaceFile(u"x")) << Error();
    EXPECT_EQ(device_.Read(u"\\x"), text);
    EXPECT_FALSE(device_.Exists(u"\\x.replaced"));
  }
  // As an earlier version may have left it.
  device_.Write(u"\\x.replaced", "0");
  device_.MakeReadOnly(u"\\x.replaced");
  device_.Write(u"\\x.new", "4");
  file_->SetFullFileName(u"\\x.new");
  EXPECT_TRUE(file_->ReplaceFile(u"x")) << Error();
  EXPECT_EQ(device_.Read(u"\\x"), "4");
}

TEST_F(cFileRAPITest, OpeningForWritingFindsWhatACutReplacementLeft) {
  for (const char16_t* mode : {u"RW", u"", u"R"}) {
    device_.Write(u"\\x.replaced", "old");
    ASSERT_TRUE(file_->OpenFile(u"\\x", mode, {}));
    EXPECT_EQ(file_->FileSize(), 3);
    EXPECT_TRUE(file_->DeleteFile());
  }
  device_.Write(u"\\x.replaced", "old");
  ASSERT_TRUE(file_->OpenFile(u"\\x", u"W", {}));
  EXPECT_EQ(file_->FileSize(), 0);
  EXPECT_FALSE(device_.Exists(u"\\x.replaced")) << "it would pass for x once that is gone";
}

TEST_F(cFileRAPITest, AFailedReplacementIsTakenBack) {
  device_.Write(u"\\x", "old");
  file_->SetFullFileName(u"\\missing.new");
  EXPECT_FALSE(file_->ReplaceFile(u"x"));
  EXPECT_EQ(device_.Read(u"\\x"), "old");
  EXPECT_FALSE(device_.Exists(u"\\x.replaced"));
  device_.Reconnect("[Faults]\r\nLockedFile=\\x\r\n");
  device_.Write(u"\\x.new", "new");
  file_->SetFullFileName(u"\\x.new");
  EXPECT_FALSE(file_->ReplaceFile(u"x"));
  EXPECT_THAT(Error(), EndsWith("Unknown Error: 32 RAPI Error: 0"));
  EXPECT_EQ(device_.Read(u"\\x"), "old");
}

TEST_F(cFileRAPITest, TemporaryFilesLieInTheDevicesTempFolder) {
  ASSERT_TRUE(file_->OpenTempFile(u"RW", {}, u"abc"));
  const std::u16string name = file_->FileName();
  EXPECT_THAT(ToUtf8(name), StartsWith("abc"));
  EXPECT_EQ(file_->FilePath(), u"\\TEMP\\");
  EXPECT_TRUE(device_.Exists(u"\\Temp\\" + name));
  EXPECT_TRUE(file_->DeleteFile());
  ASSERT_TRUE(file_->OpenTempFile(u"RW", u"\\My Documents", {}));
  EXPECT_TRUE(device_.Exists(u"\\My Documents\\" + file_->FileName()));
}

TEST_F(cFileRAPITest, ThereIsNoRecycleBinAndNoIniFile) {
  device_.Write(u"\\a", "a");
  file_->SetFullFileName(u"\\a");
  EXPECT_FALSE(file_->Recycle(RecycleAction::kRecycle, false));
  EXPECT_EQ(device_.Read(u"\\a"), "a");
  EXPECT_TRUE(file_->Recycle(RecycleAction::kDelete, false));
  EXPECT_FALSE(file_->OpenFile(u"\\a", u"R", {}));

  const struct {
    const char16_t* source;
    bool reads;
    std::function<void()> call;
  } kCases[] = {{u"IniFile::ReadIni", true, [&] { file_->ReadINI(u"S", u"k", u"d"); }},
                {u"IniFile::ReadIni", true, [&] { file_->ReadINISection(u"S"); }},
                {u"IniFile::WriteIni", false, [&] { file_->WriteIni(u"S", u"k", u"v"); }},
                {u"IniFile::DeleteIni", false, [&] { file_->DeleteIni(u"S", u"k"); }},
                {u"IniFile::DeleteIniAll", false, [&] { file_->DeleteIniAll(u"S"); }}};
  for (const auto& test : kCases) {
    try {
      test.call();
      ADD_FAILURE() << ToUtf8(test.source);
    } catch (const AutomationError& error) {
      EXPECT_EQ(error.source(), test.source);
      EXPECT_EQ(error.number(), 2) << "the failure that is pending";
      EXPECT_TRUE(error.description().starts_with(file_->FullFileName()));
      EXPECT_EQ(error.description().ends_with(u" not Found"), test.reads);
    }
  }
}

TEST_F(cFileRAPITest, TheDevicesClockIsTold) {
  for (const int offset : {0, -7'200}) {
    device_.Reconnect("ClockOffset=" + std::to_string(offset) + "\r\n");
    const std::optional<Date> time = file_->DeviceTime();
    ASSERT_TRUE(time) << Error();
    EXPECT_NEAR(*time, SystemClock().Now() + offset / 86'400.0, 5.0 / 86'400);
    EXPECT_FALSE(file_->FileExists()) << "nothing is left on the device";
  }
  device_.Reconnect("[Faults]\r\nLinkLostAt=CeCreateFile\r\n");
  EXPECT_FALSE(file_->DeviceTime());
  EXPECT_THAT(Error(), HasSubstr("has been closed."));
}

TEST(cRegRAPI, ReadsTheDevicesName) {
  const struct {
    const char* ident;
    const char16_t* name;
  } kCases[] = {{"Name=Lab's Pocket\r\n", u"Lab's Pocket"},
                {"Name=\"\"\r\n", u""},
                {"Name=dword:0000002a\r\n", u"42"},
                {"Name=dword:ffffffff\r\n", u"-1"},
                {"Name=hex:01,02,03\r\n", u"Unknown"},
                {"Name=hex(1):41,00,00,00,42,00,00,00\r\n", u"A"},
                {"Name=hex(1):41,00,42,00,43,00\r\n", u"AB"},  // no NUL at its end
                {"Name=hex(1):41,00,42\r\n", u"A"},
                {"Other=x\r\n", u"Unknown"}};
  SimulatedDevice device;
  const cRegRAPI registry(device.connection);
  for (const auto& test : kCases) {
    device.Reconnect(std::string("[HKLM\\Ident]\r\n") + test.ident);
    EXPECT_EQ(ToUtf8(registry.DeviceName()), ToUtf8(test.name)) << test.ident;
  }
  device.Reconnect("[HKLM\\Other]\r\nName=x\r\n");
  EXPECT_EQ(registry.DeviceName(), u"Unknown");
  device.connection->End();
  EXPECT_EQ(registry.DeviceName(), u"Unknown");
}

TEST(RapiConnection, FailsWithTheCauseAndTriesAgain) {
  const struct {
    const char* fault;
    int yields_to_stop;
    const char* cause;
  } kCases[] = {{"error", 1'000, "refuses to start: 0x80004005"},
                {"refused", 1'000, "refuses the connection: 0x80004005"},
                {"no-answer", 1'000'000, "does not answer"},
                {"no-answer", 3, "cancelled"}};
  SimulatedDevice device;
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.cause);
    device.Configure(std::string("[Faults]\r\nConnect=") + test.fault + "\r\n");
    device.progress.yields = 0;
    device.progress.yields_to_stop = test.yields_to_stop;
    EXPECT_FALSE(device.Connect());
    EXPECT_THAT(ToUtf8(device.cause), HasSubstr(test.cause));
    EXPECT_FALSE(device.connection->IsConnected());
  }
  device.progress.yields_to_stop = 1'000'000;
  device.progress.yields = 0;
  device.Reconnect("[Link]\r\nConnectDelay=500\r\n");
  EXPECT_GT(device.progress.yields, 5) << "the window lives while the device thinks";
  EXPECT_FALSE(
      device.connection->Start(SimulatedDevice::FullLibrary(), device.progress, device.cause))
      << "connected already";
  EXPECT_TRUE(device.connection->IsConnected());
  device.connection->End();
  device.connection->End();
  EXPECT_FALSE(device.connection->IsConnected());
}

TEST(RapiConnection, EndsDuringTheWait) {
  SimulatedDevice device;
  device.Configure("[Link]\r\nConnectDelay=500\r\n");
  device.progress.on_yield = [&] { device.connection->End(); };
  EXPECT_FALSE(device.Connect());
  EXPECT_THAT(ToUtf8(device.cause), HasSubstr("has been ended"));
  EXPECT_FALSE(device.connection->IsConnected());
  device.progress.on_yield = nullptr;
  device.Reconnect("");
}

TEST(RapiConnection, ALibraryThatIsNoneIsTheCause) {
  const TempFolder folder;
  folder.Write(u"text.dll", "no library");
  const struct {
    std::u16string path;
    const char* cause;
  } kCases[] = {
      {folder.File(u"missing.dll"), "can't be loaded"},
      {folder.File(u"text.dll"), "can't be loaded"},
      {u"C:\\windows\\system32\\version.dll", "lacks the function CeRapiInitEx"},
      {u"", "system32\\rapi.dll"},  // no ActiveSync where tests run
  };
  TestProgress progress;
  for (const auto& test : kCases) {
    RapiConnection connection;
    std::u16string cause;
    EXPECT_FALSE(connection.Start(test.path, progress, cause));
    EXPECT_THAT(ToUtf8(cause), HasSubstr(test.cause));
  }
}

}  // namespace
}  // namespace pylon::testing
