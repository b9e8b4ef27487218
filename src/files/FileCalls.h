#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "base/Bytes.h"
#include "base/Date.h"

namespace pylon {

// Numbers of Windows' errors, which Windows CE shares, that the portable code tells apart or gives
// itself.
namespace file_error {
inline constexpr uint32_t kNone = 0;
inline constexpr uint32_t kFileNotFound = 2;
inline constexpr uint32_t kPathNotFound = 3;
inline constexpr uint32_t kAccessDenied = 5;
inline constexpr uint32_t kInvalidHandle = 6;
inline constexpr uint32_t kNotEnoughMemory = 8;
inline constexpr uint32_t kGeneralFailure = 31;
inline constexpr uint32_t kSharingViolation = 32;
inline constexpr uint32_t kLockViolation = 33;
inline constexpr uint32_t kEndOfFile = 38;
inline constexpr uint32_t kNotSupported = 50;
inline constexpr uint32_t kFileExists = 80;
inline constexpr uint32_t kInvalidParameter = 87;
inline constexpr uint32_t kDiskFull = 112;
inline constexpr uint32_t kInvalidName = 123;
inline constexpr uint32_t kNegativeSeek = 131;
inline constexpr uint32_t kBusy = 170;
inline constexpr uint32_t kAlreadyExists = 183;
inline constexpr uint32_t kFileTooLarge = 223;
// The user has stopped the copy. Bit 29 keeps it apart from every number of the system's, whose own
// ERROR_CANCELLED says nothing about our Cancel.
inline constexpr uint32_t kCancelled = 0x2000'0001;
}  // namespace file_error

enum class FileAccess { kRead, kWrite, kReadWrite };
// Whether opening takes what is there, makes what is missing, or does that and empties the rest.
enum class FileDisposition { kOpenExisting, kOpenAlways, kCreateAlways };
enum class FileTime { kCreation, kModification };

// What a CursorFile asks of the file system: one open file at most, and work on
// closed files by name. Paths are whole. Nothing here throws but std::bad_alloc: the result is the
// system's number for what went wrong, 0 for nothing.
class FileCalls {
 public:
  virtual ~FileCalls() = default;

  // Nobody else can open the file meanwhile. What was open must be closed.
  virtual uint32_t Open(const std::u16string& path, FileAccess access,
                        FileDisposition disposition) = 0;
  virtual bool IsOpen() const noexcept = 0;
  // Closed afterwards whatever the result.
  virtual uint32_t Close() noexcept = 0;
  virtual uint32_t Size(int64_t& size) = 0;
  // Moves all that can be moved; less than asked for without an error is the file's end.
  virtual uint32_t Read(int64_t position, std::span<std::byte> bytes, size_t& moved) = 0;
  // Less than asked for comes with an error.
  virtual uint32_t Write(int64_t position, ByteSpan bytes, size_t& moved) = 0;
  virtual uint32_t EndAt(int64_t position) = 0;
  virtual uint32_t Flush() = 0;
  virtual uint32_t GetTime(FileTime which, DateParts& local) = 0;
  virtual uint32_t SetTime(FileTime which, const DateParts& local) = 0;

  virtual bool IsFile(const std::u16string& path) = 0;
  virtual bool IsFolder(const std::u16string& path) = 0;
  virtual uint32_t CreateFolder(const std::u16string& path) = 0;
  virtual uint32_t Delete(const std::u16string& path) = 0;
  virtual uint32_t Rename(const std::u16string& from, const std::u16string& to) = 0;
  virtual uint32_t Replace(const std::u16string& from, const std::u16string& to) = 0;
  // Between folders; what has the name is replaced.
  virtual uint32_t Move(const std::u16string& from, const std::u16string& to) = 0;
  virtual uint32_t Copy(const std::u16string& from, const std::u16string& to) = 0;
  // Whether both mean the same file.
  virtual bool IsSamePath(const std::u16string& a, const std::u16string& b) = 0;

  // Chooses a fresh name in the PC's folder for temporary files and creates the file, empty.
  virtual uint32_t CreateTempFile(const std::u16string& prefix, std::u16string& path) = 0;
  virtual void RemoveTempFile(const std::u16string& path) noexcept = 0;
  // The folder in which the file of such a name is opened; empty: where it was created.
  virtual std::u16string TempFolder() const = 0;

  // In words, and with the number where the words don't tell enough.
  virtual std::u16string Describe(uint32_t error) const = 0;
};

}  // namespace pylon
