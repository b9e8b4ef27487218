#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "base/AnsiCodePage.h"
#include "base/Win32.h"
#include "files/cFileIO.h"
#include "pdb/PDBByteStream.h"
#include "pdb/PDBDatabasePC.h"
#include "tests/automation/Processes.h"

namespace pylon::testing {

// A sample's database as the handheld sees it. Open when the file is there.
class SampleDatabase {
 public:
  explicit SampleDatabase(const std::filesystem::path& path)
      : database_(std::make_unique<cFileIO>(path.parent_path().u16string(), Page()), Page(), clock_,
                  nullptr) {
    database_.SetDatabaseFor(dftWindows);
    database_.SetPDBFilePath(path.u16string());
    EXPECT_TRUE(!std::filesystem::exists(path) || database_.OpenDatabase());
  }
  void Close() { database_.CloseDatabase(); }

 protected:
  static const AnsiCodePage& Page() { return AnsiCodePage::Windows1252(); }

 private:
  SystemClock clock_;

 protected:
  PDBDatabasePC database_;
};

// Runs of Pylon.exe with one of the sample conduits, each in a new folder: the program beside a
// Pylon.ini that knows the sample, and the folder "data" for what it syncs.
template <const char* kName>
class SampleRun : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { Call("DllRegisterServer"); }
  static void TearDownTestSuite() { Call("DllUnregisterServer"); }

  void SetUp() override {
    std::filesystem::copy_file("Pylon.exe", home() / "Pylon.exe");
    std::filesystem::create_directories(data());
    std::ofstream(home() / "Pylon.ini")
        << "[" << kName << "]\nClassID=" << kName << ".Conduit\nPCPath=data\n";
  }

  const std::filesystem::path& home() const { return temporary_.path(); }
  std::filesystem::path data() const { return home() / "data"; }

  Process Start() const { return Process(CommandLine()); }
  void Sync() const { ASSERT_EQ(Start().Wait().value_or(99), 0U) << Log(); }
  std::string Log() const {
    const std::string name = std::string(kName) + ".log";  // in the folder of the device
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home())) {
      if (entry.path().filename() == name) return ReadFile(entry.path());
    }
    return {};
  }

  // What a sync writes, byte for byte and with the times; Pylon keeps its own date of the sync in
  // INI files.
  using Contents = std::map<std::filesystem::path, std::pair<std::string, uint64_t>>;
  Contents Snapshot() const {
    Contents files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(data())) {
      if (!entry.is_regular_file() || entry.path().extension() == ".ini") continue;
      WIN32_FILE_ATTRIBUTE_DATA found = {};  // finer than last_write_time
      ::GetFileAttributesExW(entry.path().c_str(), GetFileExInfoStandard, &found);
      const uint64_t high = found.ftLastWriteTime.dwHighDateTime;
      files[entry.path()] = {ReadFile(entry.path()),
                             high << 32 | found.ftLastWriteTime.dwLowDateTime};
    }
    return files;
  }
  // The names of what was written between two snapshots.
  static std::set<std::string> Written(const Contents& before, const Contents& after) {
    std::set<std::string> names;
    for (const auto& [path, file] : after) {
      const auto old = before.find(path);
      if (old == before.end() || old->second != file) names.insert(path.filename().string());
    }
    for (const auto& [path, file] : before) {
      if (!after.contains(path)) names.insert(path.filename().string());
    }
    return names;
  }

 private:
  std::u16string CommandLine() const {
    return Quoted(home() / "Pylon.exe") + u" -AppId " + Name() + u" -Database 4";
  }
  static std::u16string Name() {
    const std::string name = kName;
    return {name.begin(), name.end()};
  }
  static void Call(const char* function) {
    const HMODULE library = ::LoadLibraryW(Wide(Name() + u".dll"));
    ASSERT_NE(library, nullptr);
    const auto call = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(
        reinterpret_cast<void*>(::GetProcAddress(library, function)));
    EXPECT_EQ(call(), S_OK);
    ::FreeLibrary(library);
  }

  TemporaryFolder temporary_;
};

}  // namespace pylon::testing
