#pragma once

namespace pylon {

// The systems that synchronize handhelds with this PC and start conduits.
enum class SyncSystem { kHotSync, kActiveSync };

}  // namespace pylon
