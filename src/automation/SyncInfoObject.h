#pragma once

#include <memory>

#include "automation/ConduitInfoObject.h"
#include "automation/DeviceObject.h"
#include "automation/FileSystemObject.h"
#include "automation/Object.h"
#include "sync/oSyncInfo.h"

namespace pylon {

// The sync info that the component of a run gets. A component may keep it beyond the run: the sync
// info is detached by then, and the members find nothing in it.
class SyncInfoObject final : public Object<SyncInfoObject, ::_oSyncInfo> {
 public:
  static constexpr ClassInfo kClass = {CLSID_oSyncInfo, u"Pylon.oSyncInfo"};

  SyncInfoObject(Server& server, std::shared_ptr<pylon::oSyncInfo> info)
      : Object(server), info_(std::move(info)) {}

  STDMETHODIMP get_FileSystem(::PDBFileSystem** value) noexcept override;
  STDMETHODIMP get_ConduitInfo(::_CConduitInfo** value) noexcept override;
  STDMETHODIMP get_Device(::_CDevice** value) noexcept override;
  STDMETHODIMP get_CancelSync(VARIANT_BOOL* value) noexcept override {
    return GetBool(value, [&] { return info_->CancelSync(); });
  }
  STDMETHODIMP UpdateStatusMain(BSTR Value) noexcept override {
    return Do([&] { info_->UpdateStatusMain(com::Text(Value)); });
  }
  STDMETHODIMP UpdateStatusDetail(BSTR Value) noexcept override {
    return Do([&] { info_->UpdateStatusDetail(com::Text(Value)); });
  }
  STDMETHODIMP UpdateStatusMaxBar(long Value) noexcept override {
    return Do([&] { info_->UpdateStatusMaxBar(Value); });
  }
  STDMETHODIMP UpdateStatusIncrementBar(long Value) noexcept override {
    return Do([&] { info_->UpdateStatusIncrementBar(Value); });
  }
  STDMETHODIMP UpdateStatusBarValue(long Value) noexcept override {
    return Do([&] { info_->UpdateStatusBarValue(Value); });
  }
  STDMETHODIMP UpdateLog(BSTR Value) noexcept override {
    return Do([&] { info_->UpdateLog(com::Text(Value)); });
  }

 private:
  std::shared_ptr<pylon::oSyncInfo> info_;
  // Made when first asked for and kept, so that each stays one object.
  com::Ptr<FileSystemObject> file_system_;
  com::Ptr<ConduitInfoObject> conduit_info_;
  com::Ptr<DeviceObject> device_;
};

}  // namespace pylon
