#include "Folder.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <system_error>
#include <tuple>

namespace memos {
namespace {

namespace fs = std::filesystem;

// No text file that becomes a memo is longer in any encoding.
constexpr std::uintmax_t kMaxFile = 64 * 1024;

bool IsPassedOver(const std::u16string& name) {
  return name.starts_with(u'.') || name.starts_with(u'~') || name.ends_with(u".tmp") ||
         name == u"desktop.ini" || name == u"Thumbs.db";
}

[[noreturn]] void Fail(std::u16string_view what, std::error_code error) {
  const auto reason = FromUtf8(error.message());
  throw FileError{std::u16string(what) + (reason ? u": " + *reason : u"")};
}

}  // namespace

std::vector<MemoFile> Folder::List(std::vector<std::u16string>& left_out) const {
  std::vector<MemoFile> files;
  auto entry = fs::recursive_directory_iterator(root_);
  for (; entry != fs::recursive_directory_iterator(); ++entry) {
    const std::u16string name = entry->path().filename().u16string();
    const bool in_sub_folder = entry.depth() > 0;
    const auto folder = in_sub_folder ? entry->path().parent_path().filename() : fs::path();
    if (IsPassedOver(name)) {
      entry.disable_recursion_pending();
    } else if (!entry->is_directory()) {
      MemoFile& file = files.emplace_back();
      file.folder = folder.u16string();
      file.name = name;
    } else if (in_sub_folder) {
      left_out.push_back(folder.u16string() + u"\\" + name);
      entry.disable_recursion_pending();
    }
  }
  std::ranges::sort(files, {},
                    [](const MemoFile& file) { return std::tie(file.folder, file.name); });
  return files;
}

void Folder::Read(MemoFile& file, const SystemText& system) const try {
  const fs::path path = PathOf(file);
  file.time = fs::last_write_time(path);
  if (fs::file_size(path) > kMaxFile) {
    file.problem = u"it is too long for a memo";
    return;
  }
  FileText text = ReadFileText(ReadBytes(path), system);
  file.title = system.FoldCase(NameFor(system.Decode(text.memo)));
  file.memo = std::move(text.memo);
  file.problem = std::move(text.problem);
} catch (const FileError& error) {
  file.problem = error.reason;
} catch (const fs::filesystem_error& error) {
  file.problem = FromUtf8(error.code().message()).value_or(u"it can't be read");
}

std::u16string Folder::Create(const std::u16string& folder, const std::u16string& title,
                              std::string_view bytes) const {
  const fs::path path = FreePath(folder, title, u".txt");
  WriteBytes(path, bytes);
  return path.filename().u16string();
}

void Folder::Replace(const MemoFile& file, std::string_view bytes) const {
  RequireUnchanged(file);
  WriteBytes(PathOf(file), bytes);
}

std::u16string Folder::Move(const MemoFile& file, const std::u16string& to_folder) const {
  RequireUnchanged(file);
  const fs::path name(file.name);
  const fs::path target = FreePath(to_folder, name.stem(), name.extension());
  std::error_code error;
  fs::rename(PathOf(file), target, error);
  if (error) Fail(u"it can't be moved", error);
  return target.filename().u16string();
}

void Folder::Delete(const MemoFile& file) const {
  RequireUnchanged(file);
  std::error_code error;
  fs::remove(PathOf(file), error);
  if (error) Fail(u"it can't be deleted", error);
}

fs::path Folder::PathOf(const MemoFile& file) const { return root_ / file.folder / file.name; }

fs::path Folder::FreePath(const std::u16string& folder, const fs::path& stem,
                          const fs::path& extension) const {
  const fs::path parent = root_ / folder;
  std::error_code error;
  fs::create_directories(parent, error);
  if (error) Fail(u"its folder can't be made", error);
  fs::path path = (parent / stem) += extension;
  for (int n = 2; fs::exists(path, error); ++n) {
    path = (parent / stem) += " (" + std::to_string(n) + ")";
    path += extension;
  }
  return path;
}

void Folder::RequireUnchanged(const MemoFile& file) const {
  std::error_code error;
  if (fs::last_write_time(PathOf(file), error) != file.time || error) {
    throw FileError{u"it changed during the sync"};
  }
}

std::string ReadBytes(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(file), {}};
  if (!file.is_open() || file.bad()) throw FileError{u"it can't be read"};
  return bytes;
}

void WriteBytes(const fs::path& path, std::string_view bytes) {
  fs::path temporary = path.parent_path() / u"~";
  temporary += path.filename();
  {
    std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    std::error_code ignored;
    if (!file) {
      fs::remove(temporary, ignored);
      throw FileError{u"it can't be written"};
    }
  }
  std::error_code error;
  fs::rename(temporary, path, error);
  if (!error) return;
  std::error_code ignored;
  fs::remove(temporary, ignored);
  Fail(u"it can't be replaced", error);
}

}  // namespace memos
