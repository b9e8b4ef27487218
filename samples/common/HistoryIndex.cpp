#include "HistoryIndex.h"

#include <cmath>

namespace sample {

using com::Bstr;
using com::Check;

HistoryIndex::HistoryIndex(PDBDatabase& database, std::u16string_view place,
                           const SystemText& system, ToKey to_key)
    : system_(system), to_key_(to_key) {
  Check(database.get_SyncIndex(&index_));
  DATE created = 0;
  Bstr path;
  Check(database.CreateDateTime(&created));
  (void)database.get_PDBFilePath(&path);  // a database on a handheld has none
  stamp_ = std::to_string(std::lround(created)) + " " +
           ToUtf8(system.FoldCase(path.Text() + u" " + std::u16string(place)));
}

bool HistoryIndex::IsKnown() const {
  const std::int32_t number = Number(kStampEntry);
  return number == ToNumber(stamp_, static_cast<unsigned char>(number));
}

void HistoryIndex::Write(const History& history, unsigned char mark) {
  if (history == found_ && !outdated_) return;
  Check(index_->Clear());
  Add(kStampEntry, ToNumber(stamp_, mark));
  for (const auto& [key, id] : history.ids) Add(EntryOfKey(key), id);
  for (const auto& [id, synced] : history.records) Add(EntryOf(id), ToNumber(synced));
}

std::u16string HistoryIndex::EntryOfKey(std::u16string_view key) const {
  return EntryOf(to_key_(key, system_), [&](char16_t c) {
    return system_.Encode({&c, 1}).has_value();
  });
}

std::int32_t HistoryIndex::Number(std::u16string_view entry) const {
  long number = 0;
  Check(index_->get_UniqueId(Bstr(entry), &number));
  return number;
}

void HistoryIndex::Add(std::u16string_view entry, std::int32_t number) const {
  Check(index_->Add(Bstr(entry), number));
}

}  // namespace sample
