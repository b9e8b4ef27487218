#include "files/LocalFileCalls.h"

#include <shellapi.h>

#include "base/Text.h"
#include "files/WindowsFile.h"

namespace pylon {
namespace {

uint32_t ErrorUnless(BOOL done) noexcept { return done ? DWORD{ERROR_SUCCESS} : win::LastError(); }

// One of the shell's operations on one file, no pattern and no folder. An empty target is none.
uint32_t ShellOperation(unsigned function, const std::u16string& path, const std::u16string& target,
                        unsigned flags) {
  // The shell would take a pattern, and a folder with all that it holds, as well.
  std::u16string from = win::FullPath(path);
  if (!win::IsFile(from)) return ERROR_FILE_NOT_FOUND;
  std::u16string to = target.empty() ? target : win::FullPath(target);
  // Lists of names, each with a NUL, and a NUL at the end.
  from += u'\0';
  to += u'\0';

  SHFILEOPSTRUCTW operation = {};
  operation.wFunc = function;
  operation.pFrom = Wide(from);
  operation.pTo = target.empty() ? nullptr : Wide(to);
  operation.fFlags = static_cast<FILEOP_FLAGS>(flags);
  const int error = ::SHFileOperationW(&operation);
  if (error != 0) return static_cast<uint32_t>(error);
  return operation.fAnyOperationsAborted ? DWORD{ERROR_CANCELLED} : DWORD{ERROR_SUCCESS};
}

}  // namespace

uint32_t LocalFileCalls::Open(const std::u16string& path, FileAccess access,
                              FileDisposition disposition) {
  const DWORD rights = (access != FileAccess::kWrite ? GENERIC_READ : 0u) |
                       (access != FileAccess::kRead ? GENERIC_WRITE : 0u);
  const DWORD creation = disposition == FileDisposition::kOpenExisting ? OPEN_EXISTING
                         : disposition == FileDisposition::kOpenAlways ? OPEN_ALWAYS
                                                                       : CREATE_ALWAYS;
  file_.Reset(
      ::CreateFileW(Wide(path), rights, 0, nullptr, creation, FILE_ATTRIBUTE_NORMAL, nullptr));
  return file_ ? DWORD{ERROR_SUCCESS} : win::LastError();
}

uint32_t LocalFileCalls::Close() noexcept {
  file_.Reset();
  return ERROR_SUCCESS;
}

uint32_t LocalFileCalls::Size(int64_t& size) {
  LARGE_INTEGER large;
  if (!::GetFileSizeEx(file_.get(), &large)) return win::LastError();
  size = large.QuadPart;
  return ERROR_SUCCESS;
}

uint32_t LocalFileCalls::Seek(int64_t position) noexcept {
  LARGE_INTEGER large;
  large.QuadPart = position;
  return ErrorUnless(::SetFilePointerEx(file_.get(), large, nullptr, FILE_BEGIN));
}

uint32_t LocalFileCalls::Read(int64_t position, std::span<std::byte> bytes, size_t& moved) {
  moved = 0;
  if (const uint32_t error = Seek(position)) return error;
  return win::ReadWhole(file_.get(), bytes, moved);
}

uint32_t LocalFileCalls::Write(int64_t position, ByteSpan bytes, size_t& moved) {
  moved = 0;
  if (const uint32_t error = Seek(position)) return error;
  return win::WriteWhole(file_.get(), bytes, moved);
}

uint32_t LocalFileCalls::EndAt(int64_t position) {
  if (const uint32_t error = Seek(position)) return error;
  return ErrorUnless(::SetEndOfFile(file_.get()));
}

uint32_t LocalFileCalls::Flush() { return ErrorUnless(::FlushFileBuffers(file_.get())); }

uint32_t LocalFileCalls::GetTime(FileTime which, DateParts& local) {
  FILETIME created;
  FILETIME modified;
  if (!::GetFileTime(file_.get(), &created, nullptr, &modified)) return win::LastError();
  return ErrorUnless(win::ToLocal(which == FileTime::kCreation ? created : modified, local));
}

uint32_t LocalFileCalls::SetTime(FileTime which, const DateParts& local) {
  FILETIME time;
  if (!win::ToUniversal(local, time)) return win::LastError();
  const bool creation = which == FileTime::kCreation;
  return ErrorUnless(
      ::SetFileTime(file_.get(), creation ? &time : nullptr, nullptr, creation ? nullptr : &time));
}

bool LocalFileCalls::IsFile(const std::u16string& path) { return win::IsFile(path); }

bool LocalFileCalls::IsFolder(const std::u16string& path) {
  const DWORD attributes = ::GetFileAttributesW(Wide(path));
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

uint32_t LocalFileCalls::CreateFolder(const std::u16string& path) {
  return ErrorUnless(::CreateDirectoryW(Wide(path), nullptr));
}

uint32_t LocalFileCalls::Delete(const std::u16string& path) {
  return ErrorUnless(::DeleteFileW(Wide(path)));
}

uint32_t LocalFileCalls::Rename(const std::u16string& from, const std::u16string& to) {
  return ErrorUnless(::MoveFileExW(Wide(from), Wide(to), MOVEFILE_WRITE_THROUGH));
}

uint32_t LocalFileCalls::Replace(const std::u16string& from, const std::u16string& to) {
  return ErrorUnless(
      ::MoveFileExW(Wide(from), Wide(to), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH));
}

uint32_t LocalFileCalls::Move(const std::u16string& from, const std::u16string& to) {
  return ShellOperation(FO_MOVE, from, to, FOF_NO_UI);
}

uint32_t LocalFileCalls::Copy(const std::u16string& from, const std::u16string& to) {
  return ShellOperation(FO_COPY, from, to, FOF_NO_UI);
}

bool LocalFileCalls::IsSamePath(const std::u16string& a, const std::u16string& b) {
  return win::EqualPaths(win::FullPath(a), win::FullPath(b));
}

uint32_t LocalFileCalls::Recycle(const std::u16string& path, bool to_bin, bool confirm) {
  return ShellOperation(FO_DELETE, path, {},
                        FOF_SILENT | (to_bin ? FOF_ALLOWUNDO : 0u) |
                            (confirm ? 0u : FOF_NOCONFIRMATION | FOF_NOERRORUI));
}

uint32_t LocalFileCalls::CreateTempFile(const std::u16string& prefix, std::u16string& path) {
  return win::CreateTempFile(prefix, path);
}

void LocalFileCalls::RemoveTempFile(const std::u16string& path) noexcept {
  ::DeleteFileW(Wide(path));
}

std::u16string LocalFileCalls::Describe(uint32_t error) const {
  return win::DescribeError(error) + u" (" + ToText(static_cast<int32_t>(error)) + u")";
}

}  // namespace pylon
