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

AppSettingsObject::AppSettingsObject(Server& server)
    : Object(server), settings_(RunOf(server), store_, server.code_page()) {}

}  // namespace pylon
