#include "hotsync/SuiteLink.h"

#include "base/Text.h"

namespace pylon {
namespace {

// Errors of COM's own transport: the suite's server has gone.
bool IsTransportError(HRESULT result) noexcept {
  if (HRESULT_FACILITY(result) == FACILITY_RPC) return true;
  const auto code = HRESULT_CODE(result);
  return HRESULT_FACILITY(result) == FACILITY_WIN32 && code >= RPC_S_INVALID_STRING_BINDING &&
         code <= RPC_S_NOT_CANCELLED;
}

}  // namespace

suite::Failure SuiteLink::FailureOf(HRESULT result) noexcept {
  for (const suite::KnownFailure& known : suite::kFailures) {
    if (known.result == result) return known.failure;
  }
  return IsTransportError(result) ? suite::Failure::kLost : suite::Failure::kOther;
}

void SuiteLink::RequireOpen() const {
  if (lost_) throw AutomationError(ErrorNumber::kDeviceIo, kClosedText);
}

void SuiteLink::Raise(const LateBoundError& error) {
  const auto raise = [&error](ErrorNumber number) {
    throw AutomationError(number, error.source(), error.description());
  };
  switch (FailureOf(error.result())) {
    case suite::Failure::kLost:
      lost_ = true;
      throw AutomationError(ErrorNumber::kDeviceIo, error.source(),
                            std::u16string(kClosedText) + u" (" + error.description() + u")");
    case suite::Failure::kRefused:
      raise(ErrorNumber::kPermissionDenied);
      break;
    case suite::Failure::kMemoryFull:
      raise(ErrorNumber::kOutOfMemory);
      break;
    case suite::Failure::kExists:
      raise(ErrorNumber::kFileExists);
      break;
    case suite::Failure::kNotThere:
    case suite::Failure::kOther:
      break;
  }
  throw AutomationError(ErrorNumber::kInternal, error.source(), error.description());
}

com::Variant Converted(const com::Variant& value, VARTYPE type) {
  com::Variant converted;
  if (FAILED(::VariantChangeTypeEx(converted.get(), const_cast<VARIANT*>(value.get()),
                                   LOCALE_INVARIANT, 0, type))) {
    throw AutomationError(ErrorNumber::kInternal,
                          u"HotSync's COM suite gave a value of type " + ToText(V_VT(value.get())) +
                              u" where one of type " + ToText(type) + u" belongs.");
  }
  return converted;
}

std::optional<Bytes> ToRecordData(const com::Variant& value) {
  const VARTYPE type = V_VT(value.get());
  if (type == VT_EMPTY || type == VT_NULL) return std::nullopt;
  if ((type & VT_ARRAY) && !V_ISBYREF(value.get()) && !V_ARRAY(value.get())) return std::nullopt;
  try {
    return com::ToBytes(*value.get()).bytes;
  } catch (const AutomationError&) {
    throw AutomationError(ErrorNumber::kInternal,
                          u"HotSync's COM suite gave a record that is not an array of bytes.");
  }
}

}  // namespace pylon
