#pragma once

#include <string>

#include "base/Win32.h"
#include "files/FileCalls.h"

namespace pylon {

// Files on the PC's own disks and shares.
class LocalFileCalls final : public FileCalls {
 public:
  uint32_t Open(const std::u16string& path, FileAccess access,
                FileDisposition disposition) override;
  bool IsOpen() const noexcept override { return static_cast<bool>(file_); }
  uint32_t Close() noexcept override;
  uint32_t Size(int64_t& size) override;
  uint32_t Read(int64_t position, std::span<std::byte> bytes, size_t& moved) override;
  uint32_t Write(int64_t position, ByteSpan bytes, size_t& moved) override;
  uint32_t EndAt(int64_t position) override;
  uint32_t Flush() override;
  uint32_t GetTime(FileTime which, DateParts& local) override;
  uint32_t SetTime(FileTime which, const DateParts& local) override;

  bool IsFile(const std::u16string& path) override;
  bool IsFolder(const std::u16string& path) override;
  uint32_t CreateFolder(const std::u16string& path) override;
  uint32_t Delete(const std::u16string& path) override;
  uint32_t Rename(const std::u16string& from, const std::u16string& to) override;
  // In one step: a reader finds the old file or the new one.
  uint32_t Replace(const std::u16string& from, const std::u16string& to) override;
  uint32_t Move(const std::u16string& from, const std::u16string& to) override;
  uint32_t Copy(const std::u16string& from, const std::u16string& to) override;
  bool IsSamePath(const std::u16string& a, const std::u16string& b) override;

  uint32_t CreateTempFile(const std::u16string& prefix, std::u16string& path) override;
  void RemoveTempFile(const std::u16string& path) noexcept override;
  std::u16string TempFolder() const override { return {}; }
  std::u16string Describe(uint32_t error) const override;

  // To the recycle bin, or away for good; only with `confirm` may the shell ask the user.
  static uint32_t Recycle(const std::u16string& path, bool to_bin, bool confirm);

 private:
  uint32_t Seek(int64_t position) noexcept;

  FileHandle file_;
};

}  // namespace pylon
