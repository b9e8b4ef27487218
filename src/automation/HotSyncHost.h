#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace pylon {

// Runs what HotSync asks for; the program implements it in a process that serves objects.
//
// A conduit is known by the creator id of its application on the handheld. Members raise
// AutomationError for what HotSync's user could not learn otherwise.
class HotSyncHost {
 public:
  struct Conduit {
    std::u16string name;
    std::u16string version;
  };

  virtual ~HotSyncHost() = default;

  // Runs the sync of the conduit that HotSync has reached, or of `creator` when HotSync doesn't
  // say. False when it failed, which HotSync's log and ours tell then.
  virtual bool Sync(std::optional<int32_t> creator) = 0;
  // Shows the configuration of the conduit with this creator id, or else of the one whose AppId is
  // the last name in `path`, HotSync's folder for it.
  virtual void Configure(std::optional<int32_t> creator, std::u16string_view path) = 0;
  virtual Conduit Describe(std::optional<int32_t> creator) = 0;
  // A line for HotSync's log; nothing happens when there is no session.
  virtual void Report(std::u16string_view line) noexcept = 0;
};

}  // namespace pylon
