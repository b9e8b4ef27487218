#include "files/RapiFileCalls.h"

#include <algorithm>
#include <utility>

#include "base/Text.h"
#include "files/FileNames.h"
#include "files/WindowsFile.h"

namespace pylon {
namespace {

// The most that a call may carry; see cFilePPC for what copies do carry.
constexpr size_t kLargestTransfer = 16 << 20;

// No name that anybody would give to a file of his own.
std::u16string OldOf(const std::u16string& path) { return path + u".replaced"; }

bool IsMissing(uint32_t error) {
  return error == file_error::kFileNotFound || error == file_error::kPathNotFound;
}
bool IsTaken(uint32_t error) {
  return error == file_error::kAlreadyExists || error == file_error::kFileExists;
}

}  // namespace

RapiFileCalls::RapiFileCalls(std::shared_ptr<RapiConnection> connection)
    : connection_(std::move(connection)) {}

template <class Call>
uint32_t RapiFileCalls::Do(Call&& call) noexcept {
  const bool done = connection_->IsConnected() && call(connection_->api());
  return done ? file_error::kNone : connection_->LastError();
}

uint32_t RapiFileCalls::MoveAt(const std::u16string& from, const std::u16string& to) noexcept {
  return Do([&](const RapiLibrary& api) { return api.CeMoveFile(Wide(from), Wide(to)); });
}

uint32_t RapiFileCalls::DeleteAt(const std::u16string& path) noexcept {
  return Do([&](const RapiLibrary& api) { return api.CeDeleteFile(Wide(path)); });
}

uint32_t RapiFileCalls::DeleteOldOf(const std::u16string& path) noexcept {
  const std::u16string old = OldOf(path);
  const uint32_t error = DeleteAt(old);
  if (error != file_error::kAccessDenied) return error;
  Do([&](const RapiLibrary& api) {
    return api.CeSetFileAttributes(Wide(old), FILE_ATTRIBUTE_NORMAL);
  });
  return DeleteAt(old);
}

uint32_t RapiFileCalls::Open(const std::u16string& path, FileAccess access,
                             FileDisposition disposition) {
  const std::u16string device_path = DevicePath(path);
  const DWORD rights = (access != FileAccess::kWrite ? GENERIC_READ : 0u) |
                       (access != FileAccess::kRead ? GENERIC_WRITE : 0u);
  const auto open = [&](DWORD creation) {
    return Do([&](const RapiLibrary& api) {
      file_ = api.CeCreateFile(Wide(device_path), rights, 0, nullptr, creation,
                               FILE_ATTRIBUTE_NORMAL, nullptr);
      return IsOpen();
    });
  };
  size_.reset();
  position_ = 0;
  uint32_t error = file_error::kNone;
  if (disposition == FileDisposition::kCreateAlways) {
    // An old file left aside would pass for this one once this one is gone.
    Recover(device_path);
    error = open(CREATE_ALWAYS);
  } else {
    error = open(OPEN_EXISTING);
    if (error == file_error::kFileNotFound) {
      if (Recover(device_path)) {
        error = open(OPEN_EXISTING);
      } else if (disposition == FileDisposition::kOpenAlways) {
        error = open(CREATE_NEW);
        if (error == file_error::kNone) size_ = 0;
      }
    }
  }
  return error;
}

uint32_t RapiFileCalls::Close() noexcept {
  if (!IsOpen()) return file_error::kNone;
  const HANDLE file = std::exchange(file_, INVALID_HANDLE_VALUE);
  return Do([&](const RapiLibrary& api) { return api.CeCloseHandle(file); });
}

uint32_t RapiFileCalls::Size(int64_t& size) {
  if (!size_) {
    DWORD low = 0;
    DWORD high = 0;
    const uint32_t error = Do([&](const RapiLibrary& api) {
      low = api.CeGetFileSize(file_, &high);
      return low != INVALID_FILE_SIZE;
    });
    if (error != file_error::kNone) return error;
    size_ = int64_t{high} << 32 | low;
  }
  size = *size_;
  return file_error::kNone;
}

uint32_t RapiFileCalls::Seek(int64_t position) noexcept {
  if (position_ == position) return file_error::kNone;
  const uint32_t error = Do([&](const RapiLibrary& api) {
    return api.CeSetFilePointer(file_, static_cast<LONG>(position), nullptr, FILE_BEGIN) !=
           INVALID_SET_FILE_POINTER;
  });
  if (error == file_error::kNone) {
    position_ = position;
  } else {
    position_.reset();
  }
  return error;
}

uint32_t RapiFileCalls::Read(int64_t position, std::span<std::byte> bytes, size_t& moved) {
  moved = 0;
  if (const uint32_t error = Seek(position)) return error;
  while (moved < bytes.size()) {
    const auto count = static_cast<DWORD>(std::min(bytes.size() - moved, kLargestTransfer));
    DWORD read = 0;
    const uint32_t error = Do([&](const RapiLibrary& api) {
      return api.CeReadFile(file_, bytes.data() + moved, count, &read, nullptr);
    });
    if (error != file_error::kNone) {
      position_.reset();
      return error;
    }
    moved += std::min(read, count);
    position_ = position + static_cast<int64_t>(moved);
    if (read == 0) break;
  }
  return file_error::kNone;
}

uint32_t RapiFileCalls::Write(int64_t position, ByteSpan bytes, size_t& moved) {
  moved = 0;
  if (const uint32_t error = Seek(position)) return error;
  uint32_t error = file_error::kNone;
  while (error == file_error::kNone && moved < bytes.size()) {
    const auto count = static_cast<DWORD>(std::min(bytes.size() - moved, kLargestTransfer));
    DWORD written = 0;
    error = Do([&](const RapiLibrary& api) {
      return api.CeWriteFile(file_, bytes.data() + moved, count, &written, nullptr);
    });
    moved += std::min(written, count);
    if (error == file_error::kNone && written == 0) error = file_error::kDiskFull;
  }
  if (error == file_error::kNone) {
    position_ = position + static_cast<int64_t>(moved);
    if (size_) size_ = std::max(*size_, *position_);
  } else {
    position_.reset();
    size_.reset();
  }
  return error;
}

uint32_t RapiFileCalls::EndAt(int64_t position) {
  if (const uint32_t error = Seek(position)) return error;
  size_.reset();
  const uint32_t error = Do([&](const RapiLibrary& api) { return api.CeSetEndOfFile(file_); });
  if (error == file_error::kNone) size_ = position;
  return error;
}

uint32_t RapiFileCalls::GetTime(FileTime which, DateParts& local) {
  FILETIME created = {};
  FILETIME accessed = {};
  FILETIME modified = {};
  const uint32_t error = Do([&](const RapiLibrary& api) {
    return api.CeGetFileTime(file_, &created, &accessed, &modified);
  });
  if (error != file_error::kNone) return error;
  const FILETIME& time = which == FileTime::kCreation ? created : modified;
  // Not every file system of a device keeps every time.
  const bool kept = time.dwLowDateTime != 0 || time.dwHighDateTime != 0;
  return kept && win::ToLocal(time, local) ? file_error::kNone : file_error::kInvalidParameter;
}

uint32_t RapiFileCalls::SetTime(FileTime which, const DateParts& local) {
  FILETIME time;
  if (!win::ToUniversal(local, time)) return file_error::kInvalidParameter;
  const bool creation = which == FileTime::kCreation;
  return Do([&](const RapiLibrary& api) {
    return api.CeSetFileTime(file_, creation ? &time : nullptr, nullptr,
                             creation ? nullptr : &time);
  });
}

bool RapiFileCalls::IsFile(const std::u16string& path) {
  const std::u16string device_path = DevicePath(path);
  DWORD attributes = 0;
  const uint32_t error = Do([&](const RapiLibrary& api) {
    attributes = api.CeGetFileAttributes(Wide(device_path));
    return attributes != INVALID_FILE_ATTRIBUTES;
  });
  if (IsMissing(error)) return Recover(device_path);
  return error != file_error::kNone || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool RapiFileCalls::IsFolder(const std::u16string& path) {
  const std::u16string device_path = DevicePath(path);
  DWORD attributes = 0;
  const uint32_t error = Do([&](const RapiLibrary& api) {
    attributes = api.CeGetFileAttributes(Wide(device_path));
    return attributes != INVALID_FILE_ATTRIBUTES;
  });
  return error == file_error::kNone && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

uint32_t RapiFileCalls::CreateFolder(const std::u16string& path) {
  const std::u16string device_path = DevicePath(path);
  return Do(
      [&](const RapiLibrary& api) { return api.CeCreateDirectory(Wide(device_path), nullptr); });
}

// The rest of a cut replacement must not come back under the old name in place of the moved file.

uint32_t RapiFileCalls::Delete(const std::u16string& path) {
  const std::u16string device_path = DevicePath(path);
  const uint32_t error = DeleteAt(device_path);
  if (error == file_error::kNone) DeleteOldOf(device_path);
  return error;
}

uint32_t RapiFileCalls::Rename(const std::u16string& from, const std::u16string& to) {
  const std::u16string device_from = DevicePath(from);
  const uint32_t error = MoveAt(device_from, DevicePath(to));
  if (error == file_error::kNone) DeleteOldOf(device_from);
  return error;
}

uint32_t RapiFileCalls::Replace(const std::u16string& from, const std::u16string& to) {
  const std::u16string device_from = DevicePath(from);
  const std::u16string device_to = DevicePath(to);
  const std::u16string old = OldOf(device_to);
  uint32_t error = MoveAt(device_to, old);
  // An earlier replacement has left its old file; the one that it made is there.
  if (IsTaken(error) && (error = DeleteOldOf(device_to)) == file_error::kNone)
    error = MoveAt(device_to, old);
  const bool had_old = error == file_error::kNone;
  if (!had_old && !IsMissing(error)) return error;

  error = MoveAt(device_from, device_to);
  if (error != file_error::kNone) {
    if (had_old) MoveAt(old, device_to);
    return error;
  }
  // The new file stands. An old one that can't go is in nobody's way.
  DeleteOldOf(device_to);
  return file_error::kNone;
}

uint32_t RapiFileCalls::Move(const std::u16string& from, const std::u16string& to) {
  return Replace(from, to);
}

uint32_t RapiFileCalls::Copy(const std::u16string& from, const std::u16string& to) {
  const std::u16string device_from = DevicePath(from);
  const std::u16string device_to = DevicePath(to);
  return Do([&](const RapiLibrary& api) {
    return api.CeCopyFile(Wide(device_from), Wide(device_to), FALSE);
  });
}

bool RapiFileCalls::IsSamePath(const std::u16string& a, const std::u16string& b) {
  return win::EqualPaths(DevicePath(a), DevicePath(b));
}

bool RapiFileCalls::Recover(const std::u16string& path) {
  return MoveAt(OldOf(path), path) == file_error::kNone;
}

uint32_t RapiFileCalls::CreateTempFile(const std::u16string& prefix, std::u16string& path) {
  return win::CreateTempFile(prefix, path);
}

void RapiFileCalls::RemoveTempFile(const std::u16string& path) noexcept {
  ::DeleteFileW(Wide(path));
}

std::u16string RapiFileCalls::Describe(uint32_t error) const {
  // A failed HRESULT is the link's, any other number the device's.
  const bool link = (error & 0x80000000) != 0;
  if (error == RapiConnection::kClosed) return RapiConnection::kClosedText;
  switch (error) {
    case file_error::kFileExists:
      return u"File Exists.";
    case file_error::kInvalidParameter:
      return u"Invalid Parameter";
    case file_error::kDiskFull:
      return u"Disk Full";
    default:
      return u"Unknown Error: " + ToText(link ? 0 : error) + u" RAPI Error: " +
             ToText(link ? static_cast<int32_t>(error) : 0);
  }
}

}  // namespace pylon
