#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "files/RapiConnection.h"
#include "sync/FilePanel.h"
#include "sync/SyncTarget.h"

namespace pylon {

// A Pocket PC over the remote API: its databases are files in a folder of the device.
class PocketPcTarget final : public SyncTarget {
 public:
  // `simulator` is the full path of a rapi.dll that stands in for the system's; empty: the real
  // device.
  PocketPcTarget(PcSide pc, std::u16string simulator)
      : pc_(std::move(pc)), simulator_(std::move(simulator)) {}

  std::u16string TitleNote() const override;
  Device Connect(const Run& run) override;
  std::shared_ptr<PDBFileSystem> Open(const Run& run, const SyncIndexFactory& indexes,
                                      Failures& failures) override;
  void End() noexcept override;
  bool IsLost() const noexcept override { return connection_->IsLost(); }
  std::u16string_view LostText() const noexcept override { return RapiConnection::kClosedText; }

 private:
  std::u16string DatabaseFolder(const Run& run) const;
  FileFactory DeviceFiles(const std::shared_ptr<LogSink>& log) const;

  PcSide pc_;
  std::u16string simulator_;
  std::shared_ptr<RapiConnection> connection_ = std::make_shared<RapiConnection>();
  std::shared_ptr<FilePanel> panel_;
  bool connected_ = false;
  std::u16string cause_;    // why not
  std::u16string no_time_;  // why the device did not give its time
};

}  // namespace pylon
