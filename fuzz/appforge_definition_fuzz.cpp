// Reads any bytes as an AppInfo block and as a SortInfo block. A block that is accepted says what a
// reader of plain indexes sees, and what is written from it reads as the same; one that is not
// leaves the fields alone.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <span>
#include <string>

#include "appforge/PDBAppforgeDefinition.h"
#include "base/AutomationError.h"
#include "base/Text.h"

namespace pylon {
namespace {

void Check(bool holds) {
  if (!holds) std::abort();
}

// What an array holds at its own indexes; such an index is inside.
class Plain {
 public:
  explicit Plain(const PDBByteStream& stream)
      : array_(stream.ByteArray().value_or(PDBByteStream::Array{})) {}

  int Byte(int64_t index) const {
    const int64_t at = index - array_.lower_bound;
    Check(at >= 0 && at < static_cast<int64_t>(array_.bytes.size()));
    return std::to_integer<int>(array_.bytes[static_cast<size_t>(at)]);
  }
  int Word(int64_t index) const { return Byte(index) * 256 + Byte(index + 1); }
  std::u16string Name(int64_t index) const {
    std::u16string text;
    for (int byte = 0; (byte = Byte(index)) != 0; ++index) {
      text.push_back(AnsiCodePage::Windows1252().Decode(static_cast<uint8_t>(byte)));
    }
    return std::u16string(Trim(text));
  }

 private:
  PDBByteStream::Array array_;
};

std::optional<PDBByteStream> BlockOf(const PDBAppforgeDefinition& definition) try {
  return definition.AppInfoBlock();
} catch (const AutomationError& error) {
  Check(error.number() == 6);  // longer than 16 bits can tell
  return std::nullopt;
}

void ReadTable(const PDBByteStream& stream) {
  PDBAppforgeDefinition definition;
  definition.AddFieldName(u"old", eLongField);
  if (!definition.IsAppforgeData(stream)) {
    Check(definition.FieldCount() == 1 && definition.FieldName(1) == u"old");
    return;
  }
  const Plain plain(stream);
  Check(definition.FieldCount() == plain.Word(292));
  bool codes = true;  // all types are what a byte holds
  for (int16_t i = 1; i <= definition.FieldCount(); ++i) {
    const int64_t entry = 300 + 6 * (int64_t{i} - 1);
    Check(definition.FieldName(i) == plain.Name(276 + plain.Word(entry)));
    Check(definition.FieldType(i) == plain.Byte(entry + 2) + plain.Byte(entry + 3));
    codes = codes && definition.FieldType(i) < 256;
  }

  const auto block = BlockOf(definition);
  if (!block) return;
  PDBAppforgeDefinition copy;
  Check(copy.IsAppforgeData(*block) && copy.FieldCount() == definition.FieldCount());
  for (int16_t i = 1; i <= copy.FieldCount(); ++i) {
    Check(copy.FieldName(i) == definition.FieldName(i));
    Check(!codes || copy.FieldType(i) == definition.FieldType(i));
  }
  const auto again = BlockOf(copy);
  Check(again.has_value());
  Check(!codes || std::ranges::equal(again->BlockBytes(), block->BlockBytes()));
}

void ReadSortFields(const PDBByteStream& stream) {
  PDBAppforgeDefinition definition;
  try {
    definition.SetSortInfoBlock(stream);
  } catch (const AutomationError& error) {
    Check(error.number() == 6 || error.number() == 9);
    Check(definition.SortFieldCount() == 0);
    return;
  }
  if (definition.SortFieldCount() == 0) return;
  const Plain plain(stream);
  Check(definition.SortFieldCount() == plain.Word(16));
  for (int16_t i = 0; i < definition.SortFieldCount(); ++i) {
    Check(definition.SortFieldIndex(i) == plain.Word(18 + 4 * int64_t{i}));
  }
  PDBAppforgeDefinition copy;
  const PDBByteStream block = definition.SortInfoBlock();
  copy.SetSortInfoBlock(block);
  Check(std::ranges::equal(copy.SortInfoBlock().BlockBytes(), block.BlockBytes()));
}

void Run(ByteSpan input) {
  if (input.empty()) return;
  const int options = std::to_integer<int>(input[0]);
  Bytes bytes(input.begin() + 1, input.end());
  const auto put = [&bytes](size_t at, std::string_view text) {
    if (bytes.size() < at + text.size()) return;
    std::ranges::copy(std::as_bytes(std::span(text)), bytes.begin() + static_cast<ptrdiff_t>(at));
  };
  // So that a short input, too, gets beyond the categories and the signature.
  if (options & 0x40) bytes.insert(bytes.begin(), 276, std::byte{0});
  if (options & 1) put(276, "APPFORG2");
  if (options & 2) put(0, "SORT");
  PDBByteStream stream;
  if (options & 4) {
    stream.SetByteArray({bytes, (options >> 3) % 3 - 1});
  } else {
    stream.Fill(bytes);
  }
  ReadTable(stream);
  ReadSortFields(stream);
}

}  // namespace
}  // namespace pylon

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  pylon::Run(std::as_bytes(std::span(data, size)));
  return 0;
}
