#include "automation/SyncIndexObject.h"

namespace pylon {

const ClassInfo SyncIndexObject::kClass = {CLSID_CSyncIndex, u"Pylon.CSyncIndex"};

}  // namespace pylon
