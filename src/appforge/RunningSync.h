#pragma once

#include <memory>

#include "base/Types.h"
#include "pdb/PDBFileSystem.h"

namespace pylon {

// The sync run of this process, as far as the settings of handheld applications need it.
class RunningSync {
 public:
  virtual ~RunningSync() = default;

  virtual eDeviceType DeviceType() const = 0;
  // Null once the run has ended.
  virtual std::shared_ptr<PDBFileSystem> FileSystem() const = 0;
};

}  // namespace pylon
