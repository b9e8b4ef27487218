#pragma once

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/Text.h"
#include "files/CursorFile.h"
#include "files/FileNames.h"

namespace pylon::testing {

// Paths that lead to the same file of a disk.
struct PathOrder {
  bool operator()(std::u16string_view a, std::u16string_view b) const {
    return DevicePath(a) < DevicePath(b);
  }
};

// A disk in memory with the faults of a real one. Outlives its files.
struct MemoryDisk {
  struct File : Bytes {
    File() = default;
    File(Bytes bytes) : Bytes(std::move(bytes)) {}
    DateParts created{2001, 2, 3, 4, 5, 6};
    DateParts modified{2001, 2, 3, 4, 5, 6};
  };

  std::map<std::u16string, File, PathOrder> files;
  std::set<std::u16string, PathOrder> open;     // which nobody else can open, replace or delete
  std::set<std::u16string, PathOrder> folders;  // none: every folder is there
  size_t room = std::numeric_limits<size_t>::max();  // bytes that writes may still add
  std::vector<std::string> calls;                    // in order, "Read 500"
  std::string fault;                                 // the next call of this name fails, once
  int fault_after = 0;                               // calls of that name that don't
  uint32_t fault_error = file_error::kGeneralFailure;
  int calls_to_live = std::numeric_limits<int>::max();
  std::function<void()> while_opening;  // other work that comes in during the next open

  FileFactory Factory();

  // The nth such call from now on fails, once.
  void FailNth(std::string_view name, int n) {
    fault = n > 0 ? name : std::string_view();
    fault_after = n - 1;
  }
  // Counts the call; its error when it shall fail.
  uint32_t Call(const std::string& name) {
    calls.push_back(name);
    if (calls_to_live <= 0) return 0x80072775;
    --calls_to_live;
    if (fault.empty() || !name.starts_with(fault) || fault_after-- > 0) return 0;
    fault.clear();
    fault_after = 0;
    return fault_error;
  }
  bool HasFolderOf(const std::u16string& path) const {
    const std::u16string name = DevicePath(path);
    return folders.empty() ||
           folders.contains(name.substr(0, std::max<size_t>(name.rfind(u'\\'), 1)));
  }
  std::string Text(std::u16string_view path) const {
    const auto found = files.find(std::u16string(path));
    if (found == files.end()) return "no such file";
    return {reinterpret_cast<const char*>(found->second.data()), found->second.size()};
  }
  void Put(std::u16string_view path, std::string_view text) {
    const auto* first = reinterpret_cast<const std::byte*>(text.data());
    files[std::u16string(path)].assign(first, first + text.size());
  }
};

class MemoryFileCalls final : public FileCalls {
 public:
  explicit MemoryFileCalls(MemoryDisk& disk) : disk_(disk) {}
  ~MemoryFileCalls() override { MemoryFileCalls::Close(); }

  uint32_t Open(const std::u16string& path, FileAccess access,
                FileDisposition disposition) override {
    if (disk_.while_opening) std::exchange(disk_.while_opening, nullptr)();
    if (const uint32_t error = disk_.Call("Open")) return error;
    if (!disk_.HasFolderOf(path)) return file_error::kPathNotFound;
    if (disk_.open.contains(path)) return file_error::kSharingViolation;
    if (!IsFile(path) && disposition == FileDisposition::kOpenExisting) {
      return file_error::kFileNotFound;
    }
    file_ = &disk_.files[path];
    if (disposition == FileDisposition::kCreateAlways) file_->clear();
    disk_.open.insert(path);
    path_ = path;
    access_ = access;
    return 0;
  }
  bool IsOpen() const noexcept override { return file_ != nullptr; }
  uint32_t Close() noexcept override {
    if (!file_) return 0;
    disk_.open.erase(path_);
    file_ = nullptr;
    return disk_.Call("Close");
  }
  uint32_t Size(int64_t& size) override {
    size = static_cast<int64_t>(file_->size());
    return 0;
  }
  uint32_t Read(int64_t position, std::span<std::byte> bytes, size_t& moved) override {
    moved = 0;
    if (access_ == FileAccess::kWrite) return file_error::kAccessDenied;
    if (const uint32_t error = disk_.Call("Read " + std::to_string(bytes.size()))) return error;
    const ByteSpan rest =
        ByteSpan(*file_).subspan(std::min(static_cast<size_t>(position), file_->size()));
    moved = std::min(bytes.size(), rest.size());
    std::ranges::copy(rest.first(moved), bytes.begin());
    return 0;
  }
  uint32_t Write(int64_t position, ByteSpan bytes, size_t& moved) override {
    moved = 0;
    if (access_ == FileAccess::kRead) return file_error::kAccessDenied;
    if (const uint32_t error = disk_.Call("Write " + std::to_string(bytes.size()))) return error;
    moved = std::min(bytes.size(), disk_.room);
    disk_.room -= moved;
    file_->created = {2010, 1, 1, 0, 0, 0};  // as devices may have it
    const auto start = static_cast<size_t>(position);
    file_->resize(std::max(file_->size(), start + moved));
    std::ranges::copy(bytes.first(moved), file_->data() + start);
    return moved == bytes.size() ? 0 : file_error::kDiskFull;
  }
  uint32_t EndAt(int64_t position) override {
    if (const uint32_t error = disk_.Call("EndAt")) return error;
    file_->resize(static_cast<size_t>(position));
    return 0;
  }
  uint32_t Flush() override { return disk_.Call("Flush"); }
  uint32_t GetTime(FileTime which, DateParts& local) override {
    local = which == FileTime::kCreation ? file_->created : file_->modified;
    return disk_.Call("GetTime");
  }
  uint32_t SetTime(FileTime which, const DateParts& local) override {
    if (local.year < 1601) return file_error::kInvalidParameter;
    (which == FileTime::kCreation ? file_->created : file_->modified) = local;
    return disk_.Call("SetTime");
  }

