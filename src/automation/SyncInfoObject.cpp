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
}  // namespace pylon
