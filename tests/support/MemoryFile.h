#pragma once

#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "base/Bytes.h"
#include "tests/support/NamedFile.h"

namespace pylon::testing {

// The kinds of operation that can be made to fail. A write fails by being short: half of its bytes.
enum class FileOperation { kOpen, kRead, kWrite, kClose, kReplace, kRename, kDelete, kQuery };

// Files in memory, by full name, and what happens to them. Outlives its file objects.
class MemoryFolder {
 public:
  std::map<std::u16string, Bytes> files;
  std::set<std::u16string> open;             // by full name: nobody else can open, replace, delete
  std::set<std::u16string> missing_folders;  // until ValidateDirectory makes them
  std::function<void()> while_opening;       // other work that comes in during an open

  FileFactory Factory();

  // The nth such operation from now on fails, once.
  void FailNth(FileOperation operation, int n) { countdown(operation) = n; }
  int operations() const { return operations_; }
  void ResetOperations() { operations_ = 0; }

  // Counts the operation and tells whether it shall go on.
  bool Allow(FileOperation operation) {
    ++operations_;
    int& left = countdown(operation);
    return left == 0 || --left > 0;
  }

 private:
  int& countdown(FileOperation operation) { return countdowns_[static_cast<size_t>(operation)]; }

  int operations_ = 0;
  std::array<int, 8> countdowns_ = {};
};

class MemoryFile final : public NamedFile {
 public:
  explicit MemoryFile(MemoryFolder& folder) : files_(folder) {}
  ~MemoryFile() override { CloseHandle(); }

  bool OpenFile(std::u16string_view name, std::u16string_view mode,
                std::u16string_view folder) override {
    CloseHandle();
    failure_.clear();
    if (!name.empty()) SetFullFileName(name);
    if (!folder.empty()) SetFilePath(folder);
    const std::u16string full = FullFileName();
    if (files_.while_opening) std::exchange(files_.while_opening, nullptr)();
    if (!files_.Allow(FileOperation::kOpen)) return Fail(u"injected open failure");
    if (files_.open.contains(full)) return Fail(u"another program has the file open");
    if (files_.missing_folders.contains(folder_)) return Fail(u"there is no such folder");
    writable_ = mode != u"R";
    if (!writable_ && !files_.files.contains(full)) return Fail(u"there is no such file");
    files_.files[full];
    files_.open.insert(full);
    opened_ = full;
    Bytes& bytes = files_.files[full];
    marked_ = mode != u"W" && bytes.size() >= 2 && bytes[0] == std::byte{0xFF} &&
              bytes[1] == std::byte{0xFE};
    cursor_ = 0;
    return true;
  }
  bool IsOpen() override { return !opened_.empty(); }
  bool CloseFile() override {
    if (!IsOpen()) return true;
    failure_.clear();
    const bool allowed = files_.Allow(FileOperation::kClose);
    if (writable_ && allowed) files_.files[opened_].resize(static_cast<size_t>(cursor_));
    CloseHandle();
    return allowed || Fail(u"injected close failure");
  }
  int32_t FileSize() override {
    files_.Allow(FileOperation::kQuery);
    return IsOpen() ? static_cast<int32_t>(files_.files[opened_].size()) : 0;
  }

  int32_t ReadByteArray(Bytes& out, int32_t offset, int32_t count, std::u16string_view) override {
    failure_.clear();
    out.clear();
    if (!files_.Allow(FileOperation::kRead)) return Fail(u"injected read failure");
    if (!IsOpen()) return Fail(u"the file is not open");
    const Bytes& bytes = files_.files[opened_];
    Seek(offset);
    const size_t start = std::min(static_cast<size_t>(cursor_), bytes.size());
    const size_t size = std::min(static_cast<size_t>(count), bytes.size() - start);
    out.assign(bytes.begin() + static_cast<std::ptrdiff_t>(start),
               bytes.begin() + static_cast<std::ptrdiff_t>(start + size));
    cursor_ += static_cast<int32_t>(size);
    return static_cast<int32_t>(size);
  }
  int32_t WriteByteArray(ByteSpan given, int32_t offset, std::u16string_view) override {
    failure_.clear();
    if (!IsOpen() || !writable_) return Fail(u"the file is not open for writing");
    const bool allowed = files_.Allow(FileOperation::kWrite);
    if (!allowed) {
      Fail(u"injected: the disk is full");
      given = given.first(given.size() / 2);
    }
    Bytes& bytes = files_.files[opened_];
    Seek(offset);
    const size_t end = static_cast<size_t>(cursor_) + given.size();
    if (bytes.size() < end) bytes.resize(end);
    std::ranges::copy(given, bytes.begin() + cursor_);
    cursor_ = static_cast<int32_t>(end);
    return static_cast<int32_t>(given.size());
  }

  bool DeleteFile() override {
    if (!files_.Allow(FileOperation::kDelete)) return Fail(u"injected delete failure");
    const std::u16string full = FullFileName();
    if (files_.open.contains(full)) return Fail(u"the file is open");
    return files_.files.erase(full) > 0 || Fail(u"there is no such file");
  }
  bool RenameFile(std::u16string_view name) override {
    if (!files_.Allow(FileOperation::kRename)) return Fail(u"injected rename failure");
    if (files_.files.contains(FullNameOf(name))) return Fail(u"the name is taken");
    return Take(name);
  }
  bool ReplaceFile(std::u16string_view name) override {
    if (!files_.Allow(FileOperation::kReplace)) return Fail(u"injected replace failure");
    if (files_.open.contains(FullNameOf(name))) return Fail(u"another program has it open");
    return Take(name);
  }
  bool FileExists() override {
    files_.Allow(FileOperation::kQuery);
    return files_.files.contains(FullFileName());
  }
  void ValidateDirectory(std::u16string_view folder) override {
    files_.Allow(FileOperation::kQuery);
    files_.missing_folders.erase(folder.empty() ? folder_ : std::u16string(folder));
  }

 private:
  void CloseHandle() {
    files_.open.erase(opened_);
    opened_.clear();
  }
  void Seek(int32_t offset) {
    if (offset != -1) cursor_ = std::max(offset, 0);
    if (cursor_ == 0 && marked_) cursor_ = 2;
  }
  bool Take(std::u16string_view name) {
    const std::u16string full = FullFileName();
    if (files_.open.contains(full)) return Fail(u"the file is open");
    auto node = files_.files.extract(full);
    if (node.empty()) return Fail(u"there is no such file");
    files_.files[FullNameOf(name)] = std::move(node.mapped());
    SetFullFileName(name);
    return true;
  }

  MemoryFolder& files_;
  std::u16string opened_;  // full name while open
  bool writable_ = false;
  bool marked_ = false;  // begins with the UTF-16 mark, which reading and writing step over
};

inline FileFactory MemoryFolder::Factory() {
  return [this] { return std::make_unique<MemoryFile>(*this); };
}

}  // namespace pylon::testing
