#pragma once

namespace pylon {

// What synchronizes handhelds with this PC and starts conduits.
enum class SyncSystem { kHotSync, kActiveSync };

}  // namespace pylon
