#include "Table.h"

#include <algorithm>
#include <cmath>

#include "Files.h"

namespace inventory {
namespace {

using com::Bstr;
using com::Check;

// A stream counts the characters of a text with 16 bits, and finds none behind them.
constexpr size_t kMaxRecord = 32'767;

// An empty cell stands for a record's zero seconds, 1904-01-01 00:00:00.
constexpr DATE kNoDate = 1462;
constexpr double kSecondsPerDay = 86'400;
constexpr double kDateSeconds = 4'294'967'296;  // that 32 bits count

bool IsText(FieldType type) { return type == FieldType::kString || type == FieldType::kSignature; }

// What a value takes in a record; a text's terminator.
size_t WidthOf(FieldType type) {
  switch (type) {
    case FieldType::kInteger:
      return 2;
    case FieldType::kLong:
    case FieldType::kFloat:
    case FieldType::kDate:
      return 4;
    case FieldType::kDouble:
    case FieldType::kCurrency:
      return 8;
    default:
      return 1;
  }
}

// Pylon converts by itself: what a type can't hold is Basic's error 6, what is no value error 13.
std::u16string ReasonOf(HRESULT result) {
  if (SUCCEEDED(result)) return {};
  if (result == BasicError(13)) return u"is no number";
  if (result == BasicError(6)) return u"is out of the type's range";
  Check(result);
  return {};
}

}  // namespace

Table::Table()
    : definition_(com::Create<_PDBAppforgeDefinition>(__uuidof(PDBAppforgeDefinition))),
      record_(com::Create<_PDBAppforgeRecord>(__uuidof(PDBAppforgeRecord))),
      stream_(com::Create<_PDBByteStream>(__uuidof(PDBByteStream))),
      byte_of_(0x10000, -1) {
  Check(stream_->put_UTF8Strings(VARIANT_FALSE));
  for (int byte = 1; byte < 256; ++byte) {
    sample::FillRecord(stream_, std::string(1, static_cast<char>(byte)));
    Bstr text;
    long offset = 0;
    Check(stream_->ByteToString(&text, &offset));
    const std::u16string character = text.Text();
    if (character.size() != 1 || byte_of_[character[0]] >= 0) continue;
    byte_of_[character[0]] = static_cast<short>(byte);
    character_of_[static_cast<size_t>(byte)] = character[0];
  }
}

bool Table::ReadDefinition(const com::Ptr<_PDBByteStream>& block) {
  VARIANT_BOOL is_table = VARIANT_FALSE;
  Check(definition_->IsAppforgeData(block.get(), &is_table));
  if (!is_table) return false;
  Bind();
  return true;
}

com::Ptr<_PDBByteStream> Table::Define(const Columns& columns) {
  Check(definition_->ClearFieldName());
  for (const Column& column : columns) {
    Check(definition_->AddFieldName(Bstr(column.name), static_cast<eFieldTypes>(column.type)));
  }
  Bind();
  com::Ptr<_PDBByteStream> block;
  Check(definition_->get_AppInfoBlock(&block));
  // The block has one byte a character.
  const auto read_back = com::Create<_PDBAppforgeDefinition>(__uuidof(PDBAppforgeDefinition));
  VARIANT_BOOL is_table = VARIANT_FALSE;
  Check(read_back->IsAppforgeData(block.get(), &is_table));
  const std::u16string difference = DifferenceOf(columns, ColumnsOf(*read_back.get()));
  if (!difference.empty()) {
    throw TableError{u"a database can't keep this name: " + difference};
  }
  return block;
}

void Table::Bind() {
  columns_ = ColumnsOf(*definition_.get());
  Check(record_->putref_AppforgeDefinition(definition_.get()));
  // A record without a stream would make one of its own, whose texts are UTF-8.
  sample::FillRecord(stream_, std::string(MinimumSize(), '\0'));
  Check(record_->putref_ByteStream(stream_.get()));
}

size_t Table::MinimumSize() const {
  size_t size = 0;
  for (const Column& column : columns_) size += WidthOf(column.type);
  return size;
}

Columns Table::ColumnsOf(_PDBAppforgeDefinition& definition) const {
  Columns columns;
  short count = 0;
  Check(definition.get_FieldCount(&count));
  for (short i = 1; i <= count; ++i) {
    Bstr name;
    eFieldTypes type{};
    Check(definition.get_FieldName(i, &name));
    Check(definition.get_FieldType(i, &type));
    columns.push_back({name.Text(), static_cast<FieldType>(type)});
  }
  return columns;
}

std::optional<std::u16string> Table::Key(const std::u16string& cell, Problem& problem) {
  const FieldType type = columns_.front().type;
  problem = {1, ProblemOfKey(cell)};
  if (problem.reason.empty()) problem.reason = Put(1, type, cell);
  if (!problem.reason.empty()) return std::nullopt;
  if (type == FieldType::kString) return cell;
  long number = 0;
  Check(record_->get_LongValue(1, &number));
  return Decimal(number);
}

std::optional<Table::Problem> Table::Encode(const std::vector<std::u16string>& cells,
                                            std::string& bytes) {
  Check(record_->Clear());
  for (size_t i = 0; i < columns_.size(); ++i) {
    const std::u16string reason = Put(static_cast<short>(i + 1), columns_[i].type, cells[i]);
    if (!reason.empty()) return Problem{i + 1, reason};
  }

  size_t size = MinimumSize();
  size_t longest = 0;
  size_t column = 0;
  for (size_t i = 0; i < columns_.size(); ++i) {
    if (!IsText(columns_[i].type)) continue;
    Bstr text;
    Check(record_->get_StringValue(static_cast<short>(i + 1), &text));
    const size_t length = text.Text().size();
    size += length;
    if (length > longest) {
      longest = length;
      column = i + 1;
    }
  }
  if (size > kMaxRecord) {
    return Problem{column, u"is too long: the record takes " +
                               Decimal(static_cast<long long>(size)) + u" bytes, up to " +
                               Decimal(kMaxRecord) + u" are possible"};
  }

  com::Ptr<_PDBByteStream> written;
  Check(record_->get_ByteStream(&written));
  com::ByteArray array;
  Check(written->get_ByteArray(&array));
  // It is made for texts that take more: behind the fields there may be zeros.
  bytes = array.bytes().substr(0, size);
  return std::nullopt;
}

// Sets a field and says why it can't be set; empty when it was.
std::u16string Table::Put(short field, FieldType type, const std::u16string& cell) {
  std::u16string reason = ProblemOfCell(type, cell);
  if (!reason.empty()) return reason;
  switch (type) {
    case FieldType::kString:
      return PutText(field, sample::UnitsToBytes(cell));
    case FieldType::kSignature:
      return PutText(field, sample::UnitsToBytes(*ParseSignature(cell)));
    case FieldType::kBoolean:
      Check(record_->put_BooleanValue(field, *ParseBoolean(cell) ? VARIANT_TRUE : VARIANT_FALSE));
      return {};
    case FieldType::kDate:
      return PutDate(field, cell);
    default:
      Check(record_->put_StringValue(field, Bstr(cell)));
      return CheckedNumber(field, type);
  }
}

std::u16string Table::PutText(short field, const std::string& bytes) {
  std::u16string text;
  for (const char byte : bytes) {
    const char16_t character = character_of_[static_cast<unsigned char>(byte)];
    if (character == 0) return u"has characters that this system's code page can't carry";
    text += character;
  }
  Check(record_->put_StringValue(field, Bstr(text)));
  return {};
}

std::u16string Table::PutDate(short field, const std::u16string& cell) {
  if (cell.find_first_not_of(u' ') == std::u16string::npos) {
    Check(record_->put_DateValue(field, kNoDate));
    return {};
  }
  Check(record_->put_StringValue(field, Bstr(cell)));
  DATE date = 0;
  if (FAILED(record_->get_DateValue(field, &date))) return u"is no date";
  const double seconds = (date - kNoDate) * kSecondsPerDay;
  if (seconds < 0 || std::round(seconds) >= kDateSeconds) {
    return u"is a date that a handheld can't keep: they go from 1904-01-01 to 2040-02-06";
  }
  if (std::abs(seconds - std::round(seconds)) > 1e-3) return u"has a fraction of a second";
  return {};
}

std::u16string Table::CheckedNumber(short field, FieldType type) {
  unsigned char byte = 0;
  short integer = 0;
  long number = 0;
  float single = 0;
  double wide = 0;
  CURRENCY amount{};
  switch (type) {
    case FieldType::kByte:
      return ReasonOf(record_->get_ByteValue(field, &byte));
    case FieldType::kInteger:
      return ReasonOf(record_->get_IntegerValue(field, &integer));
    case FieldType::kLong:
      return ReasonOf(record_->get_LongValue(field, &number));
    case FieldType::kFloat:
      return ReasonOf(record_->get_SingleValue(field, &single));
    case FieldType::kDouble:
      return ReasonOf(record_->get_DoubleValue(field, &wide));
    case FieldType::kCurrency:
      return ReasonOf(record_->get_CurrencyValue(field, &amount));
    default:
      return {};
  }
}

std::optional<Table::Problem> Table::Decode(std::string_view bytes,
                                            std::vector<std::u16string>& cells) {
  cells.clear();
  // Without a spare byte: a record that is cut must not borrow it.
  const com::ByteArray array(bytes);
  Check(stream_->put_ByteArray(array.get()));
  const HRESULT decoded = record_->putref_ByteStream(stream_.get());
  if (FAILED(decoded)) {
    return Problem{0, u"its " + Decimal(static_cast<long long>(bytes.size())) +
                          u" bytes don't fit the columns"};
  }
  for (size_t i = 0; i < columns_.size(); ++i) {
    auto cell = Get(static_cast<short>(i + 1), columns_[i].type);
    if (!cell) return Problem{i + 1, u"has bytes that are no text"};
    cells.push_back(*std::move(cell));
  }
  return std::nullopt;
}

std::optional<std::u16string> Table::Get(short field, FieldType type) {
  if (type == FieldType::kSignature) {
    const auto bytes = GetText(field);
    const auto units = bytes ? sample::UnitsFromBytes(*bytes) : std::nullopt;
    if (!units) return std::nullopt;
    return FormatSignature(*units);
  }
  if (type == FieldType::kBoolean) {
    VARIANT_BOOL value = VARIANT_FALSE;
    Check(record_->get_BooleanValue(field, &value));
    return FormatBoolean(value != VARIANT_FALSE);
  }
  if (type == FieldType::kDate) {
    DATE date = 0;
    Check(record_->get_DateValue(field, &date));
    if (date == kNoDate) return u"";
  }
  Bstr value;
  Check(record_->get_StringValue(field, &value));
  if (type != FieldType::kString) return value.Text();
  // An application of old may have written its texts in the code page.
  const auto bytes = GetText(field);
  const auto text = bytes ? FromUtf8(*bytes) : std::nullopt;
  return text ? *text : value.Text();
}

// The bytes of a text field; nothing when a character stands for none.
std::optional<std::string> Table::GetText(short field) {
  Bstr value;
  Check(record_->get_StringValue(field, &value));
  std::string bytes;
  for (const char16_t c : value.Text()) {
    if (byte_of_[c] < 0) return std::nullopt;
    bytes += static_cast<char>(byte_of_[c]);
  }
  return bytes;
}

}  // namespace inventory
