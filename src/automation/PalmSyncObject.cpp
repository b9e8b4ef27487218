#include "automation/PalmSyncObject.h"

#include "automation/HotSyncHost.h"
#include "hotsync/SuiteLibrary.h"

namespace pylon {

const ClassInfo PalmSyncObject::kClass = {CLSID_cPalmSync, u"Pylon.cPalmSync"};

HotSyncHost& PalmSyncObject::Host() const {
  if (!server().hot_sync()) {
    throw AutomationError(ErrorNumber::kActionNotSupported,
                          u"HotSync's syncs run in a Pylon that serves objects, not in this one.");
  }
  return *server().hot_sync();
}

STDMETHODIMP PalmSyncObject::BeginProcess(VARIANT_BOOL* failed) noexcept {
  return GetBool(failed, [&] { return !Host().Sync(creator_); });
}

// "Change..." of HotSync's list of conduits; older HotSyncs call ConfigureConduit. What the user
// may change is in the component's own settings, so the kinds of sync stay as HotSync has them.
STDMETHODIMP PalmSyncObject::CfgConduit(long nCreatorId, long, BSTR, BSTR bstrPathName, long, long*,
                                        long*, long*) noexcept {
  return Do([&] {
    Note(nCreatorId);
    Host().Configure(creator_, com::Text(bstrPathName));
  });
}

STDMETHODIMP PalmSyncObject::ConfigureConduit(BSTR pPathName, BSTR, long*, long) noexcept {
  return Do([&] { Host().Configure(creator_, com::Text(pPathName)); });
}

STDMETHODIMP PalmSyncObject::GetConduitInfo(long infoType, long dwCreatorID, long, BSTR,
                                            VARIANT* info) noexcept {
  if (!info) return pylon::FailWith(E_POINTER);
  ::VariantInit(info);
  return Do([&] {
    Note(dwCreatorID);
    const auto types = ValuesOf(suite::kConduitInfos, RegisteredSuiteLibrary().get());
    if (infoType == types[suite::kMfcVersion]) {
      *info = com::Variant(suite::kMfcNotUsed).Detach();
    } else if (infoType == types[suite::kDefaultAction]) {
      *info = com::Variant(suite::kFastSync).Detach();
    } else if (infoType == types[suite::kConduitName] ||
               infoType == types[suite::kConduitVersion]) {
      const HotSyncHost::Conduit conduit = Host().Describe(creator_);
      com::Bstr text(infoType == types[suite::kConduitName] ? conduit.name : conduit.version);
      V_VT(info) = VT_BSTR;
      V_BSTR(info) = text.Detach();
    }
  });
}

STDMETHODIMP PalmSyncObject::InterfaceSupportsErrorInfo(REFIID id) noexcept {
  if (layout_ && id == layout_->id()) return S_OK;
  return Object::InterfaceSupportsErrorInfo(id);
}

void* PalmSyncObject::FindPrivate(REFIID id) noexcept {
  try {
    if (!IsClientNotify(id)) return nullptr;
  } catch (const std::exception&) {
    return nullptr;  // a library that can't be read describes no interface
  }
  if (!built_) BuildClientNotify();
  return layout_ ? &face_ : nullptr;
}

bool PalmSyncObject::IsClientNotify(REFIID id) {
  if (!looked_up_) {
    const com::Ptr<ITypeLib> library = RegisteredSuiteLibrary();
    if (library) {
      notify_id_ = ClientNotifyLayout::IdIn(library.get(), type_info_).value_or(IID_NULL);
    }
    looked_up_ = true;
  }
  return type_info_ && id == notify_id_;
}

void PalmSyncObject::BuildClientNotify() noexcept {
  built_ = true;
  try {
    layout_ = std::make_unique<ClientNotifyLayout>(type_info_);
    face_ = {layout_->vtable(), this, layout_.get()};
  } catch (const AutomationError& error) {
    // QueryInterface can only answer yes or no; HotSync's log has the reason.
    if (server().hot_sync()) server().hot_sync()->Report(error.description());
  } catch (const std::exception&) {
    built_ = false;  // out of memory; the next time there may be some
  }
}

}  // namespace pylon
