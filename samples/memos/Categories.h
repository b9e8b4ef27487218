#pragma once

#include <array>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "MemoText.h"

namespace memos {

// The standard category block at the start of AppInfo, 276 bytes:
//
//   0    2  bits of renamed categories, most significant byte first
//   2  256  16 names of 16 bytes, zero-padded; an empty name is a free place
// 258   16  their ids
// 274    1  the last id given out
// 275    1  padding, which nobody else uses: the sync mark
//
// What an application keeps behind it (MemoDB: its sort order) stays as it is.
class Categories {
 public:
  static constexpr int kCount = 16;
  static constexpr size_t kMaxName = 15;
  static constexpr size_t kMark = 275;

  // Takes the block of a database; one without gets "Unfiled" only.
  Categories(std::string app_info, const SystemText& system);

  // The folder of a category's files; category 0, "Unfiled", has the top one: "".
  std::u16string Folder(int category) const;
  std::optional<int> Find(std::u16string_view folder) const;
  struct Added {
    std::optional<int> category;
    std::u16string problem;  // why there is none
  };
  // Makes a category of the folder's name. When all places are taken it gets that of a category
  // that isn't `in_use`.
  Added Add(std::u16string_view folder, const std::set<int>& in_use);

  // Changes with what a sync knows of the records, so that it tells an older backup of the
  // database, or another one, from the one that was saved last. 1 to 255; 0 in a block that has
  // none.
  unsigned char SyncMark() const { return static_cast<unsigned char>(app_info_[kMark]); }
  void SetSyncMark(unsigned char mark);

  // The block to write; `changed` says whether it needs to be.
  const std::string& app_info() const { return app_info_; }
  bool changed() const { return changed_; }

 private:
  std::u16string Name(int category) const;
  void SetName(int category, std::string_view name);

  std::string app_info_;  // at least kSize bytes
  const SystemText* system_;
  bool changed_ = false;
};

}  // namespace memos
