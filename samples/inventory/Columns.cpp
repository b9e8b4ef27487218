#include "Columns.h"

#include <algorithm>
#include <array>

#include "Files.h"

namespace inventory {
namespace {

constexpr std::array<std::u16string_view, 11> kTypeNames = {
    u"",        u"byte", u"integer", u"long",     u"float",    u"string",
    u"boolean", u"date", u"double",  u"currency", u"signature"};
constexpr size_t kMaxKey = 255;
constexpr std::u16string_view kHexDigits = u"0123456789abcdef";

std::u16string Lower(std::u16string_view text) {
  std::u16string lower(text);
  for (char16_t& c : lower) {
    if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c - u'A' + u'a');
  }
  return lower;
}

std::u16string_view Trim(std::u16string_view text) {
  const size_t start = std::min(text.find_first_not_of(u' '), text.size());
  text.remove_prefix(start);
  return text.substr(0, text.find_last_not_of(u' ') + 1);
}

std::u16string Ordinal(size_t column) {
  return u"column " + Decimal(static_cast<long long>(column));
}

std::u16string Describe(const Column& column) {
  // A table that comes from elsewhere may have a type without a name.
  const auto type = static_cast<size_t>(column.type);
  return column.name + u":" +
         (type < kTypeNames.size() ? std::u16string(kTypeNames[type])
                                   : Decimal(static_cast<long long>(type)));
}

Column ParseColumn(std::u16string_view cell, size_t number) {
  const size_t colon = cell.rfind(u':');
  const std::u16string_view name = Trim(cell.substr(0, colon));
  if (colon == std::u16string_view::npos || name.empty()) {
    throw TableError{u"the header must name each column and its type, such as \"Stock:long\"; " +
                     Ordinal(number) + u" is \"" + std::u16string(cell) + u"\""};
  }
  if (name.find_first_of(u":;\t\r\n") != std::u16string_view::npos) {
    throw TableError{u"the name of " + Ordinal(number) + u" can't be \"" + std::u16string(name) +
                     u"\"; commas are what separates columns"};
  }
  const std::u16string type = Lower(Trim(cell.substr(colon + 1)));
  const auto found = std::find(kTypeNames.begin() + 1, kTypeNames.end(), type);
  if (found == kTypeNames.end()) {
    std::u16string known;
    for (size_t i = 1; i < kTypeNames.size(); ++i) {
      known += (i > 1 ? u", " : u"") + std::u16string(kTypeNames[i]);
    }
    throw TableError{u"there is no type \"" + type + u"\" for " + Ordinal(number) + u" (" +
                     std::u16string(name) + u"); the types are " + known};
  }
  return {std::u16string(name), static_cast<FieldType>(found - kTypeNames.begin())};
}

// Digits with a sign and up to so many decimals, zeros at the end not counted.
bool IsDecimal(std::u16string_view text, size_t decimals) {
  const auto digits = [](std::u16string_view part) {
    return std::ranges::all_of(part, [](char16_t c) { return c >= u'0' && c <= u'9'; });
  };
  text = Trim(text);
  if (text.starts_with(u'-') || text.starts_with(u'+')) text.remove_prefix(1);
  const size_t point = std::min(text.find(u'.'), text.size());
  const std::u16string_view whole = text.substr(0, point);
  const std::u16string_view rest = text.substr(std::min(point + 1, text.size()));
  return !(whole.empty() && rest.empty()) && digits(whole) && digits(rest) &&
         rest.find_last_not_of(u'0') + 1 <= decimals;
}

}  // namespace

Columns ParseHeader(const CsvRow& row) {
  Columns columns;
  for (const std::u16string& cell : row.cells) {
    Column column = ParseColumn(cell, columns.size() + 1);
    if (std::ranges::find(columns, column.name, &Column::name) != columns.end()) {
      throw TableError{u"two columns are called \"" + column.name + u"\""};
    }
    columns.push_back(std::move(column));
  }
  if (columns.empty()) throw TableError{u"it has no header in its first line"};
  switch (columns.front().type) {
    case FieldType::kByte:
    case FieldType::kInteger:
    case FieldType::kLong:
    case FieldType::kString:
      return columns;
    default:
      throw TableError{
          u"the first column is the key and must be a string, byte, integer or long, "
          u"not " +
          Describe(columns.front())};
  }
}

