#include "Session.h"

#include <utility>

namespace sample {
namespace {

using com::Bstr;
using com::Check;

constexpr ULONGLONG kShowEvery = 50;  // milliseconds

}  // namespace

Session::Session(_oSyncInfo* sync, std::u16string_view section) : sync_(sync), section_(section) {
  Check(sync_->get_ConduitInfo(&conduit_));
  Bstr folder;
  Check(conduit_->get_AppFolder(&folder));
  app_folder_ = folder.Text();
}

com::Ptr<PDBFileSystem> Session::Files() const {
  com::Ptr<PDBFileSystem> files;
  Check(sync_->get_FileSystem(&files));
  return files;
}

std::u16string Session::Setting(std::u16string_view key, std::u16string_view default_value) const {
  Bstr value;
  Check(conduit_->GetSettings(Bstr(section_), Bstr(key), Bstr(default_value), &value));
  return value.Text();
}

void Session::Phase(std::u16string_view text, size_t steps) {
  StopIfCancelled();  // a new main text clears the flag
  Check(sync_->UpdateStatusMain(Bstr(text)));
  Check(sync_->UpdateStatusMaxBar(static_cast<long>(steps) + 1));
  steps_to_show_ = 0;
}

void Session::Progress(std::u16string_view detail) {
  StopIfCancelled();
  ++steps_to_show_;
  const ULONGLONG now = ::GetTickCount64();
  if (now - shown_at_ < kShowEvery) return;
  shown_at_ = now;
  if (!detail.empty()) ShowDetail(detail);
  Check(sync_->UpdateStatusIncrementBar(std::exchange(steps_to_show_, 0)));
  StopIfCancelled();
}

void Session::ShowDetail(std::u16string_view detail) const {
  Check(sync_->UpdateStatusDetail(Bstr(detail)));
}

void Session::StopIfCancelled() const {
  if (keep_going_) return;
  VARIANT_BOOL cancelled = VARIANT_FALSE;
  Check(sync_->get_CancelSync(&cancelled));
  if (cancelled) throw com::Error(com::kUserInterrupt, u"The sync was cancelled.");
}

void Session::Log(std::u16string_view text) const { Check(sync_->UpdateLog(Bstr(text))); }

}  // namespace sample
