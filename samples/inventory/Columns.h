#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Csv.h"

// The columns of the table, and what their cells may hold.
namespace inventory {

// The numbers are those of a table in the AppForge format (eFieldTypes).
enum class FieldType : short {
  kByte = 1,
  kInteger,
  kLong,
  kFloat,
  kString,
  kBoolean,
  kDate,
  kDouble,
  kCurrency,
  kSignature,
};

struct Column {
  std::u16string name;
  FieldType type = FieldType::kString;

  bool operator==(const Column&) const = default;
};
using Columns = std::vector<Column>;

// The first row: "Article:string,Stock:long". The first column is the key, a text or a whole
// number. TableError for what is no header.
Columns ParseHeader(const CsvRow& row);
std::vector<std::u16string> HeaderOf(const Columns& columns);
// Names the first column that differs; empty when none does.
std::u16string DifferenceOf(const Columns& file, const Columns& table);

// Why a key can't be one; empty when it can.
std::u16string ProblemOfKey(std::u16string_view key);
// Why a cell holds no value of the type; empty also when only its size is still in doubt. Numbers
// are never rounded to make them fit: no decimals in a whole number, four in a currency.
std::u16string ProblemOfCell(FieldType type, std::u16string_view cell);

std::optional<bool> ParseBoolean(std::u16string_view cell);  // "true", "False", "1", "0"
std::u16string FormatBoolean(bool value);

// A signature's 16-bit units, each as four hex digits: "0010 0014 ffff". The blanks keep
// spreadsheets from taking it for a number.
std::optional<std::u16string> ParseSignature(std::u16string_view cell);
std::u16string FormatSignature(std::u16string_view units);

}  // namespace inventory
