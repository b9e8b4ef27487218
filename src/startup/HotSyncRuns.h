#pragma once

#include <optional>
#include <string_view>

#include "automation/HotSyncHost.h"
#include "startup/HandheldRuns.h"

namespace pylon {

// Runs in a server process what HotSync asks for, with the handheld of its session. Borrows the
// server.
class HotSyncRuns final : public HotSyncHost {
 public:
  HotSyncRuns(Server& server, PcSide pc);

  bool Sync(std::optional<int32_t> creator) override;
  void Configure(std::optional<int32_t> creator, std::u16string_view path) override;
  Conduit Describe(std::optional<int32_t> creator) override;
  void Report(std::u16string_view line) noexcept override;

 private:
  const AnsiCodePage& code_page_;
  HandheldRuns runs_;
};

}  // namespace pylon