std::vector<std::u16string> HeaderOf(const Columns& columns) {
  std::vector<std::u16string> header;
  for (const Column& column : columns) header.push_back(Describe(column));
  return header;
}

std::u16string DifferenceOf(const Columns& file, const Columns& table) {
  const auto at = [](const Columns& columns, size_t i) {
    return i < columns.size() ? Describe(columns[i]) : u"missing";
  };
  for (size_t i = 0; i < std::max(file.size(), table.size()); ++i) {
    if (i < file.size() && i < table.size() && file[i] == table[i]) continue;
    return Ordinal(i + 1) + u" is " + at(file, i) + u" in the file and " + at(table, i) +
           u" in the database";
  }
  return {};
}

std::u16string ProblemOfKey(std::u16string_view key) {
  if (Trim(key).empty()) return u"is empty, and it is the key";
  if (key.size() > kMaxKey) {
    return u"is too long for a key: " + Decimal(static_cast<long long>(key.size())) +
           u" characters, up to " + Decimal(kMaxKey) + u" are possible";
  }
  const auto is_control = [](char16_t c) { return c < 0x20; };
  return std::ranges::any_of(key, is_control) ? u"holds a line end, tab or other control character"
                                              : u"";
}

std::u16string ProblemOfCell(FieldType type, std::u16string_view cell) {
  const bool empty = Trim(cell).empty();
  switch (type) {
    case FieldType::kString:
      return {};
    case FieldType::kSignature:
      return ParseSignature(cell) ? u"" : u"is no signature: groups of four hex digits, not 0000";
    case FieldType::kDate:
      // A plain number would count days for Pylon.
      return empty || Trim(cell).find(u'-') == 4 ? u"" : u"is no date such as 2023-03-15 18:00:00";
    default:
      break;
  }
  if (empty) return u"is empty";
  switch (type) {
    case FieldType::kByte:
    case FieldType::kInteger:
    case FieldType::kLong:
      return IsDecimal(cell, 0) ? u"" : u"is no whole number";
    case FieldType::kCurrency:
      return IsDecimal(cell, 4) ? u"" : u"is no amount with a point and up to four decimals";
    case FieldType::kBoolean:
      return ParseBoolean(cell) ? u"" : u"is neither True nor False";
    default:
      return {};
  }
}

std::optional<bool> ParseBoolean(std::u16string_view cell) {
  const std::u16string text = Lower(Trim(cell));
  if (text == u"true" || text == u"1") return true;
  if (text == u"false" || text == u"0") return false;
  return std::nullopt;
}

std::u16string FormatBoolean(bool value) { return value ? u"True" : u"False"; }

std::optional<std::u16string> ParseSignature(std::u16string_view cell) {
  std::u16string units;
  const std::u16string digits = Lower(cell);
  for (std::u16string_view rest = Trim(digits); !rest.empty(); rest = Trim(rest)) {
    unsigned unit = 0;
    if (rest.size() < 4) return std::nullopt;
    for (const char16_t c : rest.substr(0, 4)) {
      const size_t value = kHexDigits.find(c);
      if (value == std::u16string_view::npos) return std::nullopt;
      unit = unit << 4 | static_cast<unsigned>(value);
    }
    // A text in a record ends at a zero.
    if (unit == 0) return std::nullopt;
    units += static_cast<char16_t>(unit);
    rest.remove_prefix(4);
  }
  return units;
}

std::u16string FormatSignature(std::u16string_view units) {
  std::u16string cell;
  for (const char16_t unit : units) {
    if (!cell.empty()) cell += u' ';
    for (int shift = 12; shift >= 0; shift -= 4) cell += kHexDigits[unit >> shift & 0xF];
  }
  return cell;
}

}  // namespace inventory
