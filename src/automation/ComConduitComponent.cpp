#include "automation/ComConduitComponent.h"

#include "automation/SyncInfoObject.h"
#include "base/SystemMessage.h"

namespace pylon {

template <class Member>
void ComConduitComponent::Call(Member&& member) const {
  ::SetErrorInfo(0, nullptr);  // the pending error is not the component's
  com::Check(member(), component_.get(), IID_ISyncNotify);
}

std::u16string ComConduitComponent::GetConduitInfo(eConduitType infoType) {
  com::Bstr text;
  Call([&] {
    return component_->GetConduitInfo(static_cast<::eConduitType>(infoType), text.Receive());
  });
  return com::Text(text.get());
}

void ComConduitComponent::BeginSynchronize(const std::shared_ptr<oSyncInfo>& oSync) {
  auto object = com::Make<SyncInfoObject>(server_, oSync);
  // By reference: the component may put another pointer there, so what comes back is released.
  auto argument = com::Ptr<::_oSyncInfo>::Share(object.get());
  Call([&] { return component_->BeginSynchronize(argument.InOut()); });
}

void ComConduitComponent::ConfigureConduit() {
  Call([&] { return component_->ConfigureConduit(); });
}

void ComConduitComponent::SynchronizeClose() {
  Call([&] { return component_->SynchronizeClose(); });
}

ComponentFactory::Result ComComponentFactory::Create(std::u16string_view class_id) {
  const std::u16string name(class_id);
  CLSID id = CLSID_NULL;
  com::Ptr<IUnknown> object;
  HRESULT created = name.starts_with(u'{') ? ::CLSIDFromString(Wide(name), &id)
                                           : ::CLSIDFromProgID(Wide(name), &id);
  if (SUCCEEDED(created)) {
    created = ::CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER,
                                 IID_IUnknown, reinterpret_cast<void**>(object.Receive()));
  }
  if (FAILED(created)) return {nullptr, Failure::kNotCreated, SystemMessage(created)};

  auto component = object.As<::ISyncNotify>();
  if (!component) {
    return {nullptr, Failure::kNoInterface, SystemMessage(E_NOINTERFACE)};
  }
  return {std::make_unique<ComConduitComponent>(server_, std::move(component)), Failure::kNone, {}};
}

}  // namespace pylon
