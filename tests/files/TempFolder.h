#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <thread>

#include "base/Text.h"
#include "base/Win32.h"
#include "tests/support/FileText.h"

namespace pylon::testing {

// A folder of its own on the real disk, gone with everything in it at the end. Past the classes
// under test, so that it can judge them.
class TempFolder {
 public:
  TempFolder() {
    wchar_t temp[MAX_PATH + 1];
    wchar_t name[MAX_PATH + 1];
    ::GetTempPathW(MAX_PATH, temp);
    ::GetTempFileNameW(temp, L"tst", 0, name);
    ::DeleteFileW(name);
    std::filesystem::create_directory(name);
    path_ = FromWide(name);
  }
  ~TempFolder() {
    std::error_code ignored;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(PathOf({}), ignored)) {
      std::filesystem::permissions(entry, std::filesystem::perms::all, ignored);
    }
    std::filesystem::remove_all(PathOf({}), ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::u16string& path() const { return path_; }
  std::u16string File(std::u16string_view name) const {
    return path_ + u"\\" + std::u16string(name);
  }
  bool Exists(std::u16string_view name) const { return std::filesystem::exists(PathOf(name)); }
  void Write(std::u16string_view name, std::string_view bytes) const {
    std::ofstream file(PathOf(name), std::ios::binary);
    ASSERT_TRUE(file.write(bytes.data(), static_cast<std::streamsize>(bytes.size())).flush());
  }
  std::string Read(std::u16string_view name) const {
    std::ifstream file(PathOf(name), std::ios::binary);
    if (!file) return "no such file";
    return {std::istreambuf_iterator<char>(file), {}};
  }
  // Names of the folder's entries, one blank behind each.
  std::u16string List() const {
    std::u16string names;
    for (const auto& entry : std::filesystem::directory_iterator(PathOf({}))) {
      names += FromWide(entry.path().filename().c_str()) + u" ";
    }
    return names;
  }

 private:
  std::filesystem::path PathOf(std::u16string_view name) const {
    return std::filesystem::path(static_cast<const wchar_t*>(Wide(File(name))));
  }

  std::u16string path_;
};

// Keeps a file open without sharing, as another program would, until it ends or for a time.
class Holder {
 public:
  explicit Holder(const std::u16string& path)
      : file_(::CreateFileW(Wide(path), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                            FILE_ATTRIBUTE_NORMAL, nullptr)) {
    EXPECT_TRUE(file_);
  }
  ~Holder() {
    if (thread_.joinable()) thread_.join();
  }
  void ReleaseIn(DWORD milliseconds) {
    thread_ = std::thread([this, milliseconds] {
      ::Sleep(milliseconds);
      file_.Reset();
    });
  }

 private:
  FileHandle file_;
  std::thread thread_;
};

}  // namespace pylon::testing
