#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "appforge/FieldValue.h"
#include "appforge/PDBAppforgeDefinition.h"
#include "base/AnsiCodePage.h"
#include "base/TaggedValue.h"
#include "pdb/PDBByteStream.h"
#include "pdb/PDBUtils.h"

namespace pylon {

// One record of a table in the AppForge format, field by field.
//
// Bind a definition, then decode a stream or set values, and encode. Between the two every field is
// in effect a text (see ValueText.h), empty when it has no value, and the typed accessors convert
// it to and from their own type, whatever type the field has. Indexes go from 0 to the number of
// fields that the definition had when it was bound, or at the last Clear or Decode; position 0 is
// no field: it keeps what is set there and is never encoded.
//
// Errors: 9 for an index outside, and for every use without a definition; 13 for a text that is no
// number or date, 6 for a number that the type can't hold; 5 for encoding a text with a NUL. A
// failed accessor changes nothing.
class PDBAppforgeRecord {
 public:
  explicit PDBAppforgeRecord(const AnsiCodePage& code_page = AnsiCodePage::Windows1252())
      : utils_(code_page) {}

  const std::shared_ptr<PDBAppforgeDefinition>& AppforgeDefinition() const { return definition_; }
  // All values go. Null unbinds.
  void SetAppforgeDefinition(std::shared_ptr<PDBAppforgeDefinition> value);

  // Sets all values from the bytes. A stream that is too short ends it with the stream's error; the
  // fields before have their values then, the others none.
  void Decode(const PDBByteStream& oByteStream);
  // Resizes the stream and writes all fields into it. Numbers and dates without a value become 0,
  // in the record as well. An error ends it; what was written before stays.
  void Encode(PDBByteStream& oByteStream);

  void Clear();
  // Bytes that Encode will need. Texts count as UTF-8 whatever the stream's setting: with one byte
  // a character the record then ends in zeros.
  int32_t DataLength() const;
  bool HasValue(int16_t Index) const { return !At(Index).empty(); }

  // In the type of the field; empty for a type that eFieldTypes does not have. Without a value: 0,
  // false or day zero, but error 13 in a byte field. A boolean is true unless it is the number 0.
  TaggedValue Value(int16_t Index) const;
  // The empty value clears the field. A byte field takes what a 16-bit integer can hold, a boolean
  // "0" for false, 0 and the text "0" and "1" for all else; the others take the value's own text,
  // which for a boolean is "True" or "False" and may fail when it is encoded.
  void SetValue(int16_t Index, const TaggedValue& value);

  // Without a value ByteValue, LongValue and DateValue raise error 13, the others give 0.
  uint8_t ByteValue(int16_t Index) const { return At(Index).ToByte(); }
  void SetByteValue(int16_t Index, uint8_t value) { At(Index) = FieldValue(int32_t{value}); }
  bool BooleanValue(int16_t Index) const { return At(Index).IsOne(); }
  void SetBooleanValue(int16_t Index, bool value) { At(Index) = FieldValue(int32_t{value}); }
  int16_t IntegerValue(int16_t Index) const;
  void SetIntegerValue(int16_t Index, int16_t value) { At(Index) = FieldValue(int32_t{value}); }
  int32_t LongValue(int16_t Index) const { return At(Index).ToLong(); }
  void SetLongValue(int16_t Index, int32_t value) { At(Index) = FieldValue(value); }
  double DoubleValue(int16_t Index) const;
  void SetDoubleValue(int16_t Index, double value) {
    At(Index) = FieldValue(DoubleBits::Of(value));
  }
  Currency CurrencyValue(int16_t Index) const;
  void SetCurrencyValue(int16_t Index, Currency value) { At(Index) = FieldValue(value); }
  float SingleValue(int16_t Index) const;
  void SetSingleValue(int16_t Index, float value) { At(Index) = FieldValue(SingleBits::Of(value)); }
  Date DateValue(int16_t Index) const { return At(Index).ToDate().value; }
  void SetDateValue(int16_t Index, Date value) { At(Index) = FieldValue(DateStamp{value}); }
  // The text of a signature is the Signature of an AppforgeSignature.
  std::u16string StringValue(int16_t Index) const { return At(Index).ToText(); }
  void SetStringValue(int16_t Index, std::u16string value) {
    At(Index) = FieldValue(std::move(value));
  }

 private:
  // The definition's; it may have changed since it was bound.
  const PDBAppforgeDefinition& Bound() const;
  int32_t TypeOf(int16_t index) const;  // eInvalidField for position 0
  const FieldValue& At(int32_t index) const;
  FieldValue& At(int32_t index) { return const_cast<FieldValue&>(std::as_const(*this).At(index)); }

  std::shared_ptr<PDBAppforgeDefinition> definition_;
  std::vector<FieldValue> values_;  // position 0 and the fields; none without a definition
  PDBUtils utils_;
};

}  // namespace pylon
