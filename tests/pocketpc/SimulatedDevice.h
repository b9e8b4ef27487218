#pragma once

// The simulated Pocket PC as a program sees it: rapi.dll, loaded, with its settings and the
// device's folder in a folder of the test's own.

#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "simulators/pocketpc/rapi.h"

namespace pocketpc::testing {

inline std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

inline void WriteFile(const std::filesystem::path& path, std::string_view text) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

inline std::string Hex(HRESULT result) {
  char text[16];
  std::snprintf(text, sizeof text, "%08lX", static_cast<unsigned long>(result));
  return text;
}

// Each function's address under the name that the DLL exports it by.
struct Rapi {
  explicit Rapi(HMODULE module) : module_(module) {}

#define POCKETPC_FUNCTION(name) decltype(&::name) name = Find<decltype(&::name)>(#name)
  HMODULE module_;
  POCKETPC_FUNCTION(CeRapiInitEx);
  POCKETPC_FUNCTION(CeRapiUninit);
  POCKETPC_FUNCTION(CeRapiGetError);
  POCKETPC_FUNCTION(CeGetLastError);
  POCKETPC_FUNCTION(CeCreateFile);
  POCKETPC_FUNCTION(CeReadFile);
  POCKETPC_FUNCTION(CeWriteFile);
  POCKETPC_FUNCTION(CeSetFilePointer);
  POCKETPC_FUNCTION(CeSetEndOfFile);
  POCKETPC_FUNCTION(CeGetFileSize);
  POCKETPC_FUNCTION(CeGetFileTime);
  POCKETPC_FUNCTION(CeSetFileTime);
  POCKETPC_FUNCTION(CeCloseHandle);
  POCKETPC_FUNCTION(CeDeleteFile);
  POCKETPC_FUNCTION(CeMoveFile);
  POCKETPC_FUNCTION(CeCopyFile);
  POCKETPC_FUNCTION(CeCreateDirectory);
  POCKETPC_FUNCTION(CeGetFileAttributes);
  POCKETPC_FUNCTION(CeSetFileAttributes);
  POCKETPC_FUNCTION(CeFindFirstFile);
  POCKETPC_FUNCTION(CeFindNextFile);
  POCKETPC_FUNCTION(CeFindClose);
  POCKETPC_FUNCTION(CeGetTempPath);
  POCKETPC_FUNCTION(CeGetStoreInformation);
  POCKETPC_FUNCTION(CeRegOpenKeyEx);
  POCKETPC_FUNCTION(CeRegQueryValueEx);
  POCKETPC_FUNCTION(CeRegCloseKey);
#undef POCKETPC_FUNCTION

 private:
  template <class Function>
  Function Find(const char* name) const {
    const auto function = reinterpret_cast<Function>(::GetProcAddress(module_, name));
    EXPECT_TRUE(function) << name;
    return function;
  }
};

class SimulatedDevice : public ::testing::Test {
 protected:
  SimulatedDevice()
      : module_(::LoadLibraryW(std::filesystem::absolute("simulators/pocketpc/rapi.dll").c_str())),
        rapi(module_) {
    wchar_t name[MAX_PATH + 1];
    ::GetTempFileNameW(std::filesystem::temp_directory_path().c_str(), L"ppc", 0, name);
    std::filesystem::remove(name);
    home_ = name;
    std::filesystem::create_directory(home_);
    UseSettings(home_ / "test.ini");
  }
  ~SimulatedDevice() override {
    rapi.CeRapiUninit();
    EXPECT_TRUE(::FreeLibrary(module_));
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home_)) {
      ::SetFileAttributesW(entry.path().c_str(), FILE_ATTRIBUTE_NORMAL);
    }
    std::filesystem::remove_all(home_);
  }

  static void UseSettings(const std::filesystem::path& ini) {
    ::SetEnvironmentVariableW(L"PYLON_SIMULATED_POCKETPC", ini.c_str());
  }
  void WriteSettings(std::string_view text) const { WriteFile(home_ / "test.ini", text); }

  // Calls CeRapiInitEx with these settings and waits for the answer.
  void Connect(std::string_view settings = "") {
    WriteSettings(settings);
    init_ = {sizeof init_, nullptr, S_OK};
    ASSERT_EQ(rapi.CeRapiInitEx(&init_), S_OK) << LogText();
    ASSERT_EQ(::WaitForSingleObject(init_.heRapiInit, 10'000), WAIT_OBJECT_0);
    ASSERT_EQ(init_.hrRapiInit, S_OK);
  }
  void Reconnect(std::string_view settings = "") {
    rapi.CeRapiUninit();
    Connect(settings);
  }

  // "ok", or why the last call failed, as a program finds out.
  std::string Outcome(bool succeeded) const {
    if (succeeded) return "ok";
    const HRESULT link = rapi.CeRapiGetError();
    if (FAILED(link)) return "rapi " + Hex(link);
    return std::to_string(rapi.CeGetLastError());
  }

  HANDLE Open(const wchar_t* path, DWORD access = GENERIC_READ | GENERIC_WRITE,
              DWORD disposition = OPEN_ALWAYS, DWORD share = 0) const {
    return rapi.CeCreateFile(path, access, share, nullptr, disposition, FILE_ATTRIBUTE_NORMAL,
                             nullptr);
  }
  // Whether the file opens; it is closed again.
  std::string TryOpen(const wchar_t* path, DWORD access, DWORD disposition) const {
    const HANDLE file = Open(path, access, disposition);
    const std::string outcome = Outcome(file != INVALID_HANDLE_VALUE);
    if (file != INVALID_HANDLE_VALUE) {
      EXPECT_TRUE(rapi.CeCloseHandle(file));
    }
    return outcome;
  }
  // The outcome and the number of bytes, "112 after 5".
  std::string Write(HANDLE file, std::string_view text) const {
    DWORD written = 12345;
    const bool succeeded = rapi.CeWriteFile(file, text.data(), static_cast<DWORD>(text.size()),
                                            &written, nullptr) != FALSE;
    return Outcome(succeeded) + " after " + std::to_string(written);
  }
  // The outcome, or what was read in brackets.
  std::string Read(HANDLE file, DWORD size) const {
    std::string text(size, '?');
    DWORD read = 12345;
    if (!rapi.CeReadFile(file, text.data(), size, &read, nullptr)) return Outcome(false);
    return "[" + text.substr(0, read) + "]";
  }

  std::filesystem::path OnPc(std::string_view path) const { return home_ / "device" / path; }
  std::string LogText() const { return ReadFile(home_ / "rapi.log"); }

  std::filesystem::path home_;  // holds the INI file, the log and the folder "device"
  HMODULE module_;
  const Rapi rapi;
  RAPIINIT init_ = {};
};

}  // namespace pocketpc::testing
