#include "conduits/SettingsStore.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "base/LogSink.h"
#include "base/Text.h"
#include "conduits/CConduitInfo.h"
#include "conduits/CDevice.h"
#include "conduits/IniStoreFile.h"
#include "tests/files/TempFolder.h"
#include "tests/support/Errors.h"

namespace pylon {
namespace {

using namespace std::string_literals;
using testing::ErrorOf;
using testing::Holder;
using testing::TempFolder;

StoreFileFactory Files() { return IniStoreFiles(AnsiCodePage::Windows1252()); }

class FakeClock final : public Clock {
 public:
  Date Now() const override { return now; }
  Date now = ToDate({2024, 2, 29, 13, 30, 0});
};

class Lines final : public LogSink {
 public:
  void UpdateLog(std::u16string_view line) noexcept override { lines.emplace_back(line); }

  std::vector<std::u16string> lines;
};

class StoreTest : public ::testing::Test {
 protected:
  std::unique_ptr<CDevice> Device(std::u16string_view name) {
    auto device = std::make_unique<CDevice>(Files(), clock, log);
    device->SetDeviceName(name);
    device->SetAppId(u"App");
    device->SetFolder(folder.File(u"App"));
    return device;
  }
  std::unique_ptr<CConduitInfo> Info() {
    auto info = std::make_unique<CConduitInfo>(Files(), log);
    info->SetAppId(u"App");
    info->SetAppFolder(folder.File(u"App"));
    return info;
  }

