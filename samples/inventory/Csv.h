#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// Comma-separated values as RFC 4180 has them: a cell in quotes may hold commas, line ends and
// quotes, which are doubled. Lines end in CR LF, LF or CR. A quote inside a cell that does not
// begin with one is a character like others.
namespace inventory {

struct CsvRow {
  size_t line = 0;                    // where it begins, from 1
  std::u16string raw;                 // as it stands in the file, without its line end
  std::vector<std::u16string> cells;  // none: a blank line
  size_t bad_cell = 0;                // from 1; one with more text behind its closing quote
};

// TableError for a quote that is opened and never closed: the rest of the file would be its cell.
std::vector<CsvRow> ParseCsv(std::u16string_view text);

// A row without its line end.
std::u16string FormatCsv(const std::vector<std::u16string>& cells);

}  // namespace inventory
