#include "sync/SyncOutcome.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "base/Text.h"

namespace pylon {

void SyncOutcome::Add(Failures failures) {
  std::ranges::move(failures, std::back_inserter(failures_));
}

bool SyncOutcome::Has(FailureKind kind) const noexcept {
  return std::ranges::find(failures_, kind, &Failure::kind) != failures_.end();
}

SyncResult SyncOutcome::result() const noexcept {
  const bool cancelled = cancelled_ || Has(FailureKind::kCancelled);
  if (cancelled && !Has(FailureKind::kUnsaved) && !Has(FailureKind::kLinkLost)) {
    return SyncResult::kCancelled;
  }
  return failures_.empty() ? SyncResult::kDone : SyncResult::kFailed;
}

std::u16string TextOf(const Failure& failure) {
  if (failure.kind != FailureKind::kConduit) return failure.text;
  return u"Conduit Error: " + ToText(failure.number) + u" (" + failure.source + u") " +
         failure.text;
}

std::u16string TextOf(const SyncOutcome& outcome) {
  std::u16string lines;
  for (const Failure& failure : outcome.failures()) {
    if (failure.kind == FailureKind::kCancelled) continue;
    const std::u16string text = TextOf(failure);
    if (lines.find(text) != lines.npos) continue;
    lines += (lines.empty() ? u"" : u"\r\n") + text;
  }
  return lines;
}

}  // namespace pylon
