#include "automation/SyncInfoObject.h"

namespace pylon {
namespace {

// The one object for a part of the run, made when first asked for; null once the run is over.
template <class Interface, class Wrapper, class Part>
Interface* Hand(Server& server, com::Ptr<Wrapper>& kept, std::shared_ptr<Part> part) {
  if (!part) return nullptr;
  if (!kept) kept = com::Make<Wrapper>(server, std::move(part));
  return com::Ptr<Interface>::Share(kept.get()).Detach();
}

}  // namespace

const ClassInfo SyncInfoObject::kClass = {CLSID_oSyncInfo, u"Pylon.oSyncInfo"};

STDMETHODIMP SyncInfoObject::get_FileSystem(::PDBFileSystem** value) noexcept {
  return Get(value,
             [&] { return Hand<::PDBFileSystem>(server(), file_system_, info_->FileSystem()); });
}
STDMETHODIMP SyncInfoObject::get_ConduitInfo(::_CConduitInfo** value) noexcept {
  return Get(value,
             [&] { return Hand<::_CConduitInfo>(server(), conduit_info_, info_->ConduitInfo()); });
}
STDMETHODIMP SyncInfoObject::get_Device(::_CDevice** value) noexcept {
  return Get(value, [&] { return Hand<::_CDevice>(server(), device_, info_->Device()); });
}
STDMETHODIMP SyncInfoObject::get_CancelSync(VARIANT_BOOL* value) noexcept {
  return GetBool(value, [&] { return info_->CancelSync(); });
}
STDMETHODIMP SyncInfoObject::UpdateStatusMain(BSTR Value) noexcept {
  return Do([&] { info_->UpdateStatusMain(com::Text(Value)); });
}
STDMETHODIMP SyncInfoObject::UpdateStatusDetail(BSTR Value) noexcept {
  return Do([&] { info_->UpdateStatusDetail(com::Text(Value)); });
}
STDMETHODIMP SyncInfoObject::UpdateStatusMaxBar(long Value) noexcept {
  return Do([&] { info_->UpdateStatusMaxBar(Value); });
}
STDMETHODIMP SyncInfoObject::UpdateStatusIncrementBar(long Value) noexcept {
  return Do([&] { info_->UpdateStatusIncrementBar(Value); });
}
STDMETHODIMP SyncInfoObject::UpdateStatusBarValue(long Value) noexcept {
  return Do([&] { info_->UpdateStatusBarValue(Value); });
}
STDMETHODIMP SyncInfoObject::UpdateLog(BSTR Value) noexcept {
  return Do([&] { info_->UpdateLog(com::Text(Value)); });
}

}  // namespace pylon
