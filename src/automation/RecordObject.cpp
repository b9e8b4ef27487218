#include "automation/RecordObject.h"

#include "automation/ByteStreamObject.h"
#include "automation/DefinitionObject.h"
#include "automation/SignatureObject.h"
#include "automation/Tagged.h"

namespace pylon {

const ClassInfo RecordObject::kClass = {CLSID_PDBAppforgeRecord, u"Pylon.PDBAppforgeRecord"};

STDMETHODIMP RecordObject::get_AppforgeDefinition(::_PDBAppforgeDefinition** value) noexcept {
  return Get(value, [&] { return com::Ptr(definition_).Detach(); });
}
STDMETHODIMP RecordObject::putref_AppforgeDefinition(::_PDBAppforgeDefinition* value) noexcept {
  return Do([&] {
    auto given = com::Ptr<::_PDBAppforgeDefinition>::Share(value);
    const auto native = given.As<NativeDefinition>();
    // Asked before anything changes: another process may fail to answer, or call back meanwhile.
    auto copy = given && !native ? CopyOf(*given.get()) : nullptr;
    record_.SetAppforgeDefinition(native ? native->definition() : copy);
    copy_ = std::move(copy);
    std::swap(definition_, given);
  });
}
STDMETHODIMP RecordObject::get_ByteStream(::_PDBByteStream** value) noexcept {
  return Get(value, [&] {
    ReadForeignFields();
    StreamArgument stream(server(), stream_.InOut());
    try {
      record_.Encode(stream.ToRewrite());
    } catch (const AutomationError&) {
      // The fields before the one that failed are written.
      stream.Return();
      throw;
    }
    stream.Return();
    return com::Ptr(stream_).Detach();
  });
}
STDMETHODIMP RecordObject::putref_ByteStream(::_PDBByteStream* value) noexcept {
  return Do([&] {
    if (!value) throw AutomationError(ErrorNumber::kObjectNotSet);
    auto given = com::Ptr<::_PDBByteStream>::Share(value);
    std::swap(stream_, given);
    ReadForeignFields();
    StreamArgument stream(server(), &value);
    record_.Decode(stream.GivenToRead());
  });
}
STDMETHODIMP RecordObject::Clear() noexcept {
  return Do([&] {
    ReadForeignFields();
    record_.Clear();
  });
}
STDMETHODIMP RecordObject::get_DataLength(long* value) noexcept {
  return Get(value, [&] { return record_.DataLength(); });
}
STDMETHODIMP RecordObject::get_HasValue(short Index, VARIANT_BOOL* value) noexcept {
  return GetBool(value, [&] { return record_.HasValue(Index); });
}
STDMETHODIMP RecordObject::get_Value(short Index, VARIANT* value) noexcept {
  if (!value) return FailWith(E_POINTER);
  ::VariantInit(value);
  return Do([&] { *value = com::FromTagged(record_.Value(Index)).Detach(); });
}
STDMETHODIMP RecordObject::put_Value(short Index, VARIANT value) noexcept {
  return Do([&] { record_.SetValue(Index, com::ToTagged(value)); });
}
STDMETHODIMP RecordObject::get_ByteValue(short Index, unsigned char* value) noexcept {
  return Get(value, [&] { return record_.ByteValue(Index); });
}
STDMETHODIMP RecordObject::put_ByteValue(short Index, unsigned char value) noexcept {
  return Do([&] { record_.SetByteValue(Index, value); });
}
STDMETHODIMP RecordObject::get_BooleanValue(short Index, VARIANT_BOOL* value) noexcept {
  return GetBool(value, [&] { return record_.BooleanValue(Index); });
}
STDMETHODIMP RecordObject::put_BooleanValue(short Index, VARIANT_BOOL value) noexcept {
  return Do([&] { record_.SetBooleanValue(Index, value != VARIANT_FALSE); });
}
STDMETHODIMP RecordObject::get_IntegerValue(short Index, short* value) noexcept {
  return Get(value, [&] { return record_.IntegerValue(Index); });
}
STDMETHODIMP RecordObject::put_IntegerValue(short Index, short value) noexcept {
  return Do([&] { record_.SetIntegerValue(Index, value); });
}
STDMETHODIMP RecordObject::get_LongValue(short Index, long* value) noexcept {
  return Get(value, [&] { return record_.LongValue(Index); });
}
STDMETHODIMP RecordObject::put_LongValue(short Index, long value) noexcept {
  return Do([&] { record_.SetLongValue(Index, value); });
}
STDMETHODIMP RecordObject::get_DoubleValue(short Index, double* value) noexcept {
  return Get(value, [&] { return record_.DoubleValue(Index); });
}
STDMETHODIMP RecordObject::put_DoubleValue(short Index, double value) noexcept {
  return Do([&] { record_.SetDoubleValue(Index, value); });
}
STDMETHODIMP RecordObject::get_CurrencyValue(short Index, CURRENCY* value) noexcept {
  return Get(value, [&] { return CURRENCY{.int64 = record_.CurrencyValue(Index).scaled}; });
}
STDMETHODIMP RecordObject::put_CurrencyValue(short Index, CURRENCY value) noexcept {
  return Do([&] { record_.SetCurrencyValue(Index, Currency{value.int64}); });
}
STDMETHODIMP RecordObject::get_SingleValue(short Index, float* value) noexcept {
  return Get(value, [&] { return record_.SingleValue(Index); });
}
STDMETHODIMP RecordObject::put_SingleValue(short Index, float value) noexcept {
  return Do([&] { record_.SetSingleValue(Index, value); });
}
STDMETHODIMP RecordObject::get_DateValue(short Index, DATE* value) noexcept {
  return Get(value, [&] { return record_.DateValue(Index); });
}
STDMETHODIMP RecordObject::put_DateValue(short Index, DATE value) noexcept {
  return Do([&] { record_.SetDateValue(Index, value); });
}
STDMETHODIMP RecordObject::get_StringValue(short Index, BSTR* value) noexcept {
  return GetText(value, [&] { return record_.StringValue(Index); });
}
STDMETHODIMP RecordObject::put_StringValue(short Index, BSTR value) noexcept {
  return Do([&] { record_.SetStringValue(Index, com::Text(value)); });
}
STDMETHODIMP RecordObject::get_SignatureValue(short Index, ::_AppforgeSignature** value) noexcept {
  return Get(value, [&] {
    return com::Make<SignatureObject>(server(), record_.StringValue(Index)).Detach();
  });
}
STDMETHODIMP RecordObject::putref_SignatureValue(short Index,
                                                 ::_AppforgeSignature* value) noexcept {
  return Do([&] {
    if (!value) throw AutomationError(ErrorNumber::kObjectNotSet);
    com::Bstr text;
    com::Check(value->get_Signature(text.Receive()), value, IID__AppforgeSignature);
    record_.SetStringValue(Index, com::Text(text.get()));
  });
}

// The fields of a definition that can only be asked for them one by one.
std::shared_ptr<pylon::PDBAppforgeDefinition> RecordObject::CopyOf(
    ::_PDBAppforgeDefinition& definition) {
  const auto check = [&](HRESULT result) {
    com::Check(result, &definition, IID__PDBAppforgeDefinition);
  };
  auto copy = std::make_shared<pylon::PDBAppforgeDefinition>(server().code_page());
  short count = 0;
  check(definition.get_FieldCount(&count));
  for (int i = 1; i <= count; ++i) {
    ::eFieldTypes type = ::eInvalidField;
    check(definition.get_FieldType(static_cast<short>(i), &type));
    copy->AddFieldName({}, type);
  }
  return copy;
}

// Its fields may have changed since.
void RecordObject::ReadForeignFields() {
  if (!copy_) return;
  const auto definition = definition_;
  const auto copy = copy_;
  *copy = *CopyOf(*definition.get());
}

}  // namespace pylon
