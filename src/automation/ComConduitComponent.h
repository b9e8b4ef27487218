#pragma once

#include "automation/Library.h"
#include "automation/Server.h"
#include "base/Com.h"
#include "conduits/ConduitComponent.h"

namespace pylon {

// A component behind ISyncNotify, in this process or another.
class ComConduitComponent final : public ConduitComponent {
 public:
  ComConduitComponent(Server& server, com::Ptr<::ISyncNotify> component)
      : server_(server), component_(std::move(component)) {}

  std::u16string GetConduitInfo(eConduitType infoType) override;
  void BeginSynchronize(const std::shared_ptr<oSyncInfo>& oSync) override;
  void ConfigureConduit() override;
  void SynchronizeClose() override;

 private:
  // Calls the component and raises its error.
  template <class Member>
  void Call(Member&& member) const;

  Server& server_;
  com::Ptr<::ISyncNotify> component_;
};

// Creates components by ProgID, or by class id in braces.
class ComComponentFactory final : public ComponentFactory {
 public:
  explicit ComComponentFactory(Server& server) noexcept : server_(server) {}

  Result Create(std::u16string_view class_id) override;

 private:
  Server& server_;
};

}  // namespace pylon
