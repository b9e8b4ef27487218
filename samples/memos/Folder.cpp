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

// One for each folder, as there is one sync at a time. Distinctive, so that sweeping it away never
// takes a file of somebody else.
constexpr std::u16string_view kTemporary = u"~memos-sync.tmp";

bool IsPassedOver(const fs::directory_entry& entry) {
  const std::u16string name = entry.path().filename().u16string();
  if (name.starts_with(u'.') || name.starts_with(u'~')) return true;
  if (entry.is_directory()) return false;
  return name.ends_with(u".tmp") || name == u"desktop.ini" || name == u"Thumbs.db";
}

[[noreturn]] void Fail(std::u16string_view what, std::error_code error) {
  const auto reason = FromUtf8(error.message());
  throw FileError{std::u16string(what) + (reason ? u": " + *reason : u"")};
}

// "stem.txt", then "stem (2).txt".
fs::path Numbered(const fs::path& parent, const fs::path& stem, const fs::path& extension, int n) {
  fs::path path = parent / stem;
  if (n > 1) path += " (" + std::to_string(n) + ")";
  path += extension;
  return path;
}

}  // namespace

void Folder::Sweep() const {
  // One that can't be listed or deleted, too, is met again where it matters: by List and
  // WriteBytes.
  std::error_code ignored;
  fs::remove(root_ / kTemporary, ignored);
  for (const auto& entry : fs::directory_iterator(root_, ignored)) {
    if (entry.is_directory(ignored)) fs::remove(entry.path() / kTemporary, ignored);
  }
}

std::vector<MemoFile> Folder::List(std::vector<fs::path>& left_out) const {
  std::vector<MemoFile> files;
  auto entry = fs::recursive_directory_iterator(root_);
  for (; entry != fs::recursive_directory_iterator(); ++entry) {
    const std::u16string name = entry->path().filename().u16string();
    const bool in_sub_folder = entry.depth() > 0;
    const auto folder = in_sub_folder ? entry->path().parent_path().filename() : fs::path();
    if (IsPassedOver(*entry)) {
      entry.disable_recursion_pending();
    } else if (!entry->is_directory()) {
      MemoFile& file = files.emplace_back();
      file.folder = folder.u16string();
      file.name = name;
    } else if (in_sub_folder) {
      left_out.push_back(folder / name);
      entry.disable_recursion_pending();
    }
  }
  std::ranges::sort(files, {},
                    [](const MemoFile& file) { return std::tie(file.folder, file.name); });
  return files;
}

std::vector<MemoFile> Folder::ListLeftOut(const std::vector<fs::path>& left_out) const {
  std::vector<MemoFile> files;
  for (const fs::path& folder : left_out) {
    const auto options = fs::directory_options::skip_permission_denied;
    auto entry = fs::recursive_directory_iterator(root_ / folder, options);
    for (; entry != fs::recursive_directory_iterator(); ++entry) {
      if (IsPassedOver(*entry)) {
        entry.disable_recursion_pending();
      } else if (!entry->is_directory()) {
        MemoFile& file = files.emplace_back();
        file.folder = entry->path().parent_path().lexically_relative(root_).u16string();
        file.name = entry->path().filename().u16string();
        file.place = MemoFile::Place::kTooDeep;
      }
    }
  }
  return files;
}

void Folder::Read(MemoFile& file, const SystemText& system) const try {
  const fs::path path = PathTo(file);
  if (fs::file_size(path) > kMaxFile) {
    file.problem = u"it is too long for a memo";
    return;
  }
  const std::string bytes = ReadBytes(path);
  FileMemo text = ReadMemo(bytes, system);
  file.hash = HashOf(bytes);
  file.title = system.FoldCase(NameFor(system.Decode(text.memo)));
  file.content = std::move(text.memo);
  file.problem = std::move(text.problem);
} catch (const FileError& error) {
  file.problem = error.reason;
} catch (const fs::filesystem_error& error) {
  file.problem = FromUtf8(error.code().message()).value_or(u"it can't be read");
}

