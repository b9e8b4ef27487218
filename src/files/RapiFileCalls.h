#pragma once

#include <memory>
#include <optional>
#include <string>

#include "files/FileCalls.h"
#include "files/RapiConnection.h"

namespace pylon {

// Files on a handheld. Each call is a round trip over a slow link, so the size and the device's
// file pointer are remembered: nobody else can change an open file. A sequence of reads or writes
// is one call each.
//
// See DevicePath for what a path may look like.
class RapiFileCalls final : public FileCalls {
 public:
  explicit RapiFileCalls(std::shared_ptr<RapiConnection> connection);

  // A file whose replacement was cut off is put back first, before a new one would hide it; see
  // Replace.
  uint32_t Open(const std::u16string& path, FileAccess access,
                FileDisposition disposition) override;
  bool IsOpen() const noexcept override { return file_ != INVALID_HANDLE_VALUE; }
  uint32_t Close() noexcept override;
  uint32_t Size(int64_t& size) override;
  uint32_t Read(int64_t position, std::span<std::byte> bytes, size_t& moved) override;
  uint32_t Write(int64_t position, ByteSpan bytes, size_t& moved) override;
  uint32_t EndAt(int64_t position) override;
  uint32_t Flush() override { return 0; }  // the device writes through
  uint32_t GetTime(FileTime which, DateParts& local) override;
  uint32_t SetTime(FileTime which, const DateParts& local) override;

  // A file that can't be asked for, because the link is gone, counts as there: a caller that goes
  // on with it meets the reason.
  bool IsFile(const std::u16string& path) override;
  bool IsFolder(const std::u16string& path) override;
  uint32_t CreateFolder(const std::u16string& path) override;
  uint32_t Delete(const std::u16string& path) override;
  uint32_t Rename(const std::u16string& from, const std::u16string& to) override;
  // The device can't do it in one step. The old file first takes the name `to` + ".replaced", then
  // the new one its place, and then the old one goes; at each moment one of the two is whole, under
  // a name from which it comes back: opening or looking for `to` finds it again. A failure leaves
  // both files as they were, or, when the link is gone, for the next run to put right.
  uint32_t Replace(const std::u16string& from, const std::u16string& to) override;
  uint32_t Move(const std::u16string& from, const std::u16string& to) override;
  uint32_t Copy(const std::u16string& from, const std::u16string& to) override;
  bool IsSamePath(const std::u16string& a, const std::u16string& b) override;

  // On the PC; the file is opened in the device's folder.
  uint32_t CreateTempFile(const std::u16string& prefix, std::u16string& path) override;
  void RemoveTempFile(const std::u16string& path) noexcept override;
  std::u16string TempFolder() const override { return u"\\TEMP\\"; }
  std::u16string Describe(uint32_t error) const override;

 private:
  // The result of a function that says whether it has done its work.
  template <class Call>
  uint32_t Do(Call&& call) noexcept;
  uint32_t MoveAt(const std::u16string& from, const std::u16string& to) noexcept;
  uint32_t DeleteAt(const std::u16string& path) noexcept;
  // Deletes the file that a replacement has put aside, read-only or not.
  uint32_t DeleteOldOf(const std::u16string& path) noexcept;
  uint32_t Seek(int64_t position) noexcept;
  // Gives a missing file its name back when its replacement was cut off; whether it did.
  bool Recover(const std::u16string& path);

  std::shared_ptr<RapiConnection> connection_;
  HANDLE file_ = INVALID_HANDLE_VALUE;
  // Of the open file, as far as known.
  std::optional<int64_t> size_;
  std::optional<int64_t> position_;
};

}  // namespace pylon
