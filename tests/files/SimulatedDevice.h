#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/Text.h"
#include "files/RapiConnection.h"
#include "tests/files/TempFolder.h"
#include "tests/files/TestProgress.h"

namespace pylon::testing {

// The simulated device of the build tree, in a folder of the test's own: "device" in it is the
// device's root.
class SimulatedDevice {
 public:
  static constexpr char16_t kLibrary[] = u"simulators\\pocketpc\\rapi.dll";

  SimulatedDevice() { Configure(""); }
  ~SimulatedDevice() {
    connection->End();
    ::SetEnvironmentVariableW(kVariable, nullptr);
  }

  // The settings of the next connection; keys of [Device] come first.
  void Configure(std::string_view settings) {
    const bool sized = settings.find("DiskSize") != std::string_view::npos;
    folder_.Write(u"rapi.ini", std::string("[Device]\r\n") +
                                   (sized ? "" : "DiskSize=200000000\r\n") + std::string(settings));
    ::SetEnvironmentVariableW(kVariable, Wide(folder_.File(u"rapi.ini")));
  }
  bool Connect() {
    connection->End();
    cause.clear();
    return connection->Start(FullLibrary(), progress, cause);
  }
  void Reconnect(std::string_view settings) {
    Configure(settings);
    ASSERT_TRUE(Connect()) << ToUtf8(cause);
  }

  // On the PC's side, past the simulator.
  std::u16string Name(std::u16string_view device_path) const {
    return u"device" + std::u16string(device_path);
  }
  bool Exists(std::u16string_view path) const { return folder_.Exists(Name(path)); }
  std::string Read(std::u16string_view path) const { return folder_.Read(Name(path)); }
  void Write(std::u16string_view path, std::string_view bytes) { folder_.Write(Name(path), bytes); }
  void Delete(std::u16string_view path) { ::DeleteFileW(Wide(folder_.File(Name(path)))); }
  void MakeReadOnly(std::u16string_view path) {
    ::SetFileAttributesW(Wide(folder_.File(Name(path))), FILE_ATTRIBUTE_READONLY);
  }
  void MakeFolder(std::u16string_view path) {
    ::CreateDirectoryW(Wide(folder_.File(Name(path))), nullptr);
  }

  // The device calls since the last Reconnect, error questions left out: names only.
  std::vector<std::string> Calls() const {
    std::vector<std::string> calls;
    // The simulator has it open.
    std::ifstream log(std::filesystem::path(folder_.File(u"rapi.log")));
    for (std::string line; std::getline(log, line);) {
      const std::string name = line.substr(0, line.find(' '));
      if (name == "note:" || name == "CeRapiInitEx") {
        calls.clear();
      } else if (name != "CeRapiGetError" && name != "CeGetLastError") {
        calls.push_back(name);
      }
    }
    return calls;
  }

  static std::u16string FullLibrary() {
    wchar_t path[MAX_PATH];
    ::GetFullPathNameW(Wide(std::u16string(kLibrary)), MAX_PATH, path, nullptr);
    return FromWide(path);
  }

  std::shared_ptr<RapiConnection> connection = std::make_shared<RapiConnection>();
  TestProgress progress;
  std::u16string cause;

 private:
  static constexpr wchar_t kVariable[] = L"PYLON_SIMULATED_POCKETPC";

  TempFolder folder_;
};

}  // namespace pylon::testing
