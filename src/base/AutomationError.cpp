#include "base/AutomationError.h"

#include <new>
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

AutomationError::AutomationError(ErrorNumber number, std::u16string source,
                                 std::u16string description)
    : AutomationError(static_cast<int32_t>(number), std::move(source), std::move(description)) {}

AutomationError Overflow() { return AutomationError(ErrorNumber::kOverflow); }
AutomationError SubscriptOutOfRange() { return AutomationError(ErrorNumber::kSubscriptOutOfRange); }
AutomationError TypeMismatch() { return AutomationError(ErrorNumber::kTypeMismatch); }
AutomationError InvalidArgument() { return AutomationError(ErrorNumber::kInvalidArgument); }

AutomationError CurrentError() {
  try {
    throw;
  } catch (const AutomationError& error) {
    return error;
  } catch (const std::bad_alloc&) {
    return AutomationError(ErrorNumber::kOutOfMemory);
  } catch (const std::exception& error) {
    // None of ours gets this far; if one does, its own words are the best lead.
    return AutomationError(ErrorNumber::kInternal, FromUtf8(error.what()));
  } catch (...) {
    return AutomationError(ErrorNumber::kInternal);
  }
}

std::u16string DescribeError(int32_t number) {
  struct Known {
    ErrorNumber number;
    const char16_t* description;
  };
  static constexpr Known kKnown[] = {
      {ErrorNumber::kInvalidArgument, u"Invalid procedure call or argument"},
      {ErrorNumber::kOverflow, u"Overflow"},
      {ErrorNumber::kOutOfMemory, u"Out of memory"},
      {ErrorNumber::kSubscriptOutOfRange, u"Subscript out of range"},
      {ErrorNumber::kArrayLocked, u"This array is fixed or temporarily locked"},
      {ErrorNumber::kDivisionByZero, u"Division by zero"},
      {ErrorNumber::kTypeMismatch, u"Type mismatch"},
      {ErrorNumber::kLoadingDll, u"Error in loading DLL"},
      {ErrorNumber::kInternal, u"Internal error"},
      {ErrorNumber::kBadFileName, u"Bad file name or number"},
      {ErrorNumber::kFileNotFound, u"File not found"},
      {ErrorNumber::kDeviceIo, u"Device I/O error"},
      {ErrorNumber::kDiskFull, u"Disk full"},
      {ErrorNumber::kPermissionDenied, u"Permission denied"},
      {ErrorNumber::kPathFileAccess, u"Path/File access error"},
      {ErrorNumber::kPathNotFound, u"Path not found"},
      {ErrorNumber::kObjectNotSet, u"Object variable or With block variable not set"},
      {ErrorNumber::kObjectRequired, u"Object required"},
      {ErrorNumber::kCannotCreateObject, u"ActiveX component can't create object"},
      {ErrorNumber::kInterfaceNotSupported,
       u"Class does not support Automation or does not support expected interface"},
      {ErrorNumber::kNoSuchMember, u"Object doesn't support this property or method"},
      {ErrorNumber::kActionNotSupported, u"Object doesn't support this action"},
      {ErrorNumber::kNoNamedArguments, u"Object doesn't support named arguments"},
      {ErrorNumber::kLocaleNotSupported, u"Object doesn't support current locale setting"},
      {ErrorNumber::kNoSuchNamedArgument, u"Named argument not found"},
      {ErrorNumber::kArgumentNotOptional, u"Argument not optional"},
      {ErrorNumber::kWrongArgumentCount,
       u"Wrong number of arguments or invalid property assignment"},
      {ErrorNumber::kVariableTypeNotSupported, u"Variable uses an Automation type not supported"},
      {ErrorNumber::kServerUnavailable,
       u"The remote server machine does not exist or is unavailable"},
  };
  for (const Known& known : kKnown) {
    if (static_cast<int32_t>(known.number) == number) return known.description;
  }
  return u"Application-defined or object-defined error";
}

}  // namespace pylon
