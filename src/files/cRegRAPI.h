#pragma once

#include <memory>
#include <string>

#include "files/RapiConnection.h"

namespace pylon {

// The registry of a handheld.
class cRegRAPI {
 public:
  explicit cRegRAPI(std::shared_ptr<RapiConnection> connection);

  // The value "Name" of the key HKEY_LOCAL_MACHINE\Ident, a number as decimal text; "Unknown" for
  // any other value and when it can't be read.
  std::u16string DeviceName() const;

 private:
  std::shared_ptr<RapiConnection> connection_;
};

}  // namespace pylon
