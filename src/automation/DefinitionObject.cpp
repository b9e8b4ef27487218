#include "automation/DefinitionObject.h"

#include "automation/ByteStreamObject.h"

namespace pylon {

static_assert(static_cast<int>(::eInvalidField) == pylon::eInvalidField &&
              static_cast<int>(::eByteField) == pylon::eByteField &&
              static_cast<int>(::eIntegerField) == pylon::eIntegerField &&
              static_cast<int>(::eLongField) == pylon::eLongField &&
              static_cast<int>(::eFloatField) == pylon::eFloatField &&
              static_cast<int>(::eStringField) == pylon::eStringField &&
              static_cast<int>(::eBooleanField) == pylon::eBooleanField &&
              static_cast<int>(::eDateField) == pylon::eDateField &&
              static_cast<int>(::eDoubleField) == pylon::eDoubleField &&
              static_cast<int>(::eCurrencyField) == pylon::eCurrencyField &&
              static_cast<int>(::eSignatureField) == pylon::eSignatureField);

const ClassInfo DefinitionObject::kClass = {CLSID_PDBAppforgeDefinition,
                                            u"Pylon.PDBAppforgeDefinition"};

::_PDBByteStream* DefinitionObject::Hand(PDBByteStream stream) {
  auto object = com::Make<ByteStreamObject>(server());
  object->stream() = std::move(stream);
  return object.Detach();
}

STDMETHODIMP DefinitionObject::get_AppInfoBlock(::_PDBByteStream** value) noexcept {
  return Get(value, [&] { return Hand(definition_->AppInfoBlock()); });
}
STDMETHODIMP DefinitionObject::get_SortInfoBlock(::_PDBByteStream** value) noexcept {
  return Get(value, [&] { return Hand(definition_->SortInfoBlock()); });
}
STDMETHODIMP DefinitionObject::putref_SortInfoBlock(::_PDBByteStream* value) noexcept {
  return Do([&] { definition_->SetSortInfoBlock(StreamArgument(server(), &value).Given()); });
}
STDMETHODIMP DefinitionObject::IsAppforgeData(::_PDBByteStream* oByteStream,
                                              VARIANT_BOOL* result) noexcept {
  return GetBool(result, [&] {
    return definition_->IsAppforgeData(StreamArgument(server(), &oByteStream).Given());
  });
}
STDMETHODIMP DefinitionObject::get_FieldCount(short* value) noexcept {
  return Get(value, [&] { return definition_->FieldCount(); });
}
STDMETHODIMP DefinitionObject::AddFieldName(BSTR sFieldName, ::eFieldTypes iFieldType) noexcept {
  return Do([&] { definition_->AddFieldName(com::Text(sFieldName), iFieldType); });
}
STDMETHODIMP DefinitionObject::ClearFieldName() noexcept {
  return Do([&] { definition_->ClearFieldName(); });
}
STDMETHODIMP DefinitionObject::get_FieldName(short Index, BSTR* value) noexcept {
  return GetText(value, [&] { return definition_->FieldName(Index); });
}
STDMETHODIMP DefinitionObject::put_FieldName(short Index, BSTR value) noexcept {
  return Do([&] { definition_->SetFieldName(Index, com::Text(value)); });
}
STDMETHODIMP DefinitionObject::get_FieldType(short Index, ::eFieldTypes* value) noexcept {
  return Get(value, [&] { return static_cast<::eFieldTypes>(definition_->FieldType(Index)); });
}
STDMETHODIMP DefinitionObject::put_FieldType(short Index, ::eFieldTypes value) noexcept {
  return Do([&] { definition_->SetFieldType(Index, value); });
}
STDMETHODIMP DefinitionObject::get_SortFieldCount(short* value) noexcept {
  return Get(value, [&] { return definition_->SortFieldCount(); });
}
STDMETHODIMP DefinitionObject::get_SortFieldIndex(short Index, short* value) noexcept {
  return Get(value, [&] { return definition_->SortFieldIndex(Index); });
}

}  // namespace pylon
