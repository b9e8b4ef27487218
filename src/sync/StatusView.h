#pragma once

#include <string>
#include <string_view>

#include "sync/ProgressBar.h"

namespace pylon {

// What the status window says about the running conduit, in the words of its component.
struct StatusHeading {
  std::u16string title;  // the window's title
  std::u16string application_name;
  std::u16string author;   // shown as "Author: " + author
  std::u16string version;  // shown as "Ver. " + version
  std::u16string icon;     // see ConduitIcon.h; empty: the program's own icon
};

// The status window as the running sync sees it; frmStatus is the real one.
//
// All members are called on the user-interface thread. Labels, headings and bars are on the screen
// when a call returns, whether or not messages are processed afterwards. ProcessEvents is the only
// member that pumps messages: see "Re-entry" in docs/developing.md.
class StatusView {
 public:
  virtual ~StatusView() = default;

  virtual void ShowForm() = 0;  // shows the window if it is not shown yet
  virtual void SetHeading(const StatusHeading& heading) = 0;
  virtual void SetMainLabel(std::u16string_view text) = 0;
  virtual void SetDetailLabel(std::u16string_view text) = 0;
  virtual void SetBar(const ProgressBar& bar) = 0;
  virtual void EnableCancel(bool enable) = 0;  // initially enabled
  virtual void ProcessEvents() = 0;

  // The panel of one file on its way to or from a device, a label and a bar; initially hidden.
  virtual void ShowFilePanel(bool show) = 0;
  virtual void SetFileProgress(std::u16string_view label, const ProgressBar& bar) = 0;
};

}  // namespace pylon
