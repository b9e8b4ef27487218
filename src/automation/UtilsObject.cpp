#include "automation/UtilsObject.h"

namespace pylon {

const ClassInfo UtilsObject::kClass = {CLSID_PDBUtils, u"Pylon.PDBUtils"};

STDMETHODIMP UtilsObject::UnsignedToLong(double* value, long* result) noexcept {
  return value ? Get(result, [&] { return utils_.UnsignedToLong(*value); }) : Refuse(E_POINTER);
}
STDMETHODIMP UtilsObject::LongToUnsigned(long* value, double* result) noexcept {
  return value ? Get(result, [&] { return utils_.LongToUnsigned(*value); }) : Refuse(E_POINTER);
}
STDMETHODIMP UtilsObject::UnsignedToInteger(long* value, short* result) noexcept {
  return value ? Get(result, [&] { return utils_.UnsignedToInteger(*value); }) : Refuse(E_POINTER);
}
STDMETHODIMP UtilsObject::IntegerToUnsigned(short* value, long* result) noexcept {
  return value ? Get(result, [&] { return utils_.IntegerToUnsigned(*value); }) : Refuse(E_POINTER);
}
STDMETHODIMP UtilsObject::PalmLongToDate(long d, DATE* result) noexcept {
  return Get(result, [&] { return utils_.PalmLongToDate(d); });
}
STDMETHODIMP UtilsObject::DateToPalmLong(DATE d, long* result) noexcept {
  return Get(result, [&] { return utils_.DateToPalmLong(d); });
}
STDMETHODIMP UtilsObject::PalmIntegerToTime(short minutes, DATE* result) noexcept {
  return Get(result, [&] { return utils_.PalmIntegerToTime(minutes); });
}
STDMETHODIMP UtilsObject::PalmIDtoLong(BSTR* id, long* result) noexcept {
  return id ? Get(result, [&] { return utils_.PalmIDtoLong(com::Text(*id)); }) : Refuse(E_POINTER);
}
STDMETHODIMP UtilsObject::PalmLongtoId(long id, BSTR* result) noexcept {
  return GetText(result, [&] { return utils_.PalmLongtoId(id); });
}
STDMETHODIMP UtilsObject::ToUTF8(long code, VARIANT* result) noexcept {
  if (!result) return Refuse(E_POINTER);
  ::VariantInit(result);
  return Do([&] { *result = com::FromBytes(utils_.ToUTF8(code)).Detach(); });
}
STDMETHODIMP UtilsObject::ToUTF16(VARIANT* bytes, long* result) noexcept {
  if (!bytes) return Refuse(E_POINTER);
  return Get(result, [&] { return utils_.ToUTF16(com::ToBytes(*bytes).bytes); });
}
STDMETHODIMP UtilsObject::UTF8Length(BSTR text, long* result) noexcept {
  return Get(result, [&] { return utils_.UTF8Length(com::Text(text)); });
}

}  // namespace pylon
