#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "MemoText.h"
#include "Plan.h"

namespace memos {

// Why one file could not be read or changed; the others are not concerned.
struct FileError {
  std::u16string reason;
};

// The folder of text files: its own files and those of its sub-folders, one level deep.
//
// Hidden and temporary names (".x", "~x") are passed over, and so are files called "x.tmp" and the
// shell's desktop.ini and Thumbs.db; a folder may have such a name from a category. A file is
// written under a temporary name that then takes its place, so there is never half a file; one that
// changed since it was read is left alone, which is a FileError.
class Folder {
 public:
  explicit Folder(std::filesystem::path root) : root_(std::move(root)) {}

  // Deletes the temporary files that a sync has left behind which was killed.
  void Sweep() const;

  // The files with folder and name, in their order; sub-folders of sub-folders go to `left_out`.
  // A folder that can't be listed is a std::filesystem::filesystem_error: its files are not gone.
  std::vector<MemoFile> List(std::vector<std::filesystem::path>& left_out) const;
  // The files in these folders that List has left out, at any depth, as Place::kTooDeep.
  std::vector<MemoFile> ListLeftOut(const std::vector<std::filesystem::path>& left_out) const;

  // Fills in the rest of the file but its category; what goes wrong becomes its problem.
  void Read(MemoFile& file, const SystemText& system) const;

  // Makes a new file in a sub-folder, which is made when missing, and returns its name: the title,
  // numbered when it is taken.
  std::u16string Create(const std::u16string& folder, const std::u16string& title,
                        std::string_view bytes);
  // The same, but a file of that name or number that holds these bytes already is enough.
  std::u16string Keep(const std::u16string& title, std::string_view bytes);
  // Copies the file, in its sub-folder, and returns the copy's name: the stem, numbered when it is
  // taken, and the same extension.
  std::u16string Copy(const MemoFile& file, const std::u16string& stem);
  // Replace and Move bring what `file` says of its bytes and its place up to date.
  void Replace(MemoFile& file, std::string_view bytes) const;
  void Move(MemoFile& file, const std::u16string& to_folder, const std::u16string& stem);
  void Delete(const MemoFile& file) const;
  // Whether the file still has the bytes that were read. FileError when it can't be read.
  bool IsUnchanged(const MemoFile& file) const;

 private:
  std::filesystem::path PathTo(const MemoFile& file) const;
  std::filesystem::path FreePath(const std::u16string& folder, const std::u16string& stem,
                                 const std::filesystem::path& extension);
  void RequireUnchanged(const MemoFile& file) const;

  // The files that Keep has found or made for a title.
  struct Kept {
    int next = 1;                                   // number of the first file not looked at
    std::map<std::uint64_t, std::u16string> names;  // by HashOf their bytes
  };

  std::filesystem::path root_;
  // The first number that may be free, by the unnumbered path: thousands of files of one name would
  // else look for it among all of them each time.
  std::map<std::filesystem::path, int> next_;
  std::map<std::u16string, Kept> kept_;
};

// The folder that a setting names, relative to `base`, in the one spelling that compares well: no
// "." or "..", no separator at the end. `Contains` expects that of both.
std::filesystem::path FolderPath(const std::filesystem::path& base, const std::u16string& setting);
bool Contains(const std::filesystem::path& outer, std::filesystem::path inner);

// The whole file; FileError when it can't be read.
std::string ReadBytes(const std::filesystem::path& path);
// Writes under a temporary name and renames; FileError, and the old file is still there.
void WriteBytes(const std::filesystem::path& path, std::string_view bytes);

}  // namespace memos