  bool IsFile(const std::u16string& path) override { return disk_.files.contains(path); }
  bool IsFolder(const std::u16string& path) override {
    return disk_.folders.empty() || disk_.folders.contains(path);
  }
  uint32_t CreateFolder(const std::u16string& path) override {
    if (const uint32_t error = disk_.Call("CreateFolder")) return error;
    if (IsFile(path) || IsFolder(path)) return file_error::kAlreadyExists;
    if (!disk_.HasFolderOf(path)) return file_error::kPathNotFound;
    disk_.folders.insert(DevicePath(path));
    return 0;
  }
  uint32_t Delete(const std::u16string& path) override {
    if (const uint32_t error = disk_.Call("Delete")) return error;
    if (disk_.open.contains(path)) return file_error::kSharingViolation;
    return disk_.files.erase(path) > 0 ? 0 : file_error::kFileNotFound;
  }
  uint32_t Rename(const std::u16string& from, const std::u16string& to) override {
    return IsFile(to) ? file_error::kAlreadyExists : Replace(from, to);
  }
  uint32_t Replace(const std::u16string& from, const std::u16string& to) override {
    if (const uint32_t error = disk_.Call("Replace")) return error;
    if (disk_.open.contains(from) || disk_.open.contains(to)) return file_error::kSharingViolation;
    auto node = disk_.files.extract(from);
    if (node.empty()) return file_error::kFileNotFound;
    disk_.files.insert_or_assign(to, std::move(node.mapped()));
    return 0;
  }
  uint32_t Move(const std::u16string& from, const std::u16string& to) override {
    return Replace(from, to);
  }
  uint32_t Copy(const std::u16string& from, const std::u16string& to) override {
    if (const uint32_t error = disk_.Call("Copy")) return error;
    if (!IsFile(from)) return file_error::kFileNotFound;
    disk_.files[to] = disk_.files[from];
    return 0;
  }
  bool IsSamePath(const std::u16string& a, const std::u16string& b) override {
    return EqualsIgnoringCase(DevicePath(a), DevicePath(b));
  }
  uint32_t CreateTempFile(const std::u16string& prefix, std::u16string& path) override {
    if (const uint32_t error = disk_.Call("CreateTempFile")) return error;
    path = u"\\pc\\" + prefix + ToText(++temp_files_) + u".tmp";
    disk_.files[path];
    return 0;
  }
  void RemoveTempFile(const std::u16string& path) noexcept override { disk_.files.erase(path); }
  std::u16string TempFolder() const override { return {}; }
  std::u16string Describe(uint32_t error) const override {
    return u"error " + ToText(static_cast<int32_t>(error));
  }

 private:
  MemoryDisk& disk_;
  MemoryDisk::File* file_ = nullptr;  // of path_, while open
  std::u16string path_;
  FileAccess access_ = FileAccess::kRead;
  static inline int temp_files_ = 0;
};

class MemoryCursorFile final : public CursorFile {
 public:
  explicit MemoryCursorFile(MemoryDisk& disk)
      : CursorFile(std::make_unique<MemoryFileCalls>(disk), WriteMode::kKeepsContents, u"\\",
                   AnsiCodePage::Windows1252()) {}
};

inline FileFactory MemoryDisk::Factory() {
  return [this] { return std::make_unique<MemoryCursorFile>(*this); };
}

}  // namespace pylon::testing
