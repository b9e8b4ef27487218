#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "com.h"

// After the standard headers: it takes the macro EOF away.
#include "Pylon.h"

namespace sample {

// One run of a conduit as Pylon sees it: settings, status window, Cancel and log. Each method may
// throw com::Error.
class Session {
 public:
  // `section` is the conduit's in AppStore.ini.
  Session(_oSyncInfo* sync, std::u16string_view section);

  com::Ptr<PDBFileSystem> Files() const;
  const std::filesystem::path& app_folder() const { return app_folder_; }
  std::u16string Setting(std::u16string_view key, std::u16string_view default_value) const;

  // A new main text, and a progress bar with so many steps.
  void Phase(std::u16string_view text, size_t steps);
  // One step is done. Shows that at most every 50 ms: more often than the eye follows, painting
  // takes longer than the work.
  void Progress(std::u16string_view detail = {});
  // Sets the second line at once, which lets the window take a click on Cancel.
  void ShowDetail(std::u16string_view detail) const;
  // Throws com::kUserInterrupt once the user has pressed Cancel.
  void StopIfCancelled() const;
  // From here on Cancel is ignored.
  void KeepGoing() { keep_going_ = true; }
  void Log(std::u16string_view text) const;

 private:
  com::Ptr<_oSyncInfo> sync_;
  com::Ptr<_CConduitInfo> conduit_;
  std::u16string section_;
  std::filesystem::path app_folder_;
  bool keep_going_ = false;
  ULONGLONG shown_at_ = 0;
  long steps_to_show_ = 0;  // since then
};

}  // namespace sample
