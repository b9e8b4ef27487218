#pragma once

#include <memory>

#include "appforge/PDBAppforgeDefinition.h"
#include "automation/Object.h"

namespace pylon {

// How the records of one process reach the schema behind a _PDBAppforgeDefinition of their own. It
// has no marshaller, so only direct pointers answer to it.
struct NativeDefinition : IUnknown {
  virtual const std::shared_ptr<PDBAppforgeDefinition>& definition() noexcept = 0;

 protected:
  ~NativeDefinition() = default;
};

}  // namespace pylon

__CRT_UUID_DECL(pylon::NativeDefinition, 0x442889f7, 0xa621, 0x4ab8, 0xb6, 0x2a, 0xfa, 0x61, 0xd1,
                0xdf, 0xbb, 0xd8)

namespace pylon {

class DefinitionObject final
    : public Object<DefinitionObject, ::_PDBAppforgeDefinition, NativeDefinition> {
 public:
  static constexpr ClassInfo kClass = {CLSID_PDBAppforgeDefinition, u"Pylon.PDBAppforgeDefinition"};

  explicit DefinitionObject(Server& server)
      : Object(server),
        definition_(std::make_shared<pylon::PDBAppforgeDefinition>(server.code_page())) {}

  const std::shared_ptr<pylon::PDBAppforgeDefinition>& definition() noexcept override {
    return definition_;
  }

  STDMETHODIMP get_AppInfoBlock(::_PDBByteStream** value) noexcept override {
    return Get(value, [&] { return Hand(definition_->AppInfoBlock()); });
  }
  STDMETHODIMP get_SortInfoBlock(::_PDBByteStream** value) noexcept override {
    return Get(value, [&] { return Hand(definition_->SortInfoBlock()); });
  }
  STDMETHODIMP putref_SortInfoBlock(::_PDBByteStream* value) noexcept override;
  STDMETHODIMP IsAppforgeData(::_PDBByteStream* oByteStream,
                              VARIANT_BOOL* result) noexcept override;
  STDMETHODIMP get_FieldCount(short* value) noexcept override {
    return Get(value, [&] { return definition_->FieldCount(); });
  }
  STDMETHODIMP AddFieldName(BSTR sFieldName, ::eFieldTypes iFieldType) noexcept override {
    return Do([&] { definition_->AddFieldName(com::Text(sFieldName), iFieldType); });
  }
  STDMETHODIMP ClearFieldName() noexcept override {
    return Do([&] { definition_->ClearFieldName(); });
  }
  STDMETHODIMP get_FieldName(short Index, BSTR* value) noexcept override {
    return GetText(value, [&] { return definition_->FieldName(Index); });
  }
  STDMETHODIMP put_FieldName(short Index, BSTR value) noexcept override {
    return Do([&] { definition_->SetFieldName(Index, com::Text(value)); });
  }
  STDMETHODIMP get_FieldType(short Index, ::eFieldTypes* value) noexcept override {
    return Get(value, [&] { return static_cast<::eFieldTypes>(definition_->FieldType(Index)); });
  }
  STDMETHODIMP put_FieldType(short Index, ::eFieldTypes value) noexcept override {
    return Do([&] { definition_->SetFieldType(Index, value); });
  }
  STDMETHODIMP get_SortFieldCount(short* value) noexcept override {
    return Get(value, [&] { return definition_->SortFieldCount(); });
  }
  STDMETHODIMP get_SortFieldIndex(short Index, short* value) noexcept override {
    return Get(value, [&] { return definition_->SortFieldIndex(Index); });
  }

 private:
  ::_PDBByteStream* Hand(PDBByteStream stream);

  std::shared_ptr<pylon::PDBAppforgeDefinition> definition_;
};

}  // namespace pylon
