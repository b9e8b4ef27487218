#pragma once

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "base/Text.h"
#include "files/CursorFile.h"
#include "files/FileNames.h"

namespace pylon::testing {

// A disk in memory with the faults of a real one, by path as DevicePath writes it. Outlives its
// files.
struct MemoryDisk {
  struct File {
    Bytes bytes;
    DateParts created{2001, 2, 3, 4, 5, 6};
    DateParts modified{2001, 2, 3, 4, 5, 6};
    bool open = false;
  };

  std::map<std::u16string, File> files;
  std::set<std::u16string> folders{u"\\", u"\\pc"};
  size_t room = std::numeric_limits<size_t>::max();  // bytes that writes may still add
  std::vector<std::string> calls;                    // in order, "Read 500"
  std::string fault;                                 // the next call of this name fails, once
  int calls_to_live = std::numeric_limits<int>::max();

  // Counts the call; its error when it shall fail.
  uint32_t Call(const std::string& name) {
    calls.push_back(name);
    if (calls_to_live <= 0) return 0x80072775;
    --calls_to_live;
    if (fault.empty() || !name.starts_with(fault)) return 0;
    fault.clear();
    return file_error::kGeneralFailure;
  }
  bool HasFolderOf(const std::u16string& path) const {
    return folders.contains(path.substr(0, std::max<size_t>(path.rfind(u'\\'), 1)));
  }
  std::string Text(std::u16string_view path) const {
    const auto found = files.find(DevicePath(path));
    if (found == files.end()) return "no such file";
    const Bytes& bytes = found->second.bytes;
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
  }
  void Put(std::u16string_view path, std::string_view text) {
    const auto* first = reinterpret_cast<const std::byte*>(text.data());
    files[DevicePath(path)].bytes.assign(first, first + text.size());
  }
};

class MemoryFileCalls final : public FileCalls {
 public:
  explicit MemoryFileCalls(MemoryDisk& disk) : disk_(disk) {}
  ~MemoryFileCalls() override { MemoryFileCalls::Close(); }

  uint32_t Open(const std::u16string& path, FileAccess access,
                FileDisposition disposition) override {
    const std::u16string name = DevicePath(path);
    if (const uint32_t error = disk_.Call("Open")) return error;
    if (!disk_.HasFolderOf(name)) return file_error::kPathNotFound;
    const bool there = disk_.files.contains(name);
    if (!there && disposition == FileDisposition::kOpenExisting) return file_error::kFileNotFound;
    MemoryDisk::File& file = disk_.files[name];
    if (file.open) return file_error::kSharingViolation;
    if (disposition == FileDisposition::kCreateAlways) file.bytes.clear();
    file.open = true;
    file_ = &file;
    access_ = access;
    return 0;
  }
  bool IsOpen() const noexcept override { return file_ != nullptr; }
  uint32_t Close() noexcept override {
    if (!file_) return 0;
    file_->open = false;
    file_ = nullptr;
    return disk_.Call("Close");
  }
  uint32_t Size(int64_t& size) override {
    size = static_cast<int64_t>(file_->bytes.size());
    return 0;
  }
  uint32_t Read(int64_t position, std::span<std::byte> bytes, size_t& moved) override {
    moved = 0;
    if (access_ == FileAccess::kWrite) return file_error::kAccessDenied;
    if (const uint32_t error = disk_.Call("Read " + std::to_string(bytes.size()))) return error;
    const auto start = std::min(static_cast<size_t>(position), file_->bytes.size());
    moved = std::min(bytes.size(), file_->bytes.size() - start);
    std::copy_n(file_->bytes.begin() + static_cast<std::ptrdiff_t>(start), moved, bytes.begin());
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
    file_->bytes.resize(std::max(file_->bytes.size(), start + moved));
    std::copy_n(bytes.begin(), moved, file_->bytes.begin() + static_cast<std::ptrdiff_t>(start));
    return moved == bytes.size() ? 0 : file_error::kDiskFull;
  }
  uint32_t EndAt(int64_t position) override {
    if (const uint32_t error = disk_.Call("EndAt")) return error;
    file_->bytes.resize(static_cast<size_t>(position));
    return 0;
  }
  uint32_t Flush() override { return 0; }
  uint32_t GetTime(FileTime which, DateParts& local) override {
    local = which == FileTime::kCreation ? file_->created : file_->modified;
    return disk_.Call("GetTime");
  }
  uint32_t SetTime(FileTime which, const DateParts& local) override {
    if (local.year < 1601) return file_error::kInvalidParameter;
    (which == FileTime::kCreation ? file_->created : file_->modified) = local;
    return disk_.Call("SetTime");
  }

  bool IsFile(const std::u16string& path) override {
    return disk_.files.contains(DevicePath(path));
  }
  bool IsFolder(const std::u16string& path) override {
    return disk_.folders.contains(DevicePath(path));
  }
  uint32_t CreateFolder(const std::u16string& path) override {
    if (const uint32_t error = disk_.Call("CreateFolder")) return error;
    if (IsFile(path)) return file_error::kAlreadyExists;
    if (!disk_.HasFolderOf(DevicePath(path))) return file_error::kPathNotFound;
    disk_.folders.insert(DevicePath(path));
    return 0;
  }
  uint32_t Delete(const std::u16string& path) override {
    if (const uint32_t error = disk_.Call("Delete")) return error;
    const auto found = disk_.files.find(DevicePath(path));
    if (found == disk_.files.end()) return file_error::kFileNotFound;
    if (found->second.open) return file_error::kSharingViolation;
    disk_.files.erase(found);
    return 0;
  }
  uint32_t Rename(const std::u16string& from, const std::u16string& to) override {
    if (IsFile(to)) return file_error::kAlreadyExists;
    return Replace(from, to);
  }
  uint32_t Replace(const std::u16string& from, const std::u16string& to) override {
    if (const uint32_t error = disk_.Call("Replace")) return error;
    const auto target = disk_.files.find(DevicePath(to));
    if (target != disk_.files.end() && target->second.open) return file_error::kSharingViolation;
    auto node = disk_.files.extract(DevicePath(from));
    if (node.empty()) return file_error::kFileNotFound;
    disk_.files.insert_or_assign(DevicePath(to), std::move(node.mapped()));
    return 0;
  }
  uint32_t Move(const std::u16string& from, const std::u16string& to) override {
    return Replace(from, to);
  }
  uint32_t Copy(const std::u16string& from, const std::u16string& to) override {
    if (const uint32_t error = disk_.Call("Copy")) return error;
    if (!IsFile(from)) return file_error::kFileNotFound;
    disk_.files[DevicePath(to)] = disk_.files[DevicePath(from)];
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
  void RemoveTempFile(const std::u16string& path) noexcept override {
    disk_.files.erase(DevicePath(path));
  }
  std::u16string TempFolder() const override { return {}; }
  std::u16string Describe(uint32_t error) const override {
    return u"error " + ToText(static_cast<int32_t>(error));
  }

 private:
  MemoryDisk& disk_;
  MemoryDisk::File* file_ = nullptr;
  FileAccess access_ = FileAccess::kRead;
  static inline int temp_files_ = 0;
};

class MemoryCursorFile final : public CursorFile {
 public:
  explicit MemoryCursorFile(MemoryDisk& disk)
      : CursorFile(std::make_unique<MemoryFileCalls>(disk), WriteMode::kKeepsContents, u"\\",
                   AnsiCodePage::Windows1252()) {}
};

}  // namespace pylon::testing
