#pragma once

#include "automation/Object.h"
#include "pdb/PDBUtils.h"

namespace pylon {

class UtilsObject final : public Object<UtilsObject, ::_PDBUtils> {
 public:
  static constexpr ClassInfo kClass = {CLSID_PDBUtils, u"Pylon.PDBUtils"};

  explicit UtilsObject(Server& server) : Object(server), utils_(server.code_page()) {}

  STDMETHODIMP UnsignedToLong(double* value, long* result) noexcept override {
    return GetFrom(value, result, [&](double number) { return utils_.UnsignedToLong(number); });
  }
  STDMETHODIMP LongToUnsigned(long* value, double* result) noexcept override {
    return GetFrom(value, result, [&](long number) { return utils_.LongToUnsigned(number); });
  }
  STDMETHODIMP UnsignedToInteger(long* value, short* result) noexcept override {
    return GetFrom(value, result, [&](long number) { return utils_.UnsignedToInteger(number); });
  }
  STDMETHODIMP IntegerToUnsigned(short* value, long* result) noexcept override {
    return GetFrom(value, result, [&](short number) { return utils_.IntegerToUnsigned(number); });
  }
  STDMETHODIMP PalmLongToDate(long d, DATE* result) noexcept override {
    return Get(result, [&] { return utils_.PalmLongToDate(d); });
  }
  STDMETHODIMP DateToPalmLong(DATE d, long* result) noexcept override {
    return Get(result, [&] { return utils_.DateToPalmLong(d); });
  }
  STDMETHODIMP PalmIntegerToTime(short minutes, DATE* result) noexcept override {
    return Get(result, [&] { return utils_.PalmIntegerToTime(minutes); });
  }
  STDMETHODIMP PalmIDtoLong(BSTR* id, long* result) noexcept override {
    return GetFrom(id, result, [&](BSTR text) { return utils_.PalmIDtoLong(com::Text(text)); });
  }
  STDMETHODIMP PalmLongtoId(long id, BSTR* result) noexcept override {
    return GetText(result, [&] { return utils_.PalmLongtoId(id); });
  }
  STDMETHODIMP ToUTF8(long code, VARIANT* result) noexcept override {
    return GetVariant(result, [&] { return com::FromBytes(utils_.ToUTF8(code)); });
  }
  STDMETHODIMP ToUTF16(VARIANT* bytes, long* result) noexcept override {
    return GetFrom(bytes, result,
                   [&](const VARIANT& array) { return utils_.ToUTF16(com::ToBytes(array).bytes); });
  }
  STDMETHODIMP UTF8Length(BSTR text, long* result) noexcept override {
    return Get(result, [&] { return utils_.UTF8Length(com::Text(text)); });
  }

 private:
  PDBUtils utils_;
};

}  // namespace pylon
