#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

#include "FileTimes.h"
#include "Handles.h"
#include "Settings.h"
#include "rapi.h"

namespace pocketpc {

// The device's files: a folder of the PC, with the size of a device's disk and its clock.
//
// Paths are device paths. What a real device would refuse is thrown as DeviceError. The PC's file
// system does the sharing between open files.
class FileStore {
 public:
  // Makes the folder, and in it what every device has.
  explicit FileStore(const Settings& settings);

  uint64_t used() const noexcept { return used_; }
  uint64_t free() const noexcept {
    return settings_.disk_size > used_ ? settings_.disk_size - used_ : 0;
  }

  // The code is 0, or ERROR_ALREADY_EXISTS when an "always" found the file there.
  struct Opened {
    HANDLE handle;
    DWORD code;
  };
  Opened Create(const wchar_t* path, DWORD access, DWORD share, DWORD disposition,
                DWORD attributes);
  DWORD Read(HANDLE file, void* buffer, DWORD size);
  // Writes what fits on the disk, and says how much.
  DWORD Write(HANDLE file, const void* data, DWORD size);
  int64_t SetPointer(HANDLE file, int64_t distance, DWORD method);
  void SetEnd(HANDLE file);
  int64_t Size(HANDLE file);
  // Null: not wanted, or left as it is.
  void GetTimes(HANDLE file, FILETIME* creation, FILETIME* access, FILETIME* write);
  void SetTimes(HANDLE file, const FILETIME* creation, const FILETIME* access,
                const FILETIME* write);
  void Close(HANDLE file) { files_.Remove(file); }

  void Delete(const wchar_t* path);
  void Move(const wchar_t* from, const wchar_t* to);
  void Copy(const wchar_t* from, const wchar_t* to, bool fail_if_exists);
  void CreateFolder(const wchar_t* path);
  DWORD Attributes(const wchar_t* path) const;
  void SetAttributes(const wchar_t* path, DWORD attributes);

  // Finds what matched at this time, in the order of the names.
  HANDLE FindFirst(const wchar_t* pattern, CE_FIND_DATA& found);
  void FindNext(HANDLE find, CE_FIND_DATA& found);
  void CloseFind(HANDLE find) { finds_.Remove(find); }

  void CloseAll() noexcept;

 private:
  struct OpenFile {
    OwnedHandle handle;
    std::wstring path;
  };
  struct Find {
    std::vector<CE_FIND_DATA> found;
    size_t next = 0;
  };

  void Grow(int64_t bytes) noexcept;
  std::wstring HostPath(const std::wstring& path) const;
  void CheckNotLocked(const std::wstring& path) const;
  bool IsUnreadable(const std::wstring& path) const;
  CE_FIND_DATA FindData(const WIN32_FIND_DATAW& entry, const std::wstring& path) const;
  FILETIME ToDevice(const FILETIME& time) const noexcept;
  FILETIME ToHost(const FILETIME& time) const noexcept;

  const Settings& settings_;
  std::wstring root_;  // verbatim path of the PC
  FileTimes times_;
  uint64_t used_ = 0;
  HandleTable<OpenFile> files_;
  HandleTable<Find> finds_;
};

}  // namespace pocketpc
