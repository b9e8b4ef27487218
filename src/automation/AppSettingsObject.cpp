#include "automation/AppSettingsObject.h"

#include "conduits/CDevice.h"

namespace pylon {
namespace {

class RunOfProcess final : public RunningSync {
 public:
  explicit RunOfProcess(std::shared_ptr<oSyncInfo> run) : run_(std::move(run)) {}

  // A run that does not know its device yet, as while its component describes itself, has none.
  eDeviceType DeviceType() const override {
    const auto device = run_->Device();
    return device ? device->DeviceType() : dtPC;
  }
  std::shared_ptr<pylon::PDBFileSystem> FileSystem() const override { return run_->FileSystem(); }

 private:
  std::shared_ptr<oSyncInfo> run_;
};

std::shared_ptr<const RunningSync> RunOf(const Server& server) {
  return server.run() ? std::make_shared<RunOfProcess>(server.run()) : nullptr;
}

}  // namespace

const ClassInfo AppSettingsObject::kClass = {CLSID_AppforgeAppSettings,
                                             u"Pylon.AppforgeAppSettings"};

AppSettingsObject::AppSettingsObject(Server& server)
    : Object(server), settings_(RunOf(server), store_, server.code_page()) {}

STDMETHODIMP AppSettingsObject::GetSettings(BSTR AppName, BSTR Section, BSTR Key, BSTR Default,
                                            BSTR* result) noexcept {
  return GetText(result, [&] {
    return settings_.GetSettings(com::Text(AppName), com::Text(Section), com::Text(Key),
                                 com::Text(Default));
  });
}
STDMETHODIMP AppSettingsObject::SaveSettings(BSTR AppName, BSTR Section, BSTR Key,
                                             BSTR Value) noexcept {
  return Do([&] {
    settings_.SaveSettings(com::Text(AppName), com::Text(Section), com::Text(Key),
                           com::Text(Value));
  });
}
STDMETHODIMP AppSettingsObject::DeleteSettings(BSTR AppName, BSTR Section, BSTR Key) noexcept {
  return Do(
      [&] { settings_.DeleteSettings(com::Text(AppName), com::Text(Section), com::Text(Key)); });
}

}  // namespace pylon
