#pragma once

#include "automation/Object.h"
#include "pdb/PDBUtils.h"

namespace pylon {

class UtilsObject final : public Object<UtilsObject, ::_PDBUtils> {
 public:
  static const ClassInfo kClass;

  explicit UtilsObject(Server& server) : Object(server), utils_(server.code_page()) {}

  STDMETHODIMP UnsignedToLong(double* value, long* result) noexcept override;
  STDMETHODIMP LongToUnsigned(long* value, double* result) noexcept override;
  STDMETHODIMP UnsignedToInteger(long* value, short* result) noexcept override;
  STDMETHODIMP IntegerToUnsigned(short* value, long* result) noexcept override;
  STDMETHODIMP PalmLongToDate(long d, DATE* result) noexcept override;
  STDMETHODIMP DateToPalmLong(DATE d, long* result) noexcept override;
  STDMETHODIMP PalmIntegerToTime(short minutes, DATE* result) noexcept override;
  STDMETHODIMP PalmIDtoLong(BSTR* id, long* result) noexcept override;
  STDMETHODIMP PalmLongtoId(long id, BSTR* result) noexcept override;
  STDMETHODIMP ToUTF8(long code, VARIANT* result) noexcept override;
  STDMETHODIMP ToUTF16(VARIANT* bytes, long* result) noexcept override;
  STDMETHODIMP UTF8Length(BSTR text, long* result) noexcept override;

 private:
  PDBUtils utils_;
};

}  // namespace pylon
