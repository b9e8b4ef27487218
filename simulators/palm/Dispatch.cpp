#include "Dispatch.h"

#include "base/Text.h"

namespace pylon::palm {
namespace {

com::Variant Converted(const VARIANT& value, VARTYPE type) {
  com::Variant result;
  com::Check(
      ::VariantChangeTypeEx(result.get(), const_cast<VARIANT*>(&value), LOCALE_INVARIANT, 0, type));
  return result;
}

HRESULT Fill(EXCEPINFO* info, const wchar_t* source, HRESULT result,
             const std::u16string& description) {
  if (!info) return result;
  *info = {};
  info->scode = result;
  info->bstrSource = ::SysAllocString(source);
  info->bstrDescription = com::Bstr(description).Detach();
  return DISP_E_EXCEPTION;
}

}  // namespace

VARIANT& Arguments::At(size_t i) const {
  if (i >= count())
    throw AutomationError(ErrorNumber::kArgumentNotOptional, u"An argument is missing");
  return parameters_.rgvarg[count() - 1 - i];
}

const VARIANT& Arguments::Value(size_t i) const {
  const VARIANT* value = &At(i);
  while (V_VT(value) == (VT_BYREF | VT_VARIANT)) value = V_VARIANTREF(value);
  return *value;
}

bool Arguments::Has(size_t i) const { return i < count() && V_VT(&Value(i)) != VT_ERROR; }

std::u16string Arguments::Text(size_t i) const {
  const com::Variant text = Converted(Value(i), VT_BSTR);
  return com::Text(V_BSTR(text.get()));
}

int32_t Arguments::Long(size_t i) const {
  const com::Variant number = Converted(Value(i), VT_I4);
  return V_I4(number.get());
}

bool Arguments::Bool(size_t i) const {
  const com::Variant value = Converted(Value(i), VT_BOOL);
  return V_BOOL(value.get()) != VARIANT_FALSE;
}

Bytes Arguments::ByteArray(size_t i) const {
  // Basic's variable that nothing was put in: no bytes.
  if (V_VT(&Value(i)) == VT_EMPTY) return {};
  return com::ToBytes(Value(i)).bytes;
}

void Arguments::Set(size_t i, com::Variant value) const {
  VARIANT* target = &At(i);
  while (V_VT(target) == (VT_BYREF | VT_VARIANT)) {
    target = V_VARIANTREF(target);
    if (V_VT(target) != (VT_BYREF | VT_VARIANT) && !V_ISBYREF(target)) {
      com::Check(::VariantClear(target));
      *target = value.Detach();
      return;
    }
  }
  if (!V_ISBYREF(target)) return;
  const VARTYPE type = V_VT(target) & ~VT_BYREF;
  if (V_VT(value.get()) != type) value = Converted(*value.get(), type);
  switch (type) {
    case VT_I2:
      *V_I2REF(target) = V_I2(value.get());
      return;
    case VT_I4:
      *V_I4REF(target) = V_I4(value.get());
      return;
    case VT_UI1:
      *V_UI1REF(target) = V_UI1(value.get());
      return;
    case VT_BSTR:
      ::SysFreeString(*V_BSTRREF(target));
      *V_BSTRREF(target) = V_BSTR(value.get());
      value.Detach();
      return;
    case VT_ARRAY | VT_UI1:
      if (*V_ARRAYREF(target)) com::Check(::SafeArrayDestroy(*V_ARRAYREF(target)));
      *V_ARRAYREF(target) = V_ARRAY(value.get());
      value.Detach();
      return;
    default:
      throw TypeMismatch();
  }
}

com::Variant FromText(std::u16string_view text) {
  com::Variant value;
  V_BSTR(value.get()) = com::Bstr(text).Detach();
  V_VT(value.get()) = VT_BSTR;
  return value;
}

com::Variant FromBool(bool value) {
  com::Variant result;
  V_VT(result.get()) = VT_BOOL;
  V_BOOL(result.get()) = com::ToVariantBool(value);
  return result;
}

com::Variant FromDate(double date) {
  com::Variant value;
  V_VT(value.get()) = VT_DATE;
  V_DATE(value.get()) = date;
  return value;
}

com::Variant FromObject(com::Ptr<IDispatch> object) {
  com::Variant value;
  V_VT(value.get()) = VT_DISPATCH;
  V_DISPATCH(value.get()) = object.Detach();
  return value;
}

HRESULT CaughtError(const wchar_t* source, EXCEPINFO* info) noexcept try {
  try {
    throw;
  } catch (const SuiteError& error) {
    return Fill(info, source, static_cast<HRESULT>(error.result), error.description);
  } catch (const AutomationError& error) {
    const bool basic = error.number() >= 0;
    const auto number = static_cast<uint32_t>(error.number());
    return Fill(info, source, static_cast<HRESULT>(basic ? 0x800A0000U + number : number),
                error.description());
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (const std::exception& error) {
    return Fill(info, source, E_UNEXPECTED, FromUtf8(error.what()));
  }
} catch (...) {
  return E_UNEXPECTED;
}

}  // namespace pylon::palm
