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
  kArrayLocked = 10,
  kDivisionByZero = 11,
  kTypeMismatch = 13,
  kLoadingDll = 48,
  kInternal = 51,
  kBadFileName = 52,
  kFileNotFound = 53,
  kDeviceIo = 57,
  kFileExists = 58,
  kDiskFull = 61,
  kPermissionDenied = 70,
  kPathFileAccess = 75,
  kPathNotFound = 76,
  kObjectNotSet = 91,
  kObjectRequired = 424,
  kCannotCreateObject = 429,
  kInterfaceNotSupported = 430,
  kNoSuchMember = 438,
  kActionNotSupported = 445,
  kNoNamedArguments = 446,
  kLocaleNotSupported = 447,
  kNoSuchNamedArgument = 448,
  kArgumentNotOptional = 449,
  kWrongArgumentCount = 450,
  kNotACollection = 451,
  kVariableTypeNotSupported = 458,
  kServerUnavailable = 462,
  kInvalidKey = 1001,  // this and the next: of our indexes and hash tables
  kNotEmpty = 1002,
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
  AutomationError(ErrorNumber number, std::u16string source, std::u16string description);

  int32_t number() const noexcept { return number_; }
  bool Is(ErrorNumber number) const noexcept { return number_ == static_cast<int32_t>(number); }
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

// The exception in flight as an error; only inside a catch block. What is not an AutomationError
// becomes error 7 (no memory) or 51 with its own words. For every place where an exception ends:
// COM members, window procedures, logs. Raises std::bad_alloc when there is no memory for the copy.
AutomationError CurrentError();

// Basic's description of an error number; a generic sentence for a number that it does not know.
std::u16string DescribeError(int32_t number);

}  // namespace pylon
