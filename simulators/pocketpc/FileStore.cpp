#include "FileStore.h"

#include <algorithm>
#include <cwchar>

#include "DevicePath.h"
#include "Errors.h"

namespace pocketpc {
namespace {

constexpr int64_t kTicksPerSecond = 10'000'000;
constexpr DWORD kStoredAttributes = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN |
                                    FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE;

int64_t Size(HANDLE file) {
  LARGE_INTEGER size = {};
  CheckWindows(::GetFileSizeEx(file, &size));
  return size.QuadPart;
}

int64_t Seek(HANDLE file, int64_t distance, DWORD method) {
  LARGE_INTEGER move = {};
  LARGE_INTEGER position = {};
  move.QuadPart = distance;
  CheckWindows(::SetFilePointerEx(file, move, &position, method));
  return position.QuadPart;
}

struct Status {
  DWORD attributes = INVALID_FILE_ATTRIBUTES;
  uint64_t size = 0;

  bool exists() const noexcept { return attributes != INVALID_FILE_ATTRIBUTES; }
  bool Has(DWORD attribute) const noexcept { return exists() && (attributes & attribute) != 0; }
};

// Leaves the reason in GetLastError when there is nothing.
Status StatusOf(const std::wstring& host_path) {
  WIN32_FILE_ATTRIBUTE_DATA data = {};
  if (!::GetFileAttributesExW(host_path.c_str(), GetFileExInfoStandard, &data)) return {};
  return {data.dwFileAttributes,
          static_cast<uint64_t>(data.nFileSizeHigh) << 32 | data.nFileSizeLow};
}

void MakeFolders(const std::wstring& path) {
  if (StatusOf(path).Has(FILE_ATTRIBUTE_DIRECTORY)) return;
  const std::wstring above = FolderOf(path);
  if (!above.empty() && !above.ends_with(L':')) MakeFolders(above);
  if (!::CreateDirectoryW(path.c_str(), nullptr)) {
    Check(::GetLastError() == ERROR_ALREADY_EXISTS, ::GetLastError());
  }
}

// What lies in the folder, without itself and the one above.
std::vector<WIN32_FIND_DATAW> List(const std::wstring& folder) {
  std::vector<WIN32_FIND_DATAW> entries;
  WIN32_FIND_DATAW entry = {};
  const OwnedFind find(NullIfInvalid(::FindFirstFileExW(
      (folder + L"\\*").c_str(), FindExInfoBasic, &entry, FindExSearchNameMatch, nullptr, 0)));
  if (!find) {
    Check(::GetLastError() == ERROR_FILE_NOT_FOUND, ::GetLastError());
    return entries;
  }
  do {
    const std::wstring_view name = entry.cFileName;
    if (name != L"." && name != L"..") entries.push_back(entry);
  } while (::FindNextFileW(find.get(), &entry));
  Check(::GetLastError() == ERROR_NO_MORE_FILES, ::GetLastError());
  return entries;
}

uint64_t SizeOfAll(const std::wstring& folder) {
  uint64_t size = 0;
  for (const WIN32_FIND_DATAW& entry : List(folder)) {
    size += entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY
                ? SizeOfAll(folder + L"\\" + entry.cFileName)
                : static_cast<uint64_t>(entry.nFileSizeHigh) << 32 | entry.nFileSizeLow;
  }
  return size;
}

}  // namespace

FileStore::FileStore(const Settings& settings)
    : settings_(settings),
      root_(VerbatimPath(settings.folder)),
      times_(settings.folder + L".times") {
  MakeFolders(root_);
  MakeFolders(root_ + L"\\My Documents");
  MakeFolders(root_ + L"\\Temp");
  used_ = SizeOfAll(root_);
}

// Programs of the PC may have removed files since they were counted.
void FileStore::Grow(int64_t bytes) noexcept {
  used_ = static_cast<uint64_t>(std::max<int64_t>(0, static_cast<int64_t>(used_) + bytes));
}

std::wstring FileStore::HostPath(const std::wstring& path) const {
  return path == L"\\" ? root_ : root_ + path;
}

void FileStore::CheckNotLocked(const std::wstring& path) const {
  Check(!EqualIgnoringCase(path, settings_.locked_file), ERROR_SHARING_VIOLATION);
}

bool FileStore::IsUnreadable(const std::wstring& path) const {
  return EqualIgnoringCase(path, settings_.unreadable_file);
}

FILETIME FileStore::ToDevice(const FILETIME& time) const noexcept {
  return FromTicks(Ticks(time) + settings_.clock_offset * kTicksPerSecond);
}

FILETIME FileStore::ToHost(const FILETIME& time) const noexcept {
  return FromTicks(Ticks(time) - settings_.clock_offset * kTicksPerSecond);
}

FileStore::Opened FileStore::Create(const wchar_t* path, DWORD access, DWORD share,
                                    DWORD disposition, DWORD attributes) {
  const std::wstring clean = CleanDevicePath(path);
  const std::wstring host = HostPath(clean);
  const Status before = StatusOf(host);
  Check(!before.Has(FILE_ATTRIBUTE_DIRECTORY), ERROR_ACCESS_DENIED);
  if (before.exists()) CheckNotLocked(clean);
  // Not left to the PC: where its user may do everything, it allows this too.
  Check(!before.Has(FILE_ATTRIBUTE_READONLY) || !(access & GENERIC_WRITE) ||
            disposition == CREATE_NEW,
        ERROR_ACCESS_DENIED);
  // A device knows no sharing for deletion.
  const DWORD stored = attributes & kStoredAttributes;
  OwnedHandle handle(NullIfInvalid(
      ::CreateFileW(host.c_str(), access, share & (FILE_SHARE_READ | FILE_SHARE_WRITE), nullptr,
                    disposition, stored ? stored : FILE_ATTRIBUTE_NORMAL, nullptr)));
  const DWORD code = ::GetLastError();
  Check(handle != nullptr, code);
  Grow(pocketpc::Size(handle.get()) - static_cast<int64_t>(before.size));
  if (!before.exists()) times_.Forget(clean);
  return {files_.Add({std::move(handle), clean}), code};
}

DWORD FileStore::Read(HANDLE file, void* buffer, DWORD size) {
  const OpenFile& open = files_[file];
  Check(!IsUnreadable(open.path), ERROR_CRC);
  DWORD read = 0;
  CheckWindows(::ReadFile(open.handle.get(), buffer, size, &read, nullptr));
  return read;
}

DWORD FileStore::Write(HANDLE file, const void* data, DWORD size) {
  const HANDLE handle = files_[file].handle.get();
  const int64_t position = Seek(handle, 0, FILE_CURRENT);
  const int64_t before = pocketpc::Size(handle);
  // A gap before the position takes room too.
  const int64_t room = before + static_cast<int64_t>(free()) - position;
  const auto fits = static_cast<DWORD>(std::clamp<int64_t>(room, 0, size));
  if (fits == 0 && size != 0) return 0;
  DWORD written = 0;
  CheckWindows(::WriteFile(handle, data, fits, &written, nullptr));
  Grow(pocketpc::Size(handle) - before);
  return written;
}

int64_t FileStore::SetPointer(HANDLE file, int64_t distance, DWORD method) {
  return Seek(files_[file].handle.get(), distance, method);
}

void FileStore::SetEnd(HANDLE file) {
  const HANDLE handle = files_[file].handle.get();
  const int64_t growth = Seek(handle, 0, FILE_CURRENT) - pocketpc::Size(handle);
  Check(growth <= 0 || static_cast<uint64_t>(growth) <= free(), ERROR_DISK_FULL);
  CheckWindows(::SetEndOfFile(handle));
  Grow(growth);
}

int64_t FileStore::Size(HANDLE file) { return pocketpc::Size(files_[file].handle.get()); }

void FileStore::GetTimes(HANDLE file, FILETIME* creation, FILETIME* access, FILETIME* write) {
  const OpenFile& open = files_[file];
  FILETIME times[3] = {};
  CheckWindows(::GetFileTime(open.handle.get(), &times[0], &times[1], &times[2]));
  if (creation) *creation = ToDevice(times_.Of(open.path).value_or(times[0]));
  if (access) *access = ToDevice(times[1]);
  if (write) *write = ToDevice(times[2]);
}

void FileStore::SetTimes(HANDLE file, const FILETIME* creation, const FILETIME* access,
                         const FILETIME* write) {
  const OpenFile& open = files_[file];
  const FILETIME times[3] = {ToHost(creation ? *creation : FILETIME{}),
                             ToHost(access ? *access : FILETIME{}),
                             ToHost(write ? *write : FILETIME{})};
  CheckWindows(::SetFileTime(open.handle.get(), creation ? &times[0] : nullptr,
                             access ? &times[1] : nullptr, write ? &times[2] : nullptr));
  if (!creation) return;
  FILETIME stored = {};
  CheckWindows(::GetFileTime(open.handle.get(), &stored, nullptr, nullptr));
  if (::CompareFileTime(&stored, &times[0]) == 0) {
    times_.Forget(open.path);
  } else {
    times_.Set(open.path, times[0]);
  }
}

void FileStore::Delete(const wchar_t* path) {
  const std::wstring clean = CleanDevicePath(path);
  const std::wstring host = HostPath(clean);
  const Status status = StatusOf(host);
  CheckWindows(status.exists());
  CheckNotLocked(clean);
  Check(!status.Has(FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_DIRECTORY), ERROR_ACCESS_DENIED);
  CheckWindows(::DeleteFileW(host.c_str()));
  Grow(-static_cast<int64_t>(status.size));
  times_.Forget(clean);
}

void FileStore::Move(const wchar_t* from, const wchar_t* to) {
  const std::wstring source = CleanDevicePath(from);
  const std::wstring target = CleanDevicePath(to);
  Check(source != L"\\", ERROR_ACCESS_DENIED);
  CheckNotLocked(source);
  CheckWindows(::MoveFileExW(HostPath(source).c_str(), HostPath(target).c_str(), 0));
  times_.Move(source, target);
}

void FileStore::Copy(const wchar_t* from, const wchar_t* to, bool fail_if_exists) {
  const std::wstring source = CleanDevicePath(from);
  const std::wstring target = CleanDevicePath(to);
  const std::wstring host_source = HostPath(source);
  const std::wstring host_target = HostPath(target);
  const Status original = StatusOf(host_source);
  CheckWindows(original.exists());
  const Status replaced = StatusOf(host_target);
  CheckNotLocked(source);
  CheckNotLocked(target);
  Check(!replaced.exists() || !fail_if_exists, ERROR_FILE_EXISTS);
  Check(!original.Has(FILE_ATTRIBUTE_DIRECTORY) &&
            !replaced.Has(FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_DIRECTORY),
        ERROR_ACCESS_DENIED);
  Check(!IsUnreadable(source), ERROR_CRC);
  Check(original.size <= free() + replaced.size, ERROR_DISK_FULL);
  CheckWindows(::CopyFileW(host_source.c_str(), host_target.c_str(), fail_if_exists));
  Grow(static_cast<int64_t>(original.size) - static_cast<int64_t>(replaced.size));
  if (!replaced.exists()) times_.Forget(target);
}

void FileStore::CreateFolder(const wchar_t* path) {
  CheckWindows(::CreateDirectoryW(HostPath(CleanDevicePath(path)).c_str(), nullptr));
}

DWORD FileStore::Attributes(const wchar_t* path) const {
  const Status status = StatusOf(HostPath(CleanDevicePath(path)));
  CheckWindows(status.exists());
  return status.attributes;
}

void FileStore::SetAttributes(const wchar_t* path, DWORD attributes) {
  const DWORD stored = attributes & kStoredAttributes;
  CheckWindows(::SetFileAttributesW(HostPath(CleanDevicePath(path)).c_str(),
                                    stored ? stored : FILE_ATTRIBUTE_NORMAL));
}

CE_FIND_DATA FileStore::FindData(const WIN32_FIND_DATAW& entry, const std::wstring& path) const {
  CE_FIND_DATA data = {};
  data.dwFileAttributes = entry.dwFileAttributes;
  data.ftCreationTime = ToDevice(times_.Of(path).value_or(entry.ftCreationTime));
  data.ftLastAccessTime = ToDevice(entry.ftLastAccessTime);
  data.ftLastWriteTime = ToDevice(entry.ftLastWriteTime);
  data.nFileSizeHigh = entry.nFileSizeHigh;
  data.nFileSizeLow = entry.nFileSizeLow;
  std::wcsncpy(data.cFileName, entry.cFileName, std::size(data.cFileName) - 1);
  return data;
}

HANDLE FileStore::FindFirst(const wchar_t* pattern, CE_FIND_DATA& found) {
  const std::wstring clean = CleanDevicePath(pattern, true);
  const std::wstring folder = FolderOf(clean);
  const std::wstring name = clean.substr(folder.size() + 1);
  Check(!name.empty(), ERROR_FILE_NOT_FOUND);
  const Status status = StatusOf(HostPath(folder.empty() ? L"\\" : folder));
  Check(status.Has(FILE_ATTRIBUTE_DIRECTORY), ERROR_PATH_NOT_FOUND);

  Find find;
  for (const WIN32_FIND_DATAW& entry : List(root_ + folder)) {
    if (!MatchesPattern(entry.cFileName, name)) continue;
    find.found.push_back(FindData(entry, folder + L"\\" + entry.cFileName));
  }
  Check(!find.found.empty(), ERROR_NO_MORE_FILES);
  std::ranges::sort(find.found, [](const CE_FIND_DATA& a, const CE_FIND_DATA& b) {
    return LessIgnoringCase()(a.cFileName, b.cFileName);
  });
  found = find.found[find.next++];
  return finds_.Add(std::move(find));
}

void FileStore::FindNext(HANDLE find, CE_FIND_DATA& found) {
  Find& open = finds_[find];
  Check(open.next < open.found.size(), ERROR_NO_MORE_FILES);
  found = open.found[open.next++];
}

void FileStore::CloseAll() noexcept {
  files_.Clear();
  finds_.Clear();
}

}  // namespace pocketpc
