#include "files/WindowsFile.h"

#include <algorithm>

#include "base/SystemMessage.h"

namespace pylon::win {
namespace {

// One call moves no more: redirectors refuse buffers of many megabytes.
constexpr size_t kLargestTransfer = 16 << 20;

}  // namespace

DWORD LastError() noexcept {
  const DWORD error = ::GetLastError();
  return error == ERROR_SUCCESS ? DWORD{ERROR_GEN_FAILURE} : error;
}

std::u16string DescribeError(DWORD error) {
  std::u16string description = SystemMessage(error);
  if (description.empty()) return u"Unknown error";
  while (description.ends_with(u'.')) description.pop_back();
  return description;
}

DWORD ReadWhole(HANDLE file, std::span<std::byte> bytes, size_t& moved) noexcept {
  moved = 0;
  while (moved < bytes.size()) {
    const auto count = static_cast<DWORD>(std::min(bytes.size() - moved, kLargestTransfer));
    DWORD read = 0;
    if (!::ReadFile(file, bytes.data() + moved, count, &read, nullptr)) return LastError();
    if (read == 0) break;
    moved += read;
  }
  return ERROR_SUCCESS;
}

DWORD WriteWhole(HANDLE file, ByteSpan bytes, size_t& moved) noexcept {
  moved = 0;
  while (moved < bytes.size()) {
    const auto count = static_cast<DWORD>(std::min(bytes.size() - moved, kLargestTransfer));
    DWORD written = 0;
    if (!::WriteFile(file, bytes.data() + moved, count, &written, nullptr)) return LastError();
    if (written == 0) return ERROR_DISK_FULL;
    moved += written;
  }
  return ERROR_SUCCESS;
}

bool IsFile(const std::u16string& path) noexcept {
  const DWORD attributes = ::GetFileAttributesW(Wide(path));
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

uint64_t WriteTime(const std::u16string& path) noexcept {
  WIN32_FILE_ATTRIBUTE_DATA data = {};
  if (!::GetFileAttributesExW(Wide(path), GetFileExInfoStandard, &data)) return 0;
  return uint64_t{data.ftLastWriteTime.dwHighDateTime} << 32 | data.ftLastWriteTime.dwLowDateTime;
}

std::u16string FullPath(const std::u16string& name) {
  const DWORD size = ::GetFullPathNameW(Wide(name), 0, nullptr, nullptr);
  std::wstring path(size, L'\0');
  const DWORD length = ::GetFullPathNameW(Wide(name), size, path.data(), nullptr);
  if (length == 0 || length >= size) return name;
  return FromWide({path.data(), length});
}

bool EqualPaths(const std::u16string& a, const std::u16string& b) noexcept {
  return ::CompareStringOrdinal(Wide(a), -1, Wide(b), -1, TRUE) == CSTR_EQUAL;
}

DWORD CreateTempFile(const std::u16string& prefix, std::u16string& path) {
  std::wstring folder(MAX_PATH + 1, L'\0');
  DWORD size = ::GetEnvironmentVariableW(L"TEMP", folder.data(), static_cast<DWORD>(folder.size()));
  if (size >= folder.size()) {
    folder.resize(size);
    size = ::GetEnvironmentVariableW(L"TEMP", folder.data(), static_cast<DWORD>(folder.size()));
  }
  if (size == 0) size = ::GetTempPathW(static_cast<DWORD>(folder.size()), folder.data());
  folder.resize(std::min<size_t>(size, folder.size()));

  std::wstring name(folder.size() + 256, L'\0');
  if (::GetTempFileNameW(folder.c_str(), Wide(prefix), 0, name.data()) == 0) return LastError();
  path = FromWide(name.c_str());
  return ERROR_SUCCESS;
}

bool ToLocal(const FILETIME& universal, DateParts& local) noexcept {
  FILETIME file_time;
  SYSTEMTIME time;
  if (!::FileTimeToLocalFileTime(&universal, &file_time) ||
      !::FileTimeToSystemTime(&file_time, &time)) {
    return false;
  }
  local = {time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute, time.wSecond};
  return true;
}

bool ToUniversal(const DateParts& local, FILETIME& universal) noexcept {
  SYSTEMTIME time = {};
  time.wYear = static_cast<WORD>(local.year);
  time.wMonth = static_cast<WORD>(local.month);
  time.wDay = static_cast<WORD>(local.day);
  time.wHour = static_cast<WORD>(local.hour);
  time.wMinute = static_cast<WORD>(local.minute);
  time.wSecond = static_cast<WORD>(local.second);
  FILETIME file_time;
  return ::SystemTimeToFileTime(&time, &file_time) &&
         ::LocalFileTimeToFileTime(&file_time, &universal);
}

}  // namespace pylon::win
