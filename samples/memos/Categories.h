#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "Text.h"

namespace memos {

// The standard category block at the start of AppInfo, 276 bytes:
//
//   0    2  bits of renamed categories, most significant byte first
//   2  256  16 names of 16 bytes, zero-padded; an empty name is a free place
// 258   16  their ids
// 274    1  the last id given out
// 275    1  padding
//
// What an application keeps behind it (MemoDB: its sort order) stays as it is.
class Categories {
 public:
  static constexpr int kCount = 16;
  static constexpr size_t kMaxName = 15;

  // Takes the block of a database; one without gets "Unfiled" only.
  Categories(std::string app_info, const SystemText& system);

  // The folder of a category's files; category 0, "Unfiled", has the top one: "".
  std::u16string Folder(int category) const;
  std::optional<int> Find(std::u16string_view folder) const;
  // Makes a category of the folder's name. Nothing when all places are taken or the name doesn't
  // fit in.
  std::optional<int> Add(std::u16string_view folder);

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
