#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "setup/ConduitInstaller.h"
#include "sync/Window.h"

namespace pylon {

class cConduitList;

// The setup window: the registered conduits, starting a sync with files on the PC, and the settings
// file. Modeless; the caller runs the message loop and hands it every message first.
//
// The list is read again on F5, and when the user comes back to the window after the settings file
// changed. Borrows the conduit list and the installer.
//
// The three operations are the installer's and need no window on the screen.
struct frmSetup final : public Window {
  enum ControlId { kSync = IDOK, kClose = IDCANCEL, kList = 100, kHint, kFile, kEdit };

  std::function<void()> on_close;  // after the user closed the window

  frmSetup(cConduitList& conduits, ConduitInstaller& installer) noexcept
      : conduits_(conduits), installer_(installer) {}
  ~frmSetup() override;

  void Create();  // hidden; raises error 51 when the system refuses the window
  void Show();    // creates it when needed
  // The window's share of the message loop: true when the message is done with.
  bool TranslateDialogMessage(MSG& message);

  bool InstallConduit(std::u16string_view AppId, std::u16string& message) {
    return installer_.InstallConduit(AppId, message);
  }
  bool UninstallConduit(std::u16string_view AppId, std::u16string& message) {
    return installer_.UninstallConduit(AppId, message);
  }
  bool InstallApplication(std::u16string_view AppId, std::u16string& message) {
    return installer_.InstallApplication(AppId, message);
  }

 private:
  LRESULT OnMessage(UINT message, WPARAM wparam, LPARAM lparam) override;
  void OnCreate();
  void OnCommand(int id);
  void OnNotify(const NMHDR& header);
  void OnActivate();
  void OnDpiChanged(int dpi, const RECT& suggested);
  void OnSync();
  void OnEdit();
  void OnReload();

  HWND Control(ControlId id) const noexcept { return ::GetDlgItem(handle(), id); }
  int16_t Selected() const noexcept;  // index in the conduit list; 0: none
  void FillList();                    // keeps the selection
  void AddRow(int16_t index);
  void TakeSelection();  // enables what works on the selected conduit
  void TakeFont();       // for the window's DPI
  void TakeColumns();    // for the window's DPI
  void FillWidth();      // with the last column
  void Arrange();
  void Place(ControlId id, int x, int y, int width, int height);
  void ShowError(const std::u16string& text);

  cConduitList& conduits_;
  ConduitInstaller& installer_;
  Font font_;
  uint64_t file_time_ = 0;  // when the file that the list shows was written; 0: there is none
  bool reloading_ = false;  // components that describe themselves may pump messages
};

}  // namespace pylon
