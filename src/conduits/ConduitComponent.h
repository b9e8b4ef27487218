#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "base/Types.h"

namespace pylon {

class oSyncInfo;

// A developer's conduit component, as the system sees it. The automation floor implements it over
// ISyncNotify. Destroying it releases the component, which may call back while it goes.
//
// Members raise AutomationError with what the component raised.
class ConduitComponent {
 public:
  virtual ~ConduitComponent() = default;

  virtual std::u16string GetConduitInfo(eConduitType infoType) = 0;
  // Once per sync, does all of it. A component may keep the object longer than the call.
  virtual void BeginSynchronize(const std::shared_ptr<oSyncInfo>& oSync) = 0;
  virtual void ConfigureConduit() = 0;
  virtual void SynchronizeClose() = 0;  // just before the release, after a good sync only
};

// Creates components from automation class names ("library.class").
class ComponentFactory {
 public:
  enum class Failure {
    kNone,
    kNotCreated,   // no such class, or its server does not start
    kNoInterface,  // created, but it is not an ISyncNotify
  };
  struct Result {
    std::unique_ptr<ConduitComponent> component;  // null on failure
    Failure failure = Failure::kNone;
    std::u16string reason;  // the system's text for the failure, for the log
  };

  virtual ~ComponentFactory() = default;
  virtual Result Create(std::u16string_view class_id) = 0;
};

}  // namespace pylon
