#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pylon::palm {

// A conduit as HotSync's manager keeps it in the registry of the user.
struct Conduit {
  uint32_t creator = 0;
  std::u16string name;
  std::u16string title;
  std::u16string directory;
  std::u16string com_client;  // ProgID; empty: no COM conduit
  uint32_t priority = 2;      // 0 to 4, the lowest runs first

  std::u16string Label() const;  // what people call it
};

// In the order in which they run.
std::vector<Conduit> RegisteredConduits();
std::optional<Conduit> FindConduit(uint32_t creator);

// For a PC without HotSync's own installer. SuiteError when the creator has one or the registry
// refuses; Remove is false when there is none.
void AddConduit(const Conduit& conduit);
bool RemoveConduit(uint32_t creator);

// The HotSync folder, without a trailing backslash; empty when none is registered.
std::u16string HotSyncFolder();

// Four characters as HotSync counts them, the first in the highest byte.
std::optional<uint32_t> ParseCreator(std::u16string_view text);
std::u16string CreatorText(uint32_t creator);

}  // namespace pylon::palm
