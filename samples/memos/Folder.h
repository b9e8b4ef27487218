#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "Plan.h"
#include "Text.h"

namespace memos {

// Why one file could not be read or changed; the others are not concerned.
struct FileError {
  std::u16string reason;
};

// The folder of text files: its own files and those of its sub-folders, one level deep.
//
// Hidden and temporary names (".x", "~x", "x.tmp") and the shell's desktop.ini and Thumbs.db are
// passed over. A file is written under a temporary name that then takes its place, so there is
// never half a file; one that changed since it was read is left alone, which is a FileError.
class Folder {
 public:
  explicit Folder(std::filesystem::path root) : root_(std::move(root)) {}

  // Deletes the temporary files that a sync has left behind which was killed.
  void Sweep() const;

  // The files with folder and name, in their order; sub-folders of sub-folders go to `left_out`.
  // A folder that can't be listed is a std::filesystem::filesystem_error: its files are not gone.
  std::vector<MemoFile> List(std::vector<std::u16string>& left_out) const;

  // Fills in the rest of the file but its category; what goes wrong becomes its problem.
  void Read(MemoFile& file, const SystemText& system) const;

  // Makes a new file in a sub-folder, which is made when missing, and returns its name: the title,
  // numbered when it is taken.
  std::u16string Create(const std::u16string& folder, const std::u16string& title,
                        std::string_view bytes) const;
  // The same, but a file of that name or number that holds these bytes already is enough.
  std::u16string Keep(const std::u16string& title, std::string_view bytes) const;
  // Copies the file, in its sub-folder, and returns the copy's name: the stem, numbered when it is
  // taken, and the same extension.
  std::u16string Copy(const MemoFile& file, const std::u16string& stem) const;
  // Replace and Move bring what `file` says of its bytes and its place up to date.
  void Replace(MemoFile& file, std::string_view bytes) const;
  void Move(MemoFile& file, const std::u16string& to_folder, const std::u16string& stem) const;
  void Delete(const MemoFile& file) const;

 private:
  std::filesystem::path PathTo(const MemoFile& file) const;
  std::filesystem::path FreePath(const std::u16string& folder, const std::u16string& stem,
                                 const std::filesystem::path& extension) const;
  void RequireUnchanged(const MemoFile& file) const;

  std::filesystem::path root_;
};

// The whole file; FileError when it can't be read.
std::string ReadBytes(const std::filesystem::path& path);
// Writes under a temporary name and renames; FileError, and the old file is still there.
void WriteBytes(const std::filesystem::path& path, std::string_view bytes);

}  // namespace memos
