#pragma once

#include "appforge/PDBAppforgeRecord.h"
#include "automation/Object.h"

namespace pylon {

// One record as clients see it. Keeps the definition and the stream that it is given, which may be
// of another process or of another maker: the definition's fields are then read again
// whenever values are dropped, read or written.
class RecordObject final : public Object<RecordObject, ::_PDBAppforgeRecord> {
 public:
  static const ClassInfo kClass;

  explicit RecordObject(Server& server) : Object(server), record_(server.code_page()) {}

  STDMETHODIMP get_AppforgeDefinition(::_PDBAppforgeDefinition** value) noexcept override;
  STDMETHODIMP putref_AppforgeDefinition(::_PDBAppforgeDefinition* value) noexcept override;
  STDMETHODIMP get_ByteStream(::_PDBByteStream** value) noexcept override;
  STDMETHODIMP putref_ByteStream(::_PDBByteStream* value) noexcept override;
  STDMETHODIMP Clear() noexcept override;
  STDMETHODIMP get_DataLength(long* value) noexcept override;
  STDMETHODIMP get_HasValue(short Index, VARIANT_BOOL* value) noexcept override;
  STDMETHODIMP get_Value(short Index, VARIANT* value) noexcept override;
  STDMETHODIMP put_Value(short Index, VARIANT value) noexcept override;
  STDMETHODIMP get_ByteValue(short Index, unsigned char* value) noexcept override;
  STDMETHODIMP put_ByteValue(short Index, unsigned char value) noexcept override;
  STDMETHODIMP get_BooleanValue(short Index, VARIANT_BOOL* value) noexcept override;
  STDMETHODIMP put_BooleanValue(short Index, VARIANT_BOOL value) noexcept override;
  STDMETHODIMP get_IntegerValue(short Index, short* value) noexcept override;
  STDMETHODIMP put_IntegerValue(short Index, short value) noexcept override;
  STDMETHODIMP get_LongValue(short Index, long* value) noexcept override;
  STDMETHODIMP put_LongValue(short Index, long value) noexcept override;
  STDMETHODIMP get_DoubleValue(short Index, double* value) noexcept override;
  STDMETHODIMP put_DoubleValue(short Index, double value) noexcept override;
  STDMETHODIMP get_CurrencyValue(short Index, CURRENCY* value) noexcept override;
  STDMETHODIMP put_CurrencyValue(short Index, CURRENCY value) noexcept override;
  STDMETHODIMP get_SingleValue(short Index, float* value) noexcept override;
  STDMETHODIMP put_SingleValue(short Index, float value) noexcept override;
  STDMETHODIMP get_DateValue(short Index, DATE* value) noexcept override;
  STDMETHODIMP put_DateValue(short Index, DATE value) noexcept override;
  STDMETHODIMP get_StringValue(short Index, BSTR* value) noexcept override;
  STDMETHODIMP put_StringValue(short Index, BSTR value) noexcept override;
  STDMETHODIMP get_SignatureValue(short Index, ::_AppforgeSignature** value) noexcept override;
  STDMETHODIMP putref_SignatureValue(short Index, ::_AppforgeSignature* value) noexcept override;

 private:
  std::shared_ptr<pylon::PDBAppforgeDefinition> CopyOf(::_PDBAppforgeDefinition& definition);
  void ReadForeignFields();

  pylon::PDBAppforgeRecord record_;
  com::Ptr<::_PDBAppforgeDefinition> definition_;
  // The fields of a definition that is not of this process; null otherwise.
  std::shared_ptr<pylon::PDBAppforgeDefinition> copy_;
  com::Ptr<::_PDBByteStream> stream_;
};

}  // namespace pylon
