#include "automation/Tagged.h"

#include "base/AutomationError.h"
#include "base/Text.h"

namespace pylon::com {
namespace {

struct ToVariant {
  VARIANT* target;

  void operator()(std::monostate) const {}
  void operator()(bool value) const {
    V_VT(target) = VT_BOOL;
    V_BOOL(target) = ToVariantBool(value);
  }
  void operator()(uint8_t value) const {
    V_VT(target) = VT_UI1;
    V_UI1(target) = value;
  }
  void operator()(int16_t value) const {
    V_VT(target) = VT_I2;
    V_I2(target) = value;
  }
  void operator()(int32_t value) const {
    V_VT(target) = VT_I4;
    V_I4(target) = value;
  }
  void operator()(float value) const {
    V_VT(target) = VT_R4;
    V_R4(target) = value;
  }
  void operator()(double value) const {
    V_VT(target) = VT_R8;
    V_R8(target) = value;
  }
  void operator()(Currency value) const {
    V_VT(target) = VT_CY;
    V_CY(target).int64 = value.scaled;
  }
  void operator()(DateStamp value) const {
    V_VT(target) = VT_DATE;
    V_DATE(target) = value.value;
  }
  void operator()(const std::u16string& value) const {
    V_VT(target) = VT_BSTR;
    V_BSTR(target) = nullptr;
    V_BSTR(target) = Bstr(value).Detach();
  }
};

TaggedValue Whole(int64_t value) {
  if (value == static_cast<int32_t>(value)) return static_cast<int32_t>(value);
  return pylon::ToText(value);
}

}  // namespace

Variant FromTagged(const TaggedValue& value) {
  Variant result;
  std::visit(ToVariant{result.get()}, value);
  return result;
}

TaggedValue ToTagged(const VARIANT& value) {
  if (V_ISARRAY(&value)) return {};
  Variant plain;
  Check(::VariantCopyInd(plain.get(), const_cast<VARIANT*>(&value)));
  switch (V_VT(plain.get())) {
    case VT_BOOL:
      return V_BOOL(plain.get()) != VARIANT_FALSE;
    case VT_UI1:
      return V_UI1(plain.get());
    case VT_I1:
      return static_cast<int16_t>(V_I1(plain.get()));
    case VT_I2:
      return V_I2(plain.get());
    case VT_UI2:
      return static_cast<int32_t>(V_UI2(plain.get()));
    case VT_I4:
    case VT_INT:
      return static_cast<int32_t>(V_I4(plain.get()));
    case VT_UI4:
    case VT_UINT:
      return Whole(V_UI4(plain.get()));
    case VT_I8:
      return Whole(V_I8(plain.get()));
    case VT_UI8:
      if (V_UI8(plain.get()) <= INT64_MAX) return Whole(static_cast<int64_t>(V_UI8(plain.get())));
      return pylon::FromAscii(std::to_string(V_UI8(plain.get())));
    case VT_R4:
      return V_R4(plain.get());
    case VT_R8:
      return V_R8(plain.get());
    case VT_CY:
      return Currency{V_CY(plain.get()).int64};
    case VT_DATE:
      return DateStamp{V_DATE(plain.get())};
    case VT_BSTR:
      return Text(V_BSTR(plain.get()));
    case VT_DECIMAL: {
      Bstr text;
      Check(::VarBstrFromDec(&V_DECIMAL(plain.get()), LOCALE_INVARIANT, 0, text.Receive()));
      return Text(text.get());
    }
    default:
      return {};
  }
}

}  // namespace pylon::com
