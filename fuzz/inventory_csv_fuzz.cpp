// Reads any bytes as the CSV file of the sample Inventory: it is refused, or each of its rows reads
// back from how it stands in the file and from how it would be written.

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "samples/inventory/Columns.h"
#include "samples/inventory/Csv.h"
#include "samples/inventory/Files.h"
#include "tests/samples/Latin1.h"

namespace inventory {
namespace {

void Check(bool holds) {
  if (!holds) std::abort();
}

void ReadAsTable(std::string_view bytes) {
  const TableText file = ReadText(bytes, sample::Latin1());
  Check(ReadText(WriteText(file), sample::Latin1()).text == file.text);
  size_t line = 0;
  for (const CsvRow& row : ParseCsv(file.text)) {
    Check(row.line > line);
    line = row.line;
    const auto again = ParseCsv(row.raw);
    Check(again.size() == (row.cells.empty() ? 0 : 1));
    if (row.cells.empty()) continue;
    Check(again[0].cells == row.cells && again[0].bad_cell == row.bad_cell);
    const auto written = ParseCsv(FormatCsv(row.cells));
    Check(written.size() == 1 && written[0].cells == row.cells && written[0].bad_cell == 0);
    for (const std::u16string& cell : row.cells) {
      if (const auto units = ParseSignature(cell))
        Check(ParseSignature(FormatSignature(*units)) == units);
      for (short type = 1; type <= 10; ++type) ProblemOfCell(static_cast<FieldType>(type), cell);
    }
    try {
      const Columns columns = ParseHeader(row);
      Check(ParseHeader({1, u"", HeaderOf(columns), 0}) == columns);
    } catch (const TableError&) {
      continue;
    }
  }
}

}  // namespace
}  // namespace inventory

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  try {
    inventory::ReadAsTable({reinterpret_cast<const char*>(data), size});
  } catch (const inventory::TableError&) {
    return 0;
  }
  return 0;
}
