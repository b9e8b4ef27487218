#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/AnsiCodePage.h"
#include "setup/ConduitRows.h"
#include "setup/LongWork.h"
#include "setup/SetupForm.h"
#include "setup/SetupModel.h"
#include "setup/Strings.h"
#include "setup/frmAbout.h"
#include "setup/frmAddConduit.h"
#include "setup/frmLogView.h"

namespace pylon {

class ComponentFactory;
class SetupServices;
class cConduitList;

// The setup window: the registered conduits, what is installed where, syncs, the settings file.
// Modeless; the caller runs the message loop and hands it every message first.
//
// The list is read again on F5, and when the user comes back to the window after the settings file
// changed. Work that takes time runs in other processes (see LongWork). Columns and size are kept
// for each user.
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

  // Borrows everything except the texts.
  struct With {
    cConduitList& conduits;
    ComponentFactory& components;
    SetupServices& services;
    const AnsiCodePage& code_page;
    std::u16string program_path;
    std::u16string program_folder;
  };

  explicit frmSetup(With with);
  ~frmSetup() override;

  void Create();  // hidden; raises error 51 when the system refuses the window
  void Show();    // creates it when needed
  // Also of the windows that it opened.
  bool TranslateDialogMessage(MSG& message) override;

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

  std::u16string NameOfSelected();
  std::u16string SimulatedPalm();  // its program; empty when none is set up
  ConduitFacts FactsOf(int16_t index, bool all);
  std::vector<ConduitRows::Conduit> Rows();

  void Fill(const std::u16string& select);  // an application id; keeps the selection when empty
  void FillSyncWith();
  void ShowLargeIcon();
  void ShowSelected();  // and enables what works on it
  void ShowPc();
  void ShowReport(const StepReport& report);
  void EnableActions();
  void KeepLayout() const;
  void RestoreLayout();

  // Long work; `what` is said meanwhile, and at the end what it answers.
  void Run(const Phrase& what, const std::function<Phrase()>& work);
  void ShowBusy(bool busy);
  Phrase RunElevated(const std::u16string& arguments);  // a step of this program

  With with_;
  LongWork work_;
  ConduitRows rows_;
  std::unique_ptr<frmAbout> about_;
  std::unique_ptr<frmAddConduit> add_;
  std::unique_ptr<frmLogView> log_;
  Icon conduit_icon_;
  std::optional<ConduitFacts> selected_;
  uint64_t file_time_ = 0;  // when the file that the list shows was written; 0: there is none
  std::vector<SyncWith> sync_with_;  // the choices, in their order
  std::u16string added_;             // the application id that the next reading selects
  bool close_after_ = false;         // the user closed the window during work
};

}  // namespace pylon
