#include "startup/cCommandLine.h"

#include <utility>

#include "base/Text.h"

namespace pylon {
namespace {

// Cuts the text up to the next `mark` from the front of `rest`, and the mark with it; all of it
// when there is none.
std::u16string_view CutTo(std::u16string_view& rest, char16_t mark) noexcept {
  const size_t end = rest.find(mark);
  const std::u16string_view cut = rest.substr(0, end);
  rest.remove_prefix(end == std::u16string_view::npos ? rest.size() : end + 1);
  return cut;
}

// Only a blank separates: a tab belongs to its argument.
std::u16string_view CutToken(std::u16string_view& rest) noexcept {
  if (rest.front() != u'"') return CutTo(rest, u' ');
  rest.remove_prefix(1);
  return CutTo(rest, u'"');
}

std::u16string Joined(const std::vector<std::u16string>& values) {
  std::u16string text;
  for (const std::u16string& value : values) {
    if (&value != &values.front()) text.push_back(cCommandLine::kSeparator);
    text += value;
  }
  return text;
}

}  // namespace

void cCommandLine::SetCommandLine(std::u16string_view text) {
  text_ = text;
  entries_.assign(1, Entry());
  size_t current = 0;
  for (std::u16string_view rest = text_; !rest.empty();) {
    const std::u16string_view token = CutToken(rest);
    if (!token.empty()) Take(token, current);
  }
}

// Stores one token; `current` is the entry that gets plain ones.
void cCommandLine::Take(std::u16string_view token, size_t& current) {
  const bool prefixed = token.front() == u'-' || token.front() == u'/';
  if (!prefixed) {
    AddValue(entries_[current], std::u16string(token));
    return;
  }
  const std::u16string_view name = token.substr(1);
  std::u16string key = ToLower(name);
  const auto known = switches_.find(key);
  if (known == switches_.end()) {
    AddValue(entries_.front(), u"-" + std::u16string(name));
    return;
  }
  entries_.push_back({std::move(key), {}});
  current = known->second ? entries_.size() - 1 : 0;
}

void cCommandLine::AddValue(Entry& entry, std::u16string value) {
  if (entry.values.size() < kMostValues) entry.values.push_back(std::move(value));
}

void cCommandLine::AddSwitch(std::u16string_view name, bool TakesValue) {
  switches_.emplace(ToLower(name), TakesValue);
}

std::u16string cCommandLine::MainArg() const { return Joined(entries_.front().values); }

std::u16string cCommandLine::SwitchValue(std::u16string_view name) const {
  const Entry* entry = Find(name);
  return entry ? Joined(entry->values) : std::u16string();
}

bool cCommandLine::HasSwitch(std::u16string_view name) const { return Find(name) != nullptr; }

const cCommandLine::Entry* cCommandLine::Find(std::u16string_view name) const {
  const std::u16string key = ToLower(name);
  for (size_t i = 1; i < entries_.size(); ++i) {
    if (entries_[i].name == key) return &entries_[i];
  }
  return nullptr;
}

std::u16string_view ArgumentText(std::u16string_view command_line) noexcept {
  // The program's name ends where the system's own rules end it: at the closing quote, or at the
  // first blank or tab.
  if (command_line.starts_with(u'"')) {
    const size_t quote = command_line.find(u'"', 1);
    command_line.remove_prefix(quote == std::u16string_view::npos ? command_line.size()
                                                                  : quote + 1);
  } else {
    const size_t end = command_line.find_first_of(u" \t");
    command_line.remove_prefix(end == std::u16string_view::npos ? command_line.size() : end);
  }
  const size_t start = command_line.find_first_not_of(u" \t");
  return start == std::u16string_view::npos ? std::u16string_view() : command_line.substr(start);
}

}  // namespace pylon
