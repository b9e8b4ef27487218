#include "appforge/PDBAppforgeDefinition.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <span>
#include <utility>

#include "base/AutomationError.h"
#include "base/Text.h"

namespace pylon {
namespace {

constexpr size_t kMax16 = std::numeric_limits<int16_t>::max();
constexpr size_t kMaxUnsigned16 = std::numeric_limits<uint16_t>::max();

// Where the parts of the AppInfo block lie.
constexpr size_t kCategoryNames = 2;
constexpr size_t kCategoryNameSize = 16;
constexpr size_t kCategoryIds = 258;
constexpr size_t kLastCategoryId = 274;
constexpr size_t kSignature = 276;  // the offsets in the block count from here
constexpr size_t kLastByte = 288;
constexpr size_t kTableName = 290;
constexpr size_t kFieldCount = 292;
constexpr size_t kFixedLength = 294;
constexpr size_t kFields = 300;
constexpr size_t kFieldSize = 6;
constexpr char16_t kAppforge[] = u"APPFORG2";
constexpr size_t kAppforgeSize = 8;

// And those of the SortInfo block.
constexpr char16_t kSort[] = u"SORT";
constexpr size_t kSortSize = 4;
constexpr size_t kSortCount = 16;
constexpr size_t kSortFields = 18;
constexpr size_t kSortFieldSize = 4;
constexpr size_t kSortHeader = 20;

size_t FieldAt(size_t k) { return kFields + kFieldSize * k; }
size_t SortFieldAt(size_t i) { return kSortFields + kSortFieldSize * i; }

}  // namespace

// Reads at the indexes of the array that a stream holds, from 0 whatever its lower bound. Error 9
// outside it.
class PDBAppforgeDefinition::BlockReader {
 public:
  BlockReader(PDBByteStream::Array array, const AnsiCodePage& code_page)
      : array_(std::move(array)), code_page_(&code_page), names_left_(array_.bytes.size()) {}

  uint8_t Byte(size_t index) const { return std::to_integer<uint8_t>(From(index).front()); }
  size_t Word(size_t index) const { return size_t{Byte(index)} * 256 + Byte(index + 1); }

  std::u16string FixedText(size_t index, size_t size) const {
    const ByteSpan bytes = From(index);
    if (bytes.size() < size) throw SubscriptOutOfRange();
    return Cleaned(bytes.first(size));
  }
  // Up to a zero byte, which is not missing. All texts together are no longer than the block, or a
  // small block could claim gigabytes.
  std::u16string Text(size_t index) {
    const ByteSpan bytes = From(index);
    const auto end = std::ranges::find(bytes, std::byte{0});
    const auto size = static_cast<size_t>(end - bytes.begin());
    if (end == bytes.end() || size >= names_left_) throw SubscriptOutOfRange();
    names_left_ -= size + 1;
    return Cleaned(bytes.first(size));
  }

 private:
  // The texts from the index on; not empty.
  ByteSpan From(size_t index) const {
    const int64_t first = static_cast<int64_t>(index) - array_.lower_bound;
    if (first < 0 || first >= static_cast<int64_t>(array_.bytes.size())) {
      throw SubscriptOutOfRange();
    }
    return ByteSpan(array_.bytes).subspan(static_cast<size_t>(first));
  }
  std::u16string Cleaned(ByteSpan bytes) const {
    std::u16string text = code_page_->Decode(bytes);
    std::erase(text, u'\0');
    return std::u16string(Trim(text));
  }

  PDBByteStream::Array array_;
  const AnsiCodePage* code_page_;
  size_t names_left_;
};

// Writes into a block of a known size.
class PDBAppforgeDefinition::BlockWriter {
 public:
  BlockWriter(size_t size, const AnsiCodePage& code_page) : bytes_(size), code_page_(&code_page) {}

  void Byte(size_t at, uint8_t value) { bytes_[at] = std::byte{value}; }
  void Word(size_t at, size_t value, size_t greatest = kMax16) {
    if (value > greatest) throw Overflow();
    StoreUnsigned(value, std::span(bytes_).subspan(at).first<2>(), ByteOrder::kBig);
  }
  // Cut at the size, or followed by zeros up to it.
  void FixedText(size_t at, size_t size, std::u16string_view text) {
    std::ranges::copy(code_page_->Encode(text.substr(0, size)), bytes_.begin() + Distance(at));
  }
  void Text(size_t at, std::u16string_view text) { FixedText(at, text.size(), text); }

  PDBByteStream Stream() && {
    PDBByteStream stream(*code_page_);
    stream.SetByteArray({std::move(bytes_), 0});
    return stream;
  }

 private:
  static ptrdiff_t Distance(size_t at) { return static_cast<ptrdiff_t>(at); }

