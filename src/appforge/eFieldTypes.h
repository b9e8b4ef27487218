#pragma once

#include <cstdint>

namespace pylon {

// The kind of value in a field of an AppForge table; the value is also the code stored in the file.
// A field with any other code, as files and callers may give it, takes no room in a record.
enum eFieldTypes : int32_t {
  eInvalidField = 0,
  eByteField = 1,
  eIntegerField = 2,
  eLongField = 3,
  eFloatField = 4,
  eStringField = 5,
  eBooleanField = 6,
  eDateField = 7,
  eDoubleField = 8,
  eCurrencyField = 9,
  eSignatureField = 10,
};

// Bytes of one value in a record; of a text, its terminating zero byte.
constexpr int32_t FieldWidth(int32_t type) {
  switch (type) {
    case eByteField:
    case eStringField:
    case eBooleanField:
    case eSignatureField:
      return 1;
    case eIntegerField:
      return 2;
    case eLongField:
    case eFloatField:
    case eDateField:
      return 4;
    case eDoubleField:
    case eCurrencyField:
      return 8;
    default:
      return 0;
  }
}

constexpr bool IsTextField(int32_t type) { return type == eStringField || type == eSignatureField; }

}  // namespace pylon
