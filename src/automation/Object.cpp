#include "automation/Object.h"

#include <new>

namespace pylon {
namespace {

HRESULT ResultOf(int32_t number) noexcept {
  constexpr int32_t kLastBasicNumber = 0xFFFF;
  if (number >= 0 && number <= kLastBasicNumber) {
    return static_cast<HRESULT>(0x800A0000U + static_cast<uint32_t>(number));
  }
  return number < 0 ? number : E_FAIL;
}

}  // namespace

HRESULT Raise(const ClassInfo& raiser, const AutomationError& error) noexcept try {
  ::SetErrorInfo(0, nullptr);  // of an older error, should there be no memory for this one's
  com::Ptr<ICreateErrorInfo> creator;
  if (SUCCEEDED(::CreateErrorInfo(creator.Receive()))) {
    const std::u16string source = error.source().empty() ? raiser.prog_id : error.source();
    std::u16string description = error.description();
    creator->SetSource(const_cast<wchar_t*>(Wide(source)));
    creator->SetDescription(const_cast<wchar_t*>(Wide(description)));
    if (const auto info = creator.As<IErrorInfo>()) ::SetErrorInfo(0, info.get());
  }
  return ResultOf(error.number());
} catch (...) {
  return ResultOf(error.number());
}

HRESULT RaiseCurrent(const ClassInfo& raiser) noexcept try {
  throw;
} catch (const std::bad_alloc&) {
  return FailWith(E_OUTOFMEMORY);
} catch (...) {
  try {
    return Raise(raiser, CurrentError());
  } catch (...) {
    return FailWith(E_OUTOFMEMORY);  // for the copy
  }
}

}  // namespace pylon
