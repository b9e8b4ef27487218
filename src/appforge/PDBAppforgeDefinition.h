#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "appforge/eFieldTypes.h"
#include "base/AnsiCodePage.h"
#include "pdb/PDBByteStream.h"

namespace pylon {

// The schema of a table in the AppForge format: what the AppInfo and SortInfo blocks of its
// database hold. docs/appforge-format.md shows both.
//
// Fields count from 1, sort entries from 0. Text is one byte a character in the code page, which is
// borrowed and outlives the object; it loses the blanks around it when a block is read. Nothing is
// cached: every block is made from what the object holds then.
//
// Errors: 9 for an index outside its list, 6 for what the blocks' 16-bit numbers can't hold.
class PDBAppforgeDefinition {
 public:
  explicit PDBAppforgeDefinition(const AnsiCodePage& code_page = AnsiCodePage::Windows1252())
      : code_page_(&code_page) {}

  // The block in a new stream. Error 6 when a name, the offset of one or the size of the block is
  // more than 32,767, or a type is none that two bytes hold.
  PDBByteStream AppInfoBlock() const;
  // The same of the sort fields; without any the stream holds nothing.
  PDBByteStream SortInfoBlock() const;
  // Reads the sort fields. An empty block and one of another kind leave them as they are. Error 9
  // for a block that is cut, 6 for a count or a position of more than 32,767: they stay then too.
  void SetSortInfoBlock(const PDBByteStream& oByteStream);

  // Whether the stream holds the AppInfo block of such a table, and if so reads it. If not, table
  // name and fields stay as they are, and of the categories what could be read has been taken.
  // A block that is cut, points outside itself, has more than 32,767 fields, or names that overlap
  // to more than its size is not one.
  bool IsAppforgeData(const PDBByteStream& oByteStream);

  int16_t FieldCount() const { return static_cast<int16_t>(fields_.size()); }
  // The type is taken as it is, whether or not eFieldTypes has it. Error 6 for field 32,768.
  void AddFieldName(std::u16string sFieldName, int32_t iFieldType);
  void ClearFieldName() { fields_.clear(); }

  const std::u16string& FieldName(int16_t Index) const { return At(Index).name; }
  void SetFieldName(int16_t Index, std::u16string value) { At(Index).name = std::move(value); }
  int32_t FieldType(int16_t Index) const { return At(Index).type; }
  void SetFieldType(int16_t Index, int32_t value) { At(Index).type = value; }

  int16_t SortFieldCount() const { return static_cast<int16_t>(sort_fields_.size()); }
  int16_t SortFieldIndex(int16_t Index) const;  // the position as the block has it

 private:
  static constexpr size_t kCategories = 16;

  struct Field {
    std::u16string name;
    int32_t type = eInvalidField;
  };
  class BlockReader;
  class BlockWriter;

  const Field& At(int16_t index) const;
  Field& At(int16_t index) { return const_cast<Field&>(std::as_const(*this).At(index)); }

  const AnsiCodePage* code_page_;
  int32_t category_flags_ = 0;  // 0 to 65,535
  std::array<std::u16string, kCategories> category_names_;
  std::array<uint8_t, kCategories> category_ids_ = {};
  uint8_t last_category_id_ = 0;
  std::u16string table_name_;
  std::vector<Field> fields_;  // at most 32,767, and so the sort fields
  std::vector<int16_t> sort_fields_;
};

}  // namespace pylon
