#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/AnsiCodePage.h"
#include "setup/ConduitInstaller.h"
#include "setup/SetupForm.h"
#include "setup/SetupModel.h"
#include "setup/Strings.h"
#include "setup/frmAbout.h"
#include "setup/frmAddConduit.h"
#include "setup/frmLogView.h"
#include "setup/modShellandWait.h"

namespace pylon {

class ComponentFactory;
class SetupServices;
class cConduitList;

// The setup window: the registered conduits, what is installed where, syncs, the settings file.
// Modeless; the caller runs the message loop and hands it every message first.
//
// The list is read again on F5, and when the user comes back to the window after the settings file
// changed. Work that takes time runs in other processes; meanwhile the window answers, and its
// Cancel button ends the work or at least the wait. One such work runs at a time. Columns and size
// are kept for each user.
//
// The three operations are the installer's and need no window on the screen.
class frmSetup final : public SetupForm {
 public:
  enum ControlId {
    kSync = IDOK,
    kClose = IDCANCEL,
    kReload = IDC_RELOAD,
    kAdd = IDC_ADD,
    kEdit = IDC_EDIT,
    kLog = IDC_LOG,
    kAbout = IDC_ABOUT,
    kList = 100,
    kHint,
    kFile,
    kRemove,
    kConduitGroup,
    kIcon,
    kName,
    kHotSyncLabel,
    kHotSyncState,
    kInstallHotSync,
    kRemoveHotSync,
    kActiveSyncLabel,
    kActiveSyncState,
    kInstallActiveSync,
    kRemoveActiveSync,
    kApplicationLabel,
    kApplicationState,
    kInstallApplication,
    kSyncWithLabel,
    kSyncWith,
    kConfigure,
    kFolder,
    kDatabases,
    kPcGroup,
    kPcHotSync,
    kPcActiveSync,
    kGuestMode,
    kStatus,
    kProgress,
    kCancel,
  };

  // All are borrowed but the texts.
  struct With {
    cConduitList& conduits;
    ComponentFactory& components;
    ConduitInstaller& installer;
    SetupServices& services;
    const AnsiCodePage& code_page;
    std::u16string program_path;
    std::u16string program_folder;
  };

  explicit frmSetup(With with);
  ~frmSetup() override;

  void Create();  // hidden; raises error 51 when the system refuses the window
  void Show();    // creates it when needed
  // The window's share of the message loop, and that of the windows it opened.
  bool TranslateDialogMessage(MSG& message) override;

  bool InstallConduit(std::u16string_view AppId, std::u16string& message) {
    return with_.installer.InstallConduit(AppId, message);
  }
  bool UninstallConduit(std::u16string_view AppId, std::u16string& message) {
    return with_.installer.UninstallConduit(AppId, message);
  }
  bool InstallApplication(std::u16string_view AppId, std::u16string& message) {
    return with_.installer.InstallApplication(AppId, message);
  }

  frmAddConduit* add_window() const noexcept { return add_.get(); }
  frmLogView* log_window() const noexcept { return log_.get(); }

 private:
  enum class SyncWith { kPcFiles, kSimulatedPocketPc, kSimulatedPalm };

  void AddControls() override;
  Layout Arrangement() const override;
  void Arrange() override;
  void OnDpi() override;
  void OnReady() override;
  void OnCommand(int id, int code) override;
  LRESULT OnNotify(NMHDR& header) override;
  LRESULT OnMessage(UINT message, WPARAM wparam, LPARAM lparam) override;

  void OnActivate();
  void OnReload();
  void OnSync();
  std::u16string SimulatedPalm();  // its program; empty when none is set up
  void OnInstall(SyncSystem system, bool install);
  void OnInstallApplication();
  void OnConfigure();
  void OnOpen(const std::u16string& folder);
  void OnLog();
  void OnAdd();
  void OnRemove();
  void OnEdit();
  void OnGuestMode();
  void OnClose();

  int16_t Selected() const noexcept;  // index in the conduit list; 0: none
  std::u16string NameOfSelected();
  void FillList(const std::u16string& select);  // an application id; keeps the selection when empty
  void FillSyncWith();
  void AddRow(int16_t index);
  void TakeRow(int16_t index);
  void TakeIcons();
  void TakeLargeIcon();
  void TakeSelection();  // shows the selected conduit and enables what works on it
  void TakePc();
  void EnableActions();
  void FillWidth();
  void KeepLayout() const;
  void RestoreLayout();
  LRESULT Paint(NMLVCUSTOMDRAW& draw) const;

  ConduitFacts FactsOf(int16_t index, bool all);

  // Runs work with the bar moving and everything but Cancel disabled; then says how it ended.
  template <class Work>
  void Run(const Phrase& what, Work&& work);
  // For waits inside of it: takes messages; false when the user wants to wait no longer.
  bool Yield();
  // A program of this one's own, with the rights of an administrator.
  Phrase RunElevated(const std::u16string& file, const std::u16string& arguments);

  With with_;
  std::unique_ptr<frmAbout> about_;
  std::unique_ptr<frmAddConduit> add_;
  std::unique_ptr<frmLogView> log_;
  Icon conduit_icon_;
  HIMAGELIST icons_ = nullptr;  // the list view frees it
  std::optional<ConduitFacts> selected_;
  std::vector<bool> greyed_;  // rows
  int last_width_ = 0;        // the last column's, units, as the user wants it at least
  uint64_t file_time_ = 0;    // when the file that the list shows was written; 0: there is none
  std::vector<SyncWith> sync_with_;  // the choices, in their order
  std::u16string added_;             // the application id that the next reading selects
  bool busy_ = false;
  bool filling_ = false;
  bool close_after_ = false;  // the user closed the window during work
  int cancelled_ = 0;         // how often Cancel was pressed during work
};

}  // namespace pylon
