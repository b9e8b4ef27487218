#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "base/Com.h"
#include "tests/automation/Processes.h"

namespace pylon::testing {

inline std::filesystem::path Program() { return std::filesystem::absolute("Pylon.exe"); }

inline constexpr wchar_t kLibraryKey[] =
    L"Software\\Classes\\TypeLib\\{b68ac2a1-6b80-4982-9ca3-c1fd9b2a8e6f}";

inline DWORD RunProgram(const std::u16string& arguments) {
  Process process(Quoted(Program()) + u" " + arguments);
  return process.Wait().value_or(99);
}

template <class T>
com::Ptr<T> CreateOutside(REFCLSID id) {
  com::Ptr<T> object;
  com::Check(::CoCreateInstance(id, nullptr, CLSCTX_LOCAL_SERVER, __uuidof(T),
                                reinterpret_cast<void**>(object.Receive())));
  return object;
}

// Pylon.exe registered as COM's server, and a folder for what a test makes.
class ServerTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_HRESULT_SUCCEEDED(::OleInitialize(nullptr));
    // A run that was killed may have left the registration of a program that is gone.
    (void)::RegDeleteTreeW(HKEY_LOCAL_MACHINE, kLibraryKey);
    ASSERT_EQ(RunProgram(u"/regserver"), 0U);
  }
  static void TearDownTestSuite() { ::OleUninitialize(); }

  const TemporaryFolder& folder() const { return folder_; }
  std::string RunScript(const char* name, const std::string& text) {
    const auto script = folder_.path() / name;
    std::ofstream(script, std::ios::binary) << text;
    const auto output = folder_.path() / "output.txt";
    Process process(u"cscript.exe //nologo " + Quoted(script) + u" " + Quoted(folder_.path()), {},
                    output);
    EXPECT_TRUE(process.Wait().has_value());
    return testing::ReadFile(output);
  }

 private:
  TemporaryFolder folder_;
};

}  // namespace pylon::testing
