#pragma once

#include <cstdint>

namespace pylon {

// The enums of the type library, with the same numbers. They stand here for the portable code;
// the automation wrappers check at compile time that the library agrees.

enum eDatabaseForType : int32_t {
  dftPalmHotSync = 0,
  dftPalmVFS = 1,
  dftPocketPC = 2,
  dftSymbian = 3,
  dftWindows = 4,
  dftActiveSync = 5,
};

enum eRecordAttribute : int32_t {
  eArchive = 8,
  eSecret = 16,
  eDirty = 64,
  eDelete = 128,
};

enum eDeviceType : int32_t { dtHotSync = 0, dtActiveSync = 1, dtPC = 2 };

enum eConduitType : int32_t {
  ctVersion = 0,
  ctCreatorID = 1,
  ctAuthor = 2,
  ctApplicationName = 3,
  ctAppPath = 4,
  ctIcon = 5,
};

}  // namespace pylon
