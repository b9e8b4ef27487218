#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <thread>

#include "base/Text.h"
#include "base/Win32.h"
#include "tests/support/FileText.h"

namespace pylon::testing {

// A folder of its own on the real disk, gone with everything in it at the end. Works by plain
// Windows calls, so that it can judge the classes under test.
class TempFolder {
 public:
  TempFolder() {
    wchar_t temp[MAX_PATH + 1];
    wchar_t name[MAX_PATH + 1];
    ::GetTempPathW(MAX_PATH, temp);
    ::GetTempFileNameW(temp, L"tst", 0, name);
    ::DeleteFileW(name);
    ::CreateDirectoryW(name, nullptr);
    path_ = FromWide(name);
  }
  ~TempFolder() { Remove(path_); }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::u16string& path() const { return path_; }
  std::u16string File(std::u16string_view name) const {
    return path_ + u"\\" + std::u16string(name);
  }
  bool Exists(std::u16string_view name) const {
    return ::GetFileAttributesW(Wide(File(name))) != INVALID_FILE_ATTRIBUTES;
  }
  void Write(std::u16string_view name, std::string_view bytes) const {
    const FileHandle file(::CreateFileW(Wide(File(name)), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(file);
    DWORD written = 0;
    ::WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    ASSERT_EQ(written, bytes.size());
  }
  std::string Read(std::u16string_view name) const {
    const FileHandle file(::CreateFileW(Wide(File(name)), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return "no such file";
    std::string bytes(::GetFileSize(file.get(), nullptr), '\0');
    DWORD read = 0;
    ::ReadFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr);
    return bytes;
  }
  // Names of the folder's entries, one blank behind each.
  std::u16string List() const {
    std::u16string names;
    ForEach(path_,
            [&](const WIN32_FIND_DATAW& found) { names += FromWide(found.cFileName) + u" "; });
    return names;
  }

 private:
  template <class Function>
  static void ForEach(const std::u16string& folder, Function function) {
    WIN32_FIND_DATAW found;
    const HANDLE search = ::FindFirstFileW(Wide(folder + u"\\*"), &found);
    if (search == INVALID_HANDLE_VALUE) return;
    do {
      const std::wstring_view name = found.cFileName;
      if (name != L"." && name != L"..") function(found);
    } while (::FindNextFileW(search, &found));
    ::FindClose(search);
  }
  static void Remove(const std::u16string& folder) {
    ForEach(folder, [&](const WIN32_FIND_DATAW& found) {
      const std::u16string path = folder + u"\\" + FromWide(found.cFileName);
      if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
        Remove(path);
      } else {
        ::SetFileAttributesW(Wide(path), FILE_ATTRIBUTE_NORMAL);
        ::DeleteFileW(Wide(path));
      }
    });
    ::RemoveDirectoryW(Wide(folder));
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
