#include "automation/SyncIndexObject.h"

namespace pylon {

const ClassInfo SyncIndexObject::kClass = {CLSID_CSyncIndex, u"Pylon.CSyncIndex"};

STDMETHODIMP SyncIndexObject::get_SyncIndexExists(VARIANT_BOOL* value) noexcept {
  return GetBool(value, [&] { return index_->SyncIndexExists(); });
}
STDMETHODIMP SyncIndexObject::get_Changed(VARIANT_BOOL* value) noexcept {
  return GetBool(value, [&] { return index_->Changed(); });
}
STDMETHODIMP SyncIndexObject::get_UniqueId(BSTR PrimaryKey, long* value) noexcept {
  return Get(value, [&] { return index_->UniqueId(com::Text(PrimaryKey)); });
}
STDMETHODIMP SyncIndexObject::put_UniqueId(BSTR PrimaryKey, long value) noexcept {
  return Do([&] { index_->SetUniqueId(com::Text(PrimaryKey), value); });
}
STDMETHODIMP SyncIndexObject::Add(BSTR PrimaryKey, long UniqueId) noexcept {
  return Do([&] { index_->Add(com::Text(PrimaryKey), UniqueId); });
}
STDMETHODIMP SyncIndexObject::Remove(BSTR PrimaryKey) noexcept {
  return Do([&] { index_->Remove(com::Text(PrimaryKey)); });
}
STDMETHODIMP SyncIndexObject::Clear() noexcept {
  return Do([&] { index_->Clear(); });
}
STDMETHODIMP SyncIndexObject::CloseIndex() noexcept {
  return Do([&] { index_->CloseIndex(); });
}

}  // namespace pylon
