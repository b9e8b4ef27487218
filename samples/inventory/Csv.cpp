#include "Csv.h"

#include "Files.h"

namespace inventory {
namespace {

bool IsLineEnd(char16_t c) { return c == u'\r' || c == u'\n'; }

class Parser {
 public:
  explicit Parser(std::u16string_view text) : text_(text) {}

  std::vector<CsvRow> Run() {
    std::vector<CsvRow> rows;
    while (!AtEnd()) {
      CsvRow& row = rows.emplace_back();
      row.line = line_;
      const size_t start = at_;
      ReadCells(row);
      row.raw = text_.substr(start, at_ - start);
      TakeLineEnd();
    }
    return rows;
  }

 private:
  bool AtEnd() const { return at_ == text_.size(); }
  bool Is(char16_t c) const { return !AtEnd() && text_[at_] == c; }
  bool AtRowEnd() const { return AtEnd() || IsLineEnd(text_[at_]); }

  void ReadCells(CsvRow& row) {
    if (AtRowEnd()) return;
    for (;;) {
      std::u16string& cell = row.cells.emplace_back();
      if (Is(u'"')) {
        ReadQuoted(cell);
        if (!Is(u',') && !AtRowEnd() && row.bad_cell == 0) row.bad_cell = row.cells.size();
      }
      while (!Is(u',') && !AtRowEnd()) cell += text_[at_++];
      if (AtRowEnd()) return;
      ++at_;  // the comma
    }
  }

  void ReadQuoted(std::u16string& cell) {
    const size_t line = line_;
    ++at_;
    for (;; ++at_) {
      if (AtEnd()) {
        throw TableError{u"line " + Decimal(static_cast<long long>(line)) +
                         u": a quote is opened there that nothing closes"};
      }
      if (Is(u'"')) {
        ++at_;
        if (!Is(u'"')) return;
      }
      CountLine();
      cell += text_[at_];
    }
  }

  void TakeLineEnd() {
    if (AtEnd()) return;
    const bool carriage_return = Is(u'\r');
    CountLine();
    ++at_;
    if (carriage_return && Is(u'\n')) {
      CountLine();
      ++at_;
    }
  }

  // Counts the line that ends at this character; CR LF ends one.
  void CountLine() {
    const bool second_half = Is(u'\n') && at_ > 0 && text_[at_ - 1] == u'\r';
    if (IsLineEnd(text_[at_]) && !second_half) ++line_;
  }

  std::u16string_view text_;
  size_t at_ = 0;  // <= text_.size()
  size_t line_ = 1;
};

bool NeedsQuotes(std::u16string_view cell) {
  return cell.find_first_of(u",\"\r\n") != std::u16string_view::npos || cell.starts_with(u' ') ||
         cell.ends_with(u' ');
}

}  // namespace

std::vector<CsvRow> ParseCsv(std::u16string_view text) { return Parser(text).Run(); }

std::u16string FormatCsv(const std::vector<std::u16string>& cells) {
  std::u16string row;
  for (const std::u16string& cell : cells) {
    if (&cell != &cells.front()) row += u',';
    // Nothing at all would be a blank line.
    const bool lone = cell.empty() && cells.size() == 1;
    if (!lone && !NeedsQuotes(cell)) {
      row += cell;
      continue;
    }
    row += u'"';
    for (const char16_t c : cell) {
      if (c == u'"') row += u'"';
      row += c;
    }
    row += u'"';
  }
  return row;
}

}  // namespace inventory
