#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

#include "base/Text.h"
#include "tests/support/NamedFile.h"

namespace pylon::testing {

// Local files where the tests run natively. Not flushed to the disk unless asked to: a benchmark
// of this code would measure the disk.
class PosixFile final : public NamedFile {
 public:
  explicit PosixFile(bool flush = false) : flush_(flush) {}
  ~PosixFile() override { CloseFile(); }

  bool OpenFile(std::u16string_view name, std::u16string_view mode,
                std::u16string_view folder) override {
    CloseFile();
    failure_.clear();
    if (!name.empty()) SetFullFileName(name);
    if (!folder.empty()) SetFilePath(folder);
    writable_ = mode != u"R";
    const int flags = !writable_ ? O_RDONLY : O_CREAT | (mode == u"W" ? O_WRONLY : O_RDWR);
    handle_ = ::open(Path(FullFileName()).c_str(), flags | O_CLOEXEC, 0666);
    cursor_ = 0;
    return IsOpen() || Fail(u"open failed");
  }
  bool IsOpen() override { return handle_ >= 0; }
  bool CloseFile() override {
    if (!IsOpen()) return true;
    bool good = !writable_ || ::ftruncate(handle_, cursor_) == 0;
    if (writable_ && flush_) good = ::fsync(handle_) == 0 && good;
    good = ::close(handle_) == 0 && good;
    handle_ = -1;
    return good || Fail(u"close failed");
  }
  int32_t FileSize() override {
    struct stat status = {};
    return ::fstat(handle_, &status) == 0 ? static_cast<int32_t>(status.st_size) : 0;
  }

  int32_t ReadByteArray(Bytes& out, int32_t offset, int32_t count, std::u16string_view) override {
    if (offset != -1) cursor_ = std::max(offset, 0);
    out.resize(static_cast<size_t>(std::clamp(FileSize() - cursor_, 0, count)));
    size_t done = 0;
    while (done < out.size()) {
      const ssize_t n = ::pread(handle_, out.data() + done, out.size() - done,
                                cursor_ + static_cast<off_t>(done));
      if (n <= 0) break;
      done += static_cast<size_t>(n);
    }
    out.resize(done);
    cursor_ += static_cast<int32_t>(done);
    return static_cast<int32_t>(done);
  }
  int32_t WriteByteArray(ByteSpan given, int32_t offset, std::u16string_view) override {
    if (offset != -1) cursor_ = std::max(offset, 0);
    size_t done = 0;
    while (done < given.size()) {
      const ssize_t n = ::pwrite(handle_, given.data() + done, given.size() - done,
                                 cursor_ + static_cast<off_t>(done));
      if (n <= 0) break;
      done += static_cast<size_t>(n);
    }
    cursor_ += static_cast<int32_t>(done);
    return static_cast<int32_t>(done);
  }

  bool DeleteFile() override { return ::unlink(Path(FullFileName()).c_str()) == 0; }
  bool RenameFile(std::u16string_view name) override {
    if (::access(Path(FullNameOf(name)).c_str(), F_OK) == 0) return Fail(u"the name is taken");
    return ReplaceFile(name);
  }
  bool ReplaceFile(std::u16string_view name) override {
    if (std::rename(Path(FullFileName()).c_str(), Path(FullNameOf(name)).c_str()) != 0) {
      return Fail(u"rename failed");
    }
    SetFullFileName(name);
    return true;
  }
  bool FileExists() override { return ::access(Path(FullFileName()).c_str(), F_OK) == 0; }
  void ValidateDirectory(std::u16string_view folder) override {
    ::mkdir(Path(folder.empty() ? folder_ : std::u16string(folder)).c_str(), 0777);
  }

 private:
  static std::string Path(std::u16string name) {
    std::ranges::replace(name, u'\\', u'/');
    return ToUtf8(name);
  }

  bool flush_;
  bool writable_ = false;
  int handle_ = -1;
};

}  // namespace pylon::testing
