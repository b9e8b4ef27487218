#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>

namespace pylon {

enum class FailureKind : uint8_t;  // see Failure.h

// The numbers that Basic gives to run-time errors; callers of the automation classes see them as
// HRESULT 0x800A0000 + number.
enum class ErrorNumber : int32_t {
  kInvalidArgument = 5,
  kOverflow = 6,
  kOutOfMemory = 7,
  kSubscriptOutOfRange = 9,
  kTypeMismatch = 13,
  kDeviceIo = 57,
  kPathFileAccess = 75,
  kObjectNotSet = 91,
  kActionNotSupported = 445,
};

// An error on its way to an automation client: a Basic error number, the class that raises it and
// a sentence for the user.
//
// `source` may be empty: the automation boundary then names the class whose member was called.
// `kind` is set where callers decide by it, such as kCancelled after Cancel; clients don't get it.
class AutomationError : public std::exception {
 public:
  AutomationError(int32_t number, std::u16string source, std::u16string description,
                  std::optional<FailureKind> kind = {});
  // With Basic's own description of the number.
  explicit AutomationError(ErrorNumber number);
  AutomationError(ErrorNumber number, std::u16string description,
                  std::optional<FailureKind> kind = {});

  int32_t number() const noexcept { return number_; }
  const std::u16string& source() const noexcept { return source_; }
  const std::u16string& description() const noexcept { return description_; }
  std::optional<FailureKind> kind() const noexcept { return kind_; }
  // The description in UTF-8, for tests and debuggers.
  const char* what() const noexcept override { return what_.c_str(); }

 private:
  int32_t number_;
  std::u16string source_;
  std::u16string description_;
  std::string what_;
  std::optional<FailureKind> kind_;
};

// Short names for the errors that conversions raise.
AutomationError Overflow();
AutomationError SubscriptOutOfRange();
AutomationError TypeMismatch();
AutomationError InvalidArgument();

// Basic's description of an error number; a generic sentence for a number that it does not know.
std::u16string DescribeError(int32_t number);

}  // namespace pylon
