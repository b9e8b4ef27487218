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

::_PDBByteStream* DefinitionObject::Hand(PDBByteStream stream) {
  auto object = com::Make<ByteStreamObject>(server());
  object->stream() = std::move(stream);
  return object.Detach();
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
}  // namespace pylon
