#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "hotsync/Handheld.h"
#include "sync/SyncTarget.h"

namespace pylon {

// A handheld in its session with the PC.
class HandheldTarget final : public SyncTarget {
 public:
  // The link that the session runs over, for the user.
  struct Link {
    std::u16string name;
    std::u16string lost_text;  // as the link's own errors say it
  };

  HandheldTarget(PcSide pc, std::shared_ptr<Handheld> handheld, Link link)
      : pc_(std::move(pc)), handheld_(std::move(handheld)), link_(std::move(link)) {}

  Device Connect(const Run& run) override;
  std::shared_ptr<PDBFileSystem> Open(const Run& run, const SyncIndexFactory& indexes,
                                      Failures& failures) override;
  void End() noexcept override;
  bool IsLost() const noexcept override { return lost_ || (handheld_ && handheld_->IsLost()); }
  std::u16string_view LostText() const noexcept override { return link_.lost_text; }

 private:
  PcSide pc_;
  std::shared_ptr<Handheld> handheld_;  // null after End
  Link link_;
  std::u16string refusal_;  // why the handheld did not say who it is
  std::u16string no_time_;  // why it did not give its time
  bool lost_ = false;       // as of End
};

}  // namespace pylon