  TempFolder folder;
  FakeClock clock;
  std::shared_ptr<Lines> log = std::make_shared<Lines>();
};

TEST_F(StoreTest, DevicesKeepTheirOwnAndShareTheApplications) {
  const auto desk = Device(u"Desk");
  const auto travel = Device(u"Travel");
  EXPECT_EQ(Info()->SyncDateTime(), 0);
  EXPECT_EQ(Info()->GetSettings(u"View", u"Sort", u""), u"");
  EXPECT_EQ(desk->GetSettings(u"View", u"Sort", u"none"), u"none");
  EXPECT_EQ(folder.List(), u"") << "asking makes no file";
  desk->SaveSettings(u"View", u"Sort", u"name");
  EXPECT_EQ(travel->GetSettings(u"View", u"Sort", u"none"), u"none");
  travel->SaveSettings(u"View", u"Sort", u"date");
  EXPECT_TRUE(desk->SetSyncDateTime(clock.now));
  const auto info = Info();
  EXPECT_TRUE(info->SetSyncDateTime(clock.now + 1));
  info->SaveSettings(u"View", u"Sort", u"size");

  EXPECT_EQ(Device(u"Desk")->GetSettings(u"view", u"SORT", u""), u"name");
  EXPECT_EQ(Device(u"Desk")->SyncDateTime(), clock.now);
  EXPECT_EQ(travel->GetSettings(u"View", u"Sort", u""), u"date");
  EXPECT_EQ(travel->SyncDateTime(), 0);
  EXPECT_EQ(Info()->SyncDateTime(), clock.now + 1);
  EXPECT_EQ(Info()->GetSettings(u"View", u"Sort", u""), u"size");
  for (const char16_t* file :
       {u"App\\Desk\\DeviceStore.ini", u"App\\Travel\\DeviceStore.ini", u"App\\AppStore.ini"}) {
    EXPECT_TRUE(folder.Exists(file));
  }
}

TEST_F(StoreTest, DeviceNamesBecomeFolders) {
  const char16_t* const names[] = {u"<unknown>", u"..\\..\\a/b", u"", u"\u65E5\u672C"};
  for (const std::u16string name : names) Device(name)->SaveSettings(u"S", u"K", name + u"!");
  EXPECT_EQ(folder.List(), u"App ");
  for (const std::u16string name : names) {
    EXPECT_EQ(Device(name)->GetSettings(u"S", u"K", u""), name + u"!");
  }
}

TEST_F(StoreTest, RefusesWhatAnIniFileCantHold) {
  const auto info = Info();
  info->SaveSettings(u"S", u"K", u"kept");
  const std::u16string kCases[][3] = {
      {u"", u"K", u"V"},        {u"S]", u"K", u"V"},     {u"S\n", u"K", u"V"},
      {u"S", u"", u"V"},        {u"S", u"K=2", u"V"},    {u"S", u"[K", u"V"},
      {u"S", u";K", u"V"},      {u"S", u"K\0x"s, u"V"},  {u"S", u"K", u"1\r\n[Evil]"},
      {u"S", u"K", u"1\nK2=3"}, {u"S", u"K", u"1\0002"s}};
  for (const auto& [section, key, value] : kCases) {
    EXPECT_EQ(ErrorOf([&] { info->SaveSettings(section, key, value); }), 5);
    EXPECT_EQ(info->GetSettings(u"S", u"K", u""), u"kept") << ToUtf8(section + key + value);
  }
  EXPECT_EQ(info->GetSettings(u"S", u"K\0x"s, u"default"), u"default");
}

TEST_F(StoreTest, ValuesReadBackAsSaved) {
  const auto info = Info();
  for (const char16_t* value : {u"plain", u"", u"a=b;c", u"\"quoted\"", u"'quoted'", u"\"",
                                u"Caf\u00E9", u"\u65E5\u672C\U0001F600", u"[x]"}) {
    info->SaveSettings(u"S", u"K", value);
    EXPECT_EQ(Info()->GetSettings(u"S", u"K", u"missing"), value);
  }
  info->SaveSettings(u"S", u"Long", std::u16string(5000, u'x'));
  EXPECT_EQ(info->GetSettings(u"S", u"Long", u"").size(), 5000u);
}

TEST_F(StoreTest, SyncTimesAreTextOfNoLocale) {
  const auto info = Info();
  ASSERT_TRUE(info->SetSyncDateTime(ToDate({2024, 2, 29, 13, 30, 5})));
  EXPECT_EQ(info->GetSettings(u"Pylon", u"Sync", u""), u"2024-02-29 13:30:05");

  for (const char16_t* text : {u"0", u"", u"29.02.2024", u"soon", u"2024-02-30 00:00:00"}) {
    info->SaveSettings(u"Pylon", u"Sync", text);
    EXPECT_EQ(info->SyncDateTime(), 0);
  }
}

TEST_F(StoreTest, AFailedWriteOfTheSyncTimeIsReported) {
  const auto info = Info();
  for (const Date date : {1e9, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_FALSE(info->SetSyncDateTime(date));
  }
  CConduitInfo nowhere(Files());
  EXPECT_FALSE(nowhere.SetSyncDateTime(clock.now));
  EXPECT_EQ(nowhere.SyncDateTime(), 0);

  // A file has the name of the folder.
  folder.Write(u"App", "");
  EXPECT_FALSE(info->SetSyncDateTime(clock.now));
  EXPECT_FALSE(Device(u"Desk")->SetSyncDateTime(clock.now));
  info->SaveSettings(u"S", u"K", u"lost");
  EXPECT_EQ(info->GetSettings(u"S", u"K", u"default"), u"default");
}

TEST_F(StoreTest, TheLogNamesWhatCouldNotBeSaved) {
  Info()->SaveSettings(u"S", u"K", u"v");
  EXPECT_TRUE(log->lines.empty());

  Holder holder(folder.File(u"App\\AppStore.ini"));
  Info()->SaveSettings(u"S", u"K", u"lost");
  ASSERT_EQ(log->lines.size(), 1u);
  EXPECT_TRUE(log->lines[0].starts_with(u"The setting 'K' of section 'S' could not be saved: "));
  EXPECT_TRUE(log->lines[0].ends_with(u" (32)")) << "the system's reason";
  EXPECT_FALSE(Info()->SetSyncDateTime(clock.now));
  EXPECT_EQ(log->lines.size(), 2u);

  CDevice nowhere(Files(), clock, log);
  nowhere.SaveSettings(u"S", u"K", u"lost");
  EXPECT_EQ(log->lines.size(), 3u);

  holder.ReleaseIn(100);  // which is waited for
  const auto waiting = Info();
  EXPECT_TRUE(waiting->SetSyncDateTime(clock.now));
  EXPECT_EQ(waiting->GetSettings(u"S", u"K", u""), u"v");
}

TEST_F(StoreTest, TheDeviceClockRunsOn) {
  const auto device = Device(u"Desk");
  const Date on_device = ToDate({2001, 1, 1, 23, 59, 55});
  device->SetDeviceDateTime(on_device);
  EXPECT_EQ(device->DeviceDateTime(), on_device);
  clock.now += 10.0 / 86400;
  EXPECT_EQ(FormatDate(device->DeviceDateTime()), u"2001-01-02 00:00:05");
  device->SetDeviceDateTime(on_device);
  EXPECT_EQ(FormatDate(device->DeviceDateTime()), u"2001-01-01 23:59:55");
}

}  // namespace
}  // namespace pylon
