#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Columns.h"
#include "RecordDatabase.h"

namespace inventory {

namespace com = sample::com;

// One of Basic's errors, as Pylon's classes raise them.
constexpr HRESULT BasicError(unsigned number) { return static_cast<HRESULT>(0x800A0000 + number); }

// The table's definition and one record of it, as Pylon's classes for the AppForge format keep
// them: makes the bytes of a record from the cells of a row, and cells from bytes.
//
// Texts are UTF-8 in a record, each 16-bit unit by itself, which is what a stream reads by default.
// Its default way of writing would lose what the system's code page lacks, signatures above all. So
// the stream's UTF8Strings is off here: it then carries any bytes, one a character of the code
// page, and the UTF-8 is this class's own business.
class Table {
 public:
  Table();

  // The columns that an AppInfo block defines; false when it is of no such table.
  bool ReadDefinition(const com::Ptr<_PDBByteStream>& block);
  // Takes the columns, and gives the block that defines them. TableError for a name that the
  // system's code page can't write.
  com::Ptr<_PDBByteStream> Define(const Columns& columns);
  const Columns& columns() const { return columns_; }

  struct Problem {
    size_t column = 0;  // from 1; 0: the whole record
    std::u16string reason;
  };
  // The canonical form of a key, or nothing when the cell can't be one.
  std::optional<std::u16string> Key(const std::u16string& cell, Problem& problem);
  // As many cells as there are columns. On a problem `bytes` means nothing.
  std::optional<Problem> Encode(const std::vector<std::u16string>& cells, std::string& bytes);
  std::optional<Problem> Decode(std::string_view bytes, std::vector<std::u16string>& cells);

 private:
  void Bind();
  size_t MinimumSize() const;  // of a record, whose texts are empty
  Columns ColumnsOf(_PDBAppforgeDefinition& definition) const;
  std::u16string Put(short field, FieldType type, const std::u16string& cell);
  std::u16string PutText(short field, const std::string& bytes);
  std::u16string PutDate(short field, const std::u16string& cell);
  std::u16string CheckedNumber(short field, FieldType type);
  std::optional<std::u16string> Get(short field, FieldType type);
  std::optional<std::string> GetText(short field);

  com::Ptr<_PDBAppforgeDefinition> definition_;
  com::Ptr<_PDBAppforgeRecord> record_;
  com::Ptr<_PDBByteStream> stream_;
  Columns columns_;
  std::array<char16_t, 256> character_of_ =
      {};                       // the code page; 0 for a byte that it does not have
  std::vector<short> byte_of_;  // by character; -1 for those that it lacks
};

}  // namespace inventory
