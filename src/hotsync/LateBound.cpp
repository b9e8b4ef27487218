#include "hotsync/LateBound.h"

#include <utility>

#include "base/SystemMessage.h"

namespace pylon {
namespace {

std::u16string DescriptionOr(HRESULT result, std::u16string description) {
  if (description.empty()) description = SystemMessage(result);
  if (description.empty()) description = u"Automation error";
  return description;
}

}  // namespace

LateBoundError::LateBoundError(HRESULT result, std::u16string source, std::u16string description)
    : AutomationError(com::ErrorNumberOf(result), std::move(source),
                      DescriptionOr(result, std::move(description))),
      result_(result) {}

Argument::Argument(int32_t value) noexcept : Argument() {
  V_VT(&value_) = VT_I4;
  V_I4(&value_) = value;
}

Argument::Argument(const com::Bstr& text) noexcept : Argument() {
  V_VT(&value_) = VT_BSTR;
  V_BSTR(&value_) = text.get();
}

Argument::Argument(LONG* variable) noexcept : Argument() {
  V_VT(&value_) = VT_BYREF | VT_I4;
  V_I4REF(&value_) = variable;
}

Argument::Argument(com::Variant* variable) noexcept : Argument() {
  V_VT(&value_) = VT_BYREF | VT_VARIANT;
  V_VARIANTREF(&value_) = variable->get();
}

Argument Argument::Bool(bool value) noexcept {
  Argument argument;
  V_VT(&argument.value_) = VT_BOOL;
  V_BOOL(&argument.value_) = com::ToVariantBool(value);
  return argument;
}

LateBoundObject::LateBoundObject(com::Ptr<IDispatch> object, std::span<const wchar_t* const> names)
    : object_(std::move(object)), names_(names), ids_(names.size(), DISPID_UNKNOWN) {}

DISPID LateBoundObject::IdOf(size_t member) {
  DISPID& id = ids_[member];
  if (id != DISPID_UNKNOWN) return id;
  auto* name = const_cast<wchar_t*>(names_[member]);
  DISPID found = DISPID_UNKNOWN;
  const HRESULT result = object_->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &found);
  if (FAILED(result)) {
    throw LateBoundError(result, {}, FromWide(name) + u": " + DescriptionOr(result, {}));
  }
  return id = found;
}

com::Variant LateBoundObject::Invoke(size_t member, WORD flags,
                                     std::span<const Argument> arguments) {
  const DISPID id = IdOf(member);
  constexpr size_t kMostArguments = 8;
  std::array<VARIANT, kMostArguments> reversed;
  for (size_t i = 0; i < arguments.size(); ++i) {
    reversed[arguments.size() - 1 - i] = arguments[i].value();
  }
  DISPID put = DISPID_PROPERTYPUT;
  DISPPARAMS parameters = {reversed.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
  if (flags & DISPATCH_PROPERTYPUT) {
    parameters.rgdispidNamedArgs = &put;
    parameters.cNamedArgs = 1;
  }
  com::Variant value;
  com::Exception exception;
  // The call pumps messages, during which this object may go.
  const com::Ptr<IDispatch> object = object_;
  const HRESULT result =
      object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &parameters,
                     flags & DISPATCH_PROPERTYPUT ? nullptr : value.get(), &exception, nullptr);
  if (SUCCEEDED(result)) return value;
  if (result != DISP_E_EXCEPTION) throw LateBoundError(result, {}, {});
  if (exception.pfnDeferredFillIn) (void)exception.pfnDeferredFillIn(&exception);
  throw LateBoundError(exception.result(), com::Text(exception.bstrSource),
                       com::Text(exception.bstrDescription));
}

com::Ptr<IDispatch> ToObject(const com::Variant& value) {
  if ((V_VT(value.get()) == VT_DISPATCH || V_VT(value.get()) == VT_UNKNOWN) &&
      V_UNKNOWN(value.get())) {
    if (auto object = com::Ptr<IUnknown>::Share(V_UNKNOWN(value.get())).As<IDispatch>()) {
      return object;
    }
  }
  throw AutomationError(ErrorNumber::kInternal,
                        u"HotSync's COM suite gave no object where one belongs.");
}

}  // namespace pylon
