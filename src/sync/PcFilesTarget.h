#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "sync/SyncTarget.h"

namespace pylon {

// Database files in a folder of the PC, in the layout of the platform that they are for.
class PcFilesTarget final : public SyncTarget {
 public:
  // The user names the device. Without a save folder the databases go to the conduit's PC folder.
  PcFilesTarget(PcSide pc, eDatabaseForType database_for, std::u16string user,
                std::u16string save_folder)
      : pc_(std::move(pc)),
        database_for_(database_for),
        user_(std::move(user)),
        save_folder_(std::move(save_folder)) {}

  Device Connect(const Run& run) override;
  std::shared_ptr<PDBFileSystem> Open(const Run& run, const SyncIndexFactory& indexes,
                                      Failures& failures) override;
  void End() noexcept override {}
  bool IsLost() const noexcept override { return false; }
  std::u16string_view LostText() const noexcept override { return {}; }

 private:
  PcSide pc_;
  eDatabaseForType database_for_;
  std::u16string user_;
  std::u16string save_folder_;
};

}  // namespace pylon
