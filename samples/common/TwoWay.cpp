#include "TwoWay.h"

namespace sample {
namespace {

constexpr std::uint32_t kChecksumBits = 28;
constexpr std::uint32_t kCategoryBits = 4;
constexpr std::uint32_t kMarkBits = 8;
constexpr char16_t kEscape = u'\u001A';

}  // namespace

const Synced* History::Find(long id) const {
  const auto found = records.find(id);
  return found == records.end() ? nullptr : &found->second;
}

const Synced* History::Find(const std::u16string& key) const {
  const auto found = ids.find(key);
  return found == ids.end() ? nullptr : Find(found->second);
}

std::uint64_t HashOf(std::string_view bytes) {
  std::uint64_t hash = 0xcbf29ce484222325;  // FNV-1a
  for (const char c : bytes) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  return hash;
}

std::uint32_t ChecksumOf(std::string_view content) {
  const std::uint64_t hash = HashOf(content);
  const auto folded =
      static_cast<std::uint32_t>(hash ^ hash >> kChecksumBits ^ hash >> 2 * kChecksumBits);
  const std::uint32_t checksum = folded & ((1U << kChecksumBits) - 1);
  return checksum == 0 ? 1 : checksum;
}

bool IsUnchanged(const Side& side, const Synced* last) {
  return last && ChecksumOf(side.content) == last->checksum;
}

Action Decide(const Item* item, const Record* record, const Synced* item_last,
              const Synced* record_last) {
  if (record && !record->problem.empty()) return Action::kSkip;
  if (!item) {
    if (!record || record->deleted) return Action::kNothing;
    if (IsUnchanged(*record, record_last)) return Action::kRemoveRecord;
    return record->content.empty() ? Action::kNothing : Action::kToItem;
  }
  const bool has_problem = !item->problem.empty();
  if (!record) return has_problem ? Action::kSkip : Action::kToRecord;
  const bool item_unchanged = IsUnchanged(*item, item_last);
  if (record->deleted) {
    if (item_unchanged) return Action::kRemoveItem;
    return has_problem ? Action::kSkip : Action::kToRecord;
  }
  if (item->content == record->content) return Action::kNothing;
  if (item_unchanged && !record->content.empty()) return Action::kToItem;
  if (has_problem) return Action::kSkip;
  if (record->content.empty() || IsUnchanged(*record, record_last)) return Action::kToRecord;
  return Action::kConflict;
}

bool ContradictsRecord(const Record& record, const History& saved) {
  const Synced* const entry = saved.Find(record.id);
  return entry && !record.dirty && !record.deleted && !IsUnchanged(record, entry);
}

std::u16string EntryOf(std::u16string_view key, const Holds& holds) {
  std::u16string entry;
  for (const char16_t c : key) {
    if (holds(c)) {
      entry += c;
      continue;
    }
    entry += kEscape;
    for (int shift = 12; shift >= 0; shift -= 4) entry += u"0123456789ABCDEF"[c >> shift & 0xF];
  }
  return entry;
}

std::u16string EntryOf(long id) {
  const std::string digits = std::to_string(id);
  return kEscape + (u"#" + std::u16string(digits.begin(), digits.end()));
}

std::int32_t ToNumber(const Synced& synced) {
  return static_cast<std::int32_t>(synced.checksum << kCategoryBits |
                                   static_cast<std::uint32_t>(synced.category));
}

std::int32_t ToNumber(std::string_view stamp, unsigned char mark) {
  return static_cast<std::int32_t>(ChecksumOf(stamp) << kMarkBits | mark);
}

std::optional<Synced> FromNumber(std::int32_t number) {
  const auto bits = static_cast<std::uint32_t>(number);
  if (bits >> kCategoryBits == 0) return std::nullopt;
  return Synced{bits >> kCategoryBits, static_cast<int>(bits & ((1U << kCategoryBits) - 1))};
}

}  // namespace sample
