#include "base/AutomationError.h"

#include <utility>

#include "base/Text.h"

namespace pylon {

AutomationError::AutomationError(int32_t number, std::u16string source, std::u16string description,
                                 std::optional<FailureKind> kind)
    : number_(number),
      source_(std::move(source)),
      description_(std::move(description)),
      what_(ToUtf8(description_)),
      kind_(kind) {}

AutomationError::AutomationError(ErrorNumber number)
    : AutomationError(number, DescribeError(static_cast<int32_t>(number))) {}

AutomationError::AutomationError(ErrorNumber number, std::u16string description,
                                 std::optional<FailureKind> kind)
    : AutomationError(static_cast<int32_t>(number), {}, std::move(description), kind) {}

AutomationError Overflow() { return AutomationError(ErrorNumber::kOverflow); }
AutomationError SubscriptOutOfRange() { return AutomationError(ErrorNumber::kSubscriptOutOfRange); }
AutomationError TypeMismatch() { return AutomationError(ErrorNumber::kTypeMismatch); }
AutomationError InvalidArgument() { return AutomationError(ErrorNumber::kInvalidArgument); }

std::u16string DescribeError(int32_t number) {
  struct Known {
    int32_t number;
    const char16_t* description;
  };
  static constexpr Known kKnown[] = {
      {5, u"Invalid procedure call or argument"},
      {6, u"Overflow"},
      {7, u"Out of memory"},
      {9, u"Subscript out of range"},
      {10, u"This array is fixed or temporarily locked"},
      {11, u"Division by zero"},
      {13, u"Type mismatch"},
      {48, u"Error in loading DLL"},
      {51, u"Internal error"},
      {52, u"Bad file name or number"},
      {53, u"File not found"},
      {57, u"Device I/O error"},
      {61, u"Disk full"},
      {70, u"Permission denied"},
      {75, u"Path/File access error"},
      {76, u"Path not found"},
      {91, u"Object variable or With block variable not set"},
      {424, u"Object required"},
      {429, u"ActiveX component can't create object"},
      {430, u"Class does not support Automation or does not support expected interface"},
      {438, u"Object doesn't support this property or method"},
      {445, u"Object doesn't support this action"},
      {446, u"Object doesn't support named arguments"},
      {447, u"Object doesn't support current locale setting"},
      {448, u"Named argument not found"},
      {449, u"Argument not optional"},
      {450, u"Wrong number of arguments or invalid property assignment"},
      {458, u"Variable uses an Automation type not supported"},
      {462, u"The remote server machine does not exist or is unavailable"},
  };
  for (const Known& known : kKnown) {
    if (known.number == number) return known.description;
  }
  return u"Application-defined or object-defined error";
}

}  // namespace pylon