  Bytes bytes_;
  const AnsiCodePage* code_page_;
};

const PDBAppforgeDefinition::Field& PDBAppforgeDefinition::At(int16_t index) const {
  if (index < 1 || index > FieldCount()) throw SubscriptOutOfRange();
  return fields_[static_cast<size_t>(index) - 1];
}

void PDBAppforgeDefinition::AddFieldName(std::u16string sFieldName, int32_t iFieldType) {
  if (fields_.size() >= kMax16) throw Overflow();
  fields_.push_back({std::move(sFieldName), iFieldType});
}

int16_t PDBAppforgeDefinition::SortFieldIndex(int16_t Index) const {
  if (Index < 0 || Index >= SortFieldCount()) throw SubscriptOutOfRange();
  return sort_fields_[static_cast<size_t>(Index)];
}

bool PDBAppforgeDefinition::IsAppforgeData(const PDBByteStream& oByteStream) try {
  BlockReader block(oByteStream.ByteArray().value_or(PDBByteStream::Array{}), *code_page_);
  category_flags_ = static_cast<int32_t>(block.Word(0));
  for (size_t i = 0; i < kCategories; ++i) {
    category_names_[i] = block.FixedText(kCategoryNames + kCategoryNameSize * i, kCategoryNameSize);
  }
  for (size_t i = 0; i < kCategories; ++i) category_ids_[i] = block.Byte(kCategoryIds + i);
  last_category_id_ = block.Byte(kLastCategoryId);
  if (block.FixedText(kSignature, kAppforgeSize) != kAppforge) return false;

  const size_t count = block.Word(kFieldCount);
  if (count > kMax16) return false;
  std::u16string table_name = block.Text(kSignature + block.Word(kTableName));
  std::vector<Field> fields;
  if (count > 0)
    block.Byte(FieldAt(count) - 3);  // the last one's type, before room is made for all
  fields.reserve(count);
  for (size_t k = 0; k < count; ++k) {
    const size_t at = FieldAt(k);
    // The sum of two bytes, not a number of two: codes are below 256, and files have 0 in the
    // first.
    const int32_t type = block.Byte(at + 2) + block.Byte(at + 3);
    fields.push_back({block.Text(kSignature + block.Word(at)), type});
  }
  table_name_ = std::move(table_name);
  fields_ = std::move(fields);
  return true;
} catch (const AutomationError&) {
  return false;
}

PDBByteStream PDBAppforgeDefinition::AppInfoBlock() const {
  const size_t names = FieldAt(fields_.size());
  size_t size = names + table_name_.size() + 1;
  int32_t fixed_length = 0;
  for (const Field& field : fields_) {
    size += field.name.size() + 1;
    fixed_length += FieldWidth(field.type);
  }
  // Before anything of that size is made; all other offsets in the block are smaller.
  if (size - 1 - kSignature > kMax16) throw Overflow();

  BlockWriter block(size, *code_page_);
  block.Word(0, static_cast<size_t>(category_flags_), kMaxUnsigned16);
  for (size_t i = 0; i < kCategories; ++i) {
    block.FixedText(kCategoryNames + kCategoryNameSize * i, kCategoryNameSize, category_names_[i]);
    block.Byte(kCategoryIds + i, category_ids_[i]);
  }
  block.Byte(kLastCategoryId, last_category_id_);
  block.Text(kSignature, kAppforge);
  block.Word(kLastByte, size - 1 - kSignature);
  block.Word(kTableName, names - kSignature);
  block.Word(kFieldCount, fields_.size());
  block.Word(kFixedLength, static_cast<size_t>(fixed_length), kMaxUnsigned16);
  block.Text(names, table_name_);
  size_t name = names + table_name_.size() + 1;
  for (size_t k = 0; k < fields_.size(); ++k) {
    block.Word(FieldAt(k), name - kSignature);
    // A negative one is too large as well.
    block.Word(FieldAt(k) + 2, static_cast<uint32_t>(fields_[k].type));
    block.Text(name, fields_[k].name);
    name += fields_[k].name.size() + 1;
  }
  return std::move(block).Stream();
}

PDBByteStream PDBAppforgeDefinition::SortInfoBlock() const {
  if (sort_fields_.empty()) return PDBByteStream(*code_page_);
  BlockWriter block(kSortHeader + kSortFieldSize * sort_fields_.size(), *code_page_);
  block.Text(0, kSort);
  block.Word(kSortCount, sort_fields_.size());
  for (size_t i = 0; i < sort_fields_.size(); ++i) {
    block.Word(SortFieldAt(i), static_cast<size_t>(sort_fields_[i]));
  }
  return std::move(block).Stream();
}

void PDBAppforgeDefinition::SetSortInfoBlock(const PDBByteStream& oByteStream) {
  std::optional<PDBByteStream::Array> array = oByteStream.ByteArray();
  if (!array || array->bytes.empty()) return;
  const BlockReader block(*std::move(array), *code_page_);
  if (block.FixedText(0, kSortSize) != kSort) return;
  const size_t count = block.Word(kSortCount);
  if (count > kMax16) throw Overflow();
  if (count > 0) block.Word(SortFieldAt(count - 1));  // before room is made for all
  std::vector<int16_t> sort_fields;
  sort_fields.reserve(count);
  for (size_t i = 0; i < count; ++i) {
    const size_t position = block.Word(SortFieldAt(i));
    if (position > kMax16) throw Overflow();
    sort_fields.push_back(static_cast<int16_t>(position));
  }
  sort_fields_ = std::move(sort_fields);
}

}  // namespace pylon
