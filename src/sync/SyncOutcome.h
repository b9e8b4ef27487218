#pragma once

#include <string>

#include "base/Failure.h"

namespace pylon {

enum class SyncResult { kDone, kFailed, kCancelled };

// How a run ended, and what went wrong in it.
class SyncOutcome {
 public:
  void Add(Failure failure) { failures_.push_back(std::move(failure)); }
  void Add(Failures failures);
  // The user has pressed Cancel, and the component has ended its work with an error therefore.
  void SetCancelled() noexcept { cancelled_ = true; }

  const Failures& failures() const noexcept { return failures_; }
  bool Has(FailureKind kind) const noexcept;
  // Cancel counts unless changes are lost or the link is gone, which the user hears of in any case.
  SyncResult result() const noexcept;

 private:
  Failures failures_;
  bool cancelled_ = false;
};

// Failures as the user reads them: in the message box, in our log and in HotSync's.
std::u16string TextOf(const Failure& failure);
// All of a run, a line each, without those that the user has ordered (kCancelled). A text that is
// part of an earlier one is left out: components raise again, often in words of their own, what a
// database has raised to them.
std::u16string TextOf(const SyncOutcome& outcome);

}  // namespace pylon
