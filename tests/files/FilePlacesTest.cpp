// The PC's own disks and a handheld, as places for the tests that all files have in common.

#include "files/cFileIO.h"
#include "files/cFileRAPI.h"
#include "tests/files/CursorFileTest.h"
#include "tests/files/SimulatedDevice.h"
#include "tests/files/TempFolder.h"

namespace pylon::testing {
namespace {

class LocalPlace final : public FilePlace {
 public:
  std::unique_ptr<CursorFile> NewFile() override {
    return std::make_unique<cFileIO>(folder_.path(), AnsiCodePage::Windows1252());
  }
  std::u16string folder() const override { return folder_.path(); }
  bool Exists(std::u16string_view name) override { return folder_.Exists(name); }
  std::string Read(std::u16string_view name) override { return folder_.Read(name); }
  void Write(std::u16string_view name, std::string_view bytes) override {
    folder_.Write(name, bytes);
  }
  void Delete(std::u16string_view name) override { ::DeleteFileW(Wide(folder_.File(name))); }
  Date Now() override { return SystemClock().Now(); }

 private:
  TempFolder folder_;
};

class DevicePlace final : public FilePlace {
 public:
  DevicePlace() {
    device_.Reconnect("ClockOffset=86400\r\n");
    device_.MakeFolder(folder());
  }
  std::unique_ptr<CursorFile> NewFile() override {
    return std::make_unique<cFileRAPI>(device_.connection, AnsiCodePage::Windows1252());
  }
  std::u16string folder() const override { return u"\\Test"; }
  bool Exists(std::u16string_view name) override { return device_.Exists(File(name)); }
  std::string Read(std::u16string_view name) override { return device_.Read(File(name)); }
  void Write(std::u16string_view name, std::string_view bytes) override {
    device_.Write(File(name), bytes);
  }
  void Delete(std::u16string_view name) override { device_.Delete(File(name)); }
  Date Now() override { return SystemClock().Now() + 1; }
  bool empties_at_open() const override { return true; }

 private:
  SimulatedDevice device_;
};

INSTANTIATE_TEST_SUITE_P(
    Windows, CursorFileTest,
    ::testing::Values(PlaceKind{"Local", [] { return std::make_unique<LocalPlace>(); }},
                      PlaceKind{"Device", [] { return std::make_unique<DevicePlace>(); }}),
    PlaceName);

}  // namespace
}  // namespace pylon::testing
