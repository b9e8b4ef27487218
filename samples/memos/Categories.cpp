#include "Categories.h"

namespace memos {
namespace {

constexpr size_t kNames = 2, kNameSize = 16, kIds = 258, kSize = 276;
constexpr size_t kMemoSize = kSize + 4;  // a fresh block with the memo application's sort order

// Ids from here on are given out by PCs, those below by handhelds.
constexpr unsigned char kFirstId = 128;

}  // namespace

Categories::Categories(std::string app_info, const SystemText& system)
    : app_info_(std::move(app_info)), system_(&system) {
  if (app_info_.size() < kSize) {
    const bool fresh = app_info_.empty();
    app_info_.resize(fresh ? kMemoSize : kSize);
    changed_ = true;
    if (fresh) SetName(0, "Unfiled");
  }
}

std::u16string Categories::Name(int category) const {
  const size_t at = kNames + kNameSize * static_cast<size_t>(category);
  const std::string_view field = std::string_view(app_info_).substr(at, kNameSize);
  return system_->Decode(field.substr(0, field.find('\0')));
}

void Categories::SetName(int category, std::string_view name) {
  const size_t at = kNames + kNameSize * static_cast<size_t>(category);
  app_info_.replace(at, kNameSize, std::string(name) + std::string(kNameSize - name.size(), '\0'));
  changed_ = true;
}

std::u16string Categories::Folder(int category) const {
  if (category == 0) return {};
  const std::u16string name = Name(category);
  return NameFor(name.empty() ? u"Category " + Decimal(category) : name);
}

std::optional<int> Categories::Find(std::u16string_view folder) const {
  if (folder.empty()) return 0;
  const std::u16string wanted = system_->FoldCase(folder);
  if (system_->FoldCase(NameFor(Name(0))) == wanted) return 0;
  for (int i = 1; i < kCount; ++i) {
    if (system_->FoldCase(Folder(i)) == wanted) return i;
  }
  return std::nullopt;
}

void Categories::SetSyncMark(unsigned char mark) {
  app_info_[kMark] = static_cast<char>(mark);
  changed_ = true;
}

Categories::Added Categories::Add(std::u16string_view folder, const std::set<int>& in_use) {
  const auto name = system_->Encode(folder);
  if (!name) return {{}, u"the handheld's code page lacks characters of its folder's name"};
  if (name->size() > kMaxName) {
    return {{}, u"its folder's name has more than the 15 bytes of a category's"};
  }
  // A name that would come back as another one would never be found again.
  if (name->empty() || system_->FoldCase(NameFor(folder)) != system_->FoldCase(folder)) {
    return {{}, u"its folder's name can't be that of a category"};
  }
  int place = 1;
  while (place < kCount && !Name(place).empty()) ++place;
  if (place == kCount) {
    for (place = 1; place < kCount && in_use.contains(place);) ++place;
  }
  if (place == kCount) return {{}, u"its folder can't become a category: all 15 are in use"};

  const std::string_view ids = std::string_view(app_info_).substr(kIds, kCount);
  unsigned char id = kFirstId;
  while (ids.find(static_cast<char>(id)) != std::string_view::npos) ++id;
  app_info_[kIds + static_cast<size_t>(place)] = static_cast<char>(id);
  SetName(place, *name);
  return {place, {}};
}

}  // namespace memos