std::u16string Folder::Create(const std::u16string& folder, const std::u16string& title,
                              std::string_view bytes) {
  const fs::path path = FreePath(folder, title, u".txt");
  WriteBytes(path, bytes);
  return path.filename().u16string();
}

std::u16string Folder::Keep(const std::u16string& title, std::string_view bytes) {
  Kept& kept = kept_[title];
  std::error_code error;
  for (;; ++kept.next) {
    const fs::path path = Numbered(root_, title, u".txt", kept.next);
    if (!fs::exists(path, error)) break;
    if (fs::is_regular_file(path, error)) {
      kept.names.emplace(HashOf(ReadBytes(path)), path.filename().u16string());
    }
  }
  const auto same = kept.names.find(HashOf(bytes));
  if (same != kept.names.end() && ReadBytes(root_ / same->second) == bytes) return same->second;
  return Create({}, title, bytes);
}

std::u16string Folder::Copy(const MemoFile& file, const std::u16string& stem) {
  const std::string bytes = ReadBytes(PathTo(file));
  if (HashOf(bytes) != file.hash) throw FileError{u"it changed during the sync"};
  const fs::path path = FreePath(file.folder, stem, fs::path(file.name).extension());
  WriteBytes(path, bytes);
  return path.filename().u16string();
}

void Folder::Replace(MemoFile& file, std::string_view bytes) const {
  RequireUnchanged(file);
  WriteBytes(PathTo(file), bytes);
  file.hash = HashOf(bytes);
}

void Folder::Move(MemoFile& file, const std::u16string& to_folder, const std::u16string& stem) {
  RequireUnchanged(file);
  const fs::path target = FreePath(to_folder, stem, fs::path(file.name).extension());
  std::error_code error;
  fs::rename(PathTo(file), target, error);
  if (error) Fail(u"it can't be moved", error);
  file.folder = to_folder;
  file.name = target.filename().u16string();
}

void Folder::Delete(const MemoFile& file) const {
  RequireUnchanged(file);
  std::error_code error;
  fs::remove(PathTo(file), error);
  if (error) Fail(u"it can't be deleted", error);
}

fs::path Folder::PathTo(const MemoFile& file) const { return root_ / file.folder / file.name; }

fs::path Folder::FreePath(const std::u16string& folder, const std::u16string& stem,
                          const fs::path& extension) {
  const fs::path parent = root_ / folder;
  std::error_code error;
  fs::create_directories(parent, error);
  if (error) Fail(u"its folder can't be made", error);
  int& n = next_.emplace(Numbered(parent, stem, extension, 1), 1).first->second;
  while (fs::exists(Numbered(parent, stem, extension, n), error)) ++n;
  return Numbered(parent, stem, extension, n);
}

// By its bytes: a file's time may be too coarse to tell.
bool Folder::IsUnchanged(const MemoFile& file) const {
  return HashOf(ReadBytes(PathTo(file))) == file.hash;
}

void Folder::RequireUnchanged(const MemoFile& file) const {
  if (!IsUnchanged(file)) throw FileError{u"it changed during the sync"};
}

fs::path FolderPath(const fs::path& base, const std::u16string& setting) {
  const fs::path path = (base / setting).lexically_normal();
  return path.has_filename() || !path.has_relative_path() ? path : path.parent_path();
}

bool Contains(const fs::path& outer, fs::path inner) {
  for (std::error_code error; !inner.empty(); inner = inner.parent_path()) {
    if (fs::equivalent(outer, inner, error)) return true;
    if (inner == inner.parent_path()) break;
  }
  return false;
}

std::string ReadBytes(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(file), {}};
  if (!file.is_open() || file.bad()) throw FileError{u"it can't be read"};
  return bytes;
}

void WriteBytes(const fs::path& path, std::string_view bytes) {
  const fs::path temporary = path.parent_path() / kTemporary;
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
