#pragma once

#include <memory>
#include <optional>

#include "automation/ClientNotify.h"
#include "automation/Object.h"

namespace pylon {

// HotSync's entry into Pylon. HotSync calls it through IPDClientNotify, which the object has while
// the suite's type library is registered; callers by name find the same members.
class PalmSyncObject final : public Object<PalmSyncObject, ::_cPalmSync> {
 public:
  static const ClassInfo kClass;

  explicit PalmSyncObject(Server& server) : Object(server) {}

  STDMETHODIMP BeginProcess(VARIANT_BOOL* failed) noexcept override;
  STDMETHODIMP CfgConduit(long nCreatorId, long nUserId, BSTR bstrUserName, BSTR bstrPathName,
                          long nSyncPerm, long* nSyncTemp, long* nSyncNew,
                          long* nSyncPref) noexcept override;
  STDMETHODIMP ConfigureConduit(BSTR pPathName, BSTR pRegistry, long* nSyncPref,
                                long nSyncType) noexcept override;
  STDMETHODIMP GetConduitInfo(long infoType, long dwCreatorID, long dwUserID, BSTR bstrUsername,
                              VARIANT* info) noexcept override;

  STDMETHODIMP InterfaceSupportsErrorInfo(REFIID id) noexcept override;

 private:
  void* FindPrivate(REFIID id) noexcept override;
  HotSyncHost& Host() const;  // error 445 when there is none
  void Note(long creator) noexcept {
    if (creator != 0) creator_ = creator;
  }
  bool IsClientNotify(REFIID id);
  void BuildClientNotify() noexcept;

  std::optional<int32_t> creator_;  // that HotSync named last
  // IPDClientNotify in the registered library, from the first time that a client asks for an
  // interface that is not ours; null when it is not there.
  bool looked_up_ = false;
  com::Ptr<ITypeInfo> type_info_;
  IID notify_id_ = IID_NULL;
  // The object that serves it, from the first time that a client asks for it; null when it can't be
  // served.
  bool built_ = false;
  std::unique_ptr<ClientNotifyLayout> layout_;
  ClientNotifyFace face_ = {};
};

}  // namespace pylon
