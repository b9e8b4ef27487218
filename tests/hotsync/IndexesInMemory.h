#pragma once

#include <memory>

#include "tests/hotsync/DatabasePlaceTest.h"
#include "tests/support/PdbTesting.h"

namespace pylon::testing {

// A place whose sync indexes are in memory, as the PC of a handheld.
class IndexesInMemory : public DatabasePlace {
 protected:
  SyncIndexFactory Indexes() {
    return [this] {
      return std::make_shared<CSyncIndex>(CSyncIndex::Surroundings{
          disk_.Factory(), AnsiCodePage::Windows1252(), clock_, log_, {}, u"C:\\index", u"Device"});
    };
  }

  MemoryDisk disk_;
  FixedClock clock_;
  std::shared_ptr<CollectingLog> log_ = std::make_shared<CollectingLog>();
};

}  // namespace pylon::testing
