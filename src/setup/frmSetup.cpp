#include "setup/frmSetup.h"

#include <shellapi.h>

#include <algorithm>
#include <utility>

#include "base/AutomationError.h"
#include "base/Text.h"
#include "base/Types.h"
#include "conduits/CConduitInfo.h"
#include "conduits/IniStoreFile.h"
#include "conduits/SettingsKeys.h"
#include "conduits/cConduitList.h"
#include "files/FileNames.h"
#include "files/WindowsFile.h"
#include "setup/KeptLayout.h"
#include "setup/SettingsFile.h"
#include "setup/SetupServices.h"
#include "setup/SyncCommand.h"
#include "setup/SyncProcess.h"
#include "setup/Texts.h"
#include "setup/modShellandWait.h"
#include "toolkit/ConduitIcon.h"

namespace pylon {
namespace {

// Units.
constexpr SIZE kSize = {800, 600};
constexpr SIZE kLeast = {740, 450};  // 1080 lines at 192 DPI have room for it and a taskbar
constexpr int kMargin = 12;
constexpr int kGap = 8;
constexpr int kInner = 12;  // within a group box
constexpr int kHintMargin = 16;
constexpr int kLargeIconSize = 32;
constexpr int kProgressWidth = 140;
constexpr int kComboWidth = 170;
constexpr int kLabelWidth = 90;
constexpr int kListHeight = 160;

constexpr UINT kReloadMessage = WM_APP;
constexpr int kMarqueeMs = 40;

// A menu of the texts under a button; the index of the chosen one.
std::optional<size_t> ChooseFromMenu(HWND button, const std::vector<std::u16string>& texts) {
  const Menu menu(::CreatePopupMenu());
  for (size_t i = 0; i < texts.size(); ++i) {
    std::u16string text;
    for (const char16_t c : texts[i]) text.append(c == u'&' ? 2 : 1, c);  // no underline
    ::AppendMenuW(menu.get(), MF_STRING, i + 1, Wide(text));
  }
  RECT box = {};
  ::GetWindowRect(button, &box);
  const BOOL chosen = ::TrackPopupMenu(menu.get(), TPM_RETURNCMD | TPM_NONOTIFY | TPM_LEFTALIGN,
                                       box.left, box.bottom, 0, ::GetParent(button), nullptr);
  if (chosen == 0) return std::nullopt;
  return static_cast<size_t>(chosen) - 1;
}

constexpr struct {
  int control;
  SetupAction action;
} kActions[] = {{frmSetup::kSync, SetupAction::kSync},
                {frmSetup::kInstallHotSync, SetupAction::kInstallHotSync},
                {frmSetup::kRemoveHotSync, SetupAction::kRemoveHotSync},
                {frmSetup::kInstallActiveSync, SetupAction::kInstallActiveSync},
                {frmSetup::kRemoveActiveSync, SetupAction::kRemoveActiveSync},
                {frmSetup::kInstallApplication, SetupAction::kInstallApplication},
                {frmSetup::kConfigure, SetupAction::kConfigure},
                {frmSetup::kFolder, SetupAction::kOpenFolder},
                {frmSetup::kLog, SetupAction::kOpenLog},
                {frmSetup::kDatabases, SetupAction::kOpenDatabases},
                {frmSetup::kAdd, SetupAction::kAdd},
                {frmSetup::kRemove, SetupAction::kRemove},
                {frmSetup::kEdit, SetupAction::kEdit},
                {frmSetup::kReload, SetupAction::kReload},
                {frmSetup::kGuestMode, SetupAction::kGuestMode},
                {frmSetup::kAbout, SetupAction::kAbout},
                {frmSetup::kClose, SetupAction::kClose},
                {frmSetup::kCancel, SetupAction::kCancel}};

std::optional<SetupAction> ActionOf(int control) noexcept {
  for (const auto& known : kActions) {
    if (known.control == control) return known.action;
  }
  return std::nullopt;
}

}  // namespace

frmSetup::frmSetup(With with)
    : with_(std::move(with)),
      work_({*this, kCancel, [this](bool busy) { ShowBusy(busy); },
             [this](MSG& message) { return TranslateDialogMessage(message); }}) {}

frmSetup::~frmSetup() { Destroy(); }

void frmSetup::Create() {
  Open({L"Pylon.frmSetup", kSize, kLeast, IDA_SETUP, kSync}, LoadText(IDS_PROGRAM));
}

void frmSetup::Show() {
  Create();
  ::ShowWindow(handle(), SW_SHOWNORMAL);
}

bool frmSetup::TranslateDialogMessage(MSG& message) {
  SetupForm* const others[] = {about_.get(), add_.get(), log_.get()};
  for (SetupForm* other : others) {
    if (other && other->TranslateDialogMessage(message)) return true;
  }
  // Esc is the Close button's, which the system leaves alone while it is disabled.
  if (work_.is_running() && message.message == WM_KEYDOWN && message.wParam == VK_ESCAPE &&
      (message.hwnd == handle() || ::IsChild(handle(), message.hwnd))) {
    work_.Cancel();
    return true;
  }
  return SetupForm::TranslateDialogMessage(message);
}

// In the order of the Tab key.
void frmSetup::AddControls() {
  rows_.Attach(Add(WC_LISTVIEWW, 0, LVS_REPORT | LVS_SINGLESEL | LVS_SHOWSELALWAYS | WS_TABSTOP,
                   kList, WS_EX_CLIENTEDGE));
  // In the list's place, and an edit control so that its lines can be copied.
  Add(L"EDIT", 0, ES_MULTILINE | ES_READONLY | WS_TABSTOP, kHint, WS_EX_CLIENTEDGE);
  AddButton(kAdd, IDS_BUTTON_ADD);
  AddButton(kRemove, IDS_BUTTON_REMOVE);
  AddButton(kEdit, IDS_BUTTON_EDIT);
  AddButton(kReload, IDS_BUTTON_RELOAD);
  AddButton(kAbout, IDS_BUTTON_ABOUT);
  Add(L"STATIC", 0, SS_NOPREFIX | SS_PATHELLIPSIS, kFile);

  AddGroup(kConduitGroup, IDS_GROUP_CONDUIT);
  Add(L"STATIC", 0, SS_ICON | SS_REALSIZEIMAGE, kIcon);
  AddLabel(kName);
  AddLabel(kHotSyncLabel, IDS_HOTSYNC);
  AddLabel(kHotSyncState);
  AddButton(kInstallHotSync, IDS_BUTTON_INSTALL_HOTSYNC);
  AddButton(kRemoveHotSync, IDS_BUTTON_REMOVE_HOTSYNC);
  AddLabel(kActiveSyncLabel, IDS_ACTIVESYNC);
  AddLabel(kActiveSyncState);
  AddButton(kInstallActiveSync, IDS_BUTTON_INSTALL_ACTIVESYNC);
  AddButton(kRemoveActiveSync, IDS_BUTTON_REMOVE_ACTIVESYNC);
  AddLabel(kApplicationLabel, IDS_HANDHELD_APPLICATION);
  AddLabel(kApplicationState);
  AddButton(kInstallApplication, IDS_BUTTON_INSTALL_APPLICATION);
  AddLabel(kSyncWithLabel, IDS_SYNC_WITH);
  Add(L"COMBOBOX", 0, CBS_DROPDOWNLIST | WS_VSCROLL | WS_TABSTOP, kSyncWith);
  AddButton(kSync, IDS_BUTTON_SYNC, true);
  AddButton(kConfigure, IDS_BUTTON_CONFIGURE);
  AddButton(kFolder, IDS_BUTTON_FOLDER);
  AddButton(kLog, IDS_BUTTON_LOG);
  AddButton(kDatabases, IDS_BUTTON_DATABASES);

  AddGroup(kPcGroup, IDS_GROUP_PC);
  AddLabel(kPcHotSync);
  AddLabel(kPcActiveSync);
  AddButton(kGuestMode, IDS_BUTTON_GUEST_OFF);  // the longer text, for its width

  AddLabel(kStatus);
  Add(PROGRESS_CLASSW, 0, PBS_MARQUEE, kProgress);
  AddButton(kCancel, IDS_CANCEL);
  AddButton(kClose, IDS_CLOSE);
  ::ShowWindow(Control(kProgress), SW_HIDE);
  SetText(kFile, LoadText(IDS_SETTINGS_FILE, with_.conduits.FileName()));
  SetText(kStatus, LoadText(IDS_READY));
}

void frmSetup::OnReady() {
  SetupForm::OnReady();
  RestoreLayout();
  file_time_ = win::WriteTime(with_.conduits.FileName());
  Fill({});
  if (!with_.conduits.IsRead()) ::PostMessageW(handle(), kReloadMessage, 0, 0);
}

void frmSetup::OnDpi() {
  rows_.SetDpi(dpi());
  RestoreLayout();
  ShowLargeIcon();
}

Layout frmSetup::Arrangement() const {
  using L = Layout;
  const int margin = Scaled(kMargin);
  const int gap = Scaled(kGap);
  const int inner = Scaled(kInner);
  const int top = Line() + gap;  // below the title of a group box
  const int label = Scaled(kLabelWidth) - gap;
  const L rest = L::Space(L::kRest);

  const int side = ButtonWidth({kAdd, kRemove, kEdit, kReload, kAbout, kCancel, kClose});
  const L list =
      L::Pile({L::Control(kList, L::kRest, L::kRest), L::Control(kHint, L::kRest, L::kRest)});
  const L list_buttons =
      L::Row(gap, {Label(kFile), Button(kAdd, side), Button(kRemove, side), Button(kEdit, side),
                   Button(kReload, side), Button(kAbout, side)});

  const int button =
      ButtonWidth({kInstallHotSync, kRemoveHotSync, kInstallActiveSync, kRemoveActiveSync});
  const auto system = [&](int name, int state, int install, int remove) {
    return L::Row(
        gap, {Label(name, label), Label(state), Button(install, button), Button(remove, button)});
  };
  const int wide = ButtonWidth({kSync, kConfigure, kFolder, kLog, kDatabases});
  const int room = Client().cx - 2 * (margin + inner) - label - gap - 5 * (wide + gap) - gap;
  const int combo = std::min(Scaled(kComboWidth), room);
  const int icon = Scaled(kLargeIconSize);
  const L conduit = L::Column(
      gap / 2,
      {L::Row(gap, {L::Control(kIcon, icon, icon), Label(kName)}), L::Space(gap),
       system(kHotSyncLabel, kHotSyncState, kInstallHotSync, kRemoveHotSync),
       system(kActiveSyncLabel, kActiveSyncState, kInstallActiveSync, kRemoveActiveSync),
       L::Row(gap, {Label(kApplicationLabel, label), Label(kApplicationState),
                    Button(kInstallApplication, 2 * button + gap)}),
       L::Space(gap / 2 + gap),
       L::Row(gap, {Label(kSyncWithLabel, label),
                    L::Combo(kSyncWith, combo, FieldHeight(), Scaled(kListHeight)),
                    Button(kSync, wide), rest, Button(kConfigure, wide), Button(kFolder, wide),
                    Button(kLog, wide), Button(kDatabases, wide)})});

  const L pc = L::Column(
      gap / 2, {L::Row(gap, {Label(kPcActiveSync), Button(kGuestMode, ButtonWidth({kGuestMode}))}),
                L::Space(gap / 2 + gap / 2), Label(kPcHotSync)});

  const int bar = ButtonHeight() - 2 * Scaled(5);
  const L bottom = L::Row(gap, {Label(kStatus), L::Control(kProgress, Scaled(kProgressWidth), bar),
                                Button(kCancel, side), Button(kClose, side)});

  return L::Column(gap, {list, list_buttons,
                         conduit.Within(kConduitGroup, {inner, top, inner, inner + gap / 2}),
                         pc.Within(kPcGroup, {inner, top - gap / 2, inner, inner}), bottom})
      .Within(margin);
}

void frmSetup::Arrange() {
  SetupForm::Arrange();
  rows_.FitLastColumn();
  RECT text = {};
  ::GetClientRect(Control(kHint), &text);
  ::InflateRect(&text, -Scaled(kHintMargin), -Scaled(kHintMargin));
  ::SendMessageW(Control(kHint), EM_SETRECT, 0, reinterpret_cast<LPARAM>(&text));
}

void frmSetup::KeepLayout() const {
  const auto units = [this](int pixels) { return ::MulDiv(pixels, 96, dpi()); };
  // As it is restored from an icon or from the whole screen.
  WINDOWPLACEMENT placement = {};
  placement.length = sizeof(placement);
  if (!::GetWindowPlacement(handle(), &placement)) return;
  const RECT& normal = placement.rcNormalPosition;
  const SIZE frame = OuterSize({0, 0});
  KeptLayout{units(normal.right - normal.left - frame.cx),
             units(normal.bottom - normal.top - frame.cy), rows_.Widths()}
      .Save();
}

void frmSetup::RestoreLayout() {
  const auto kept = KeptLayout::Load(ConduitRows::column_count());
  if (!kept) return;
  rows_.SetWidths(kept->columns);
  if (::IsWindowVisible(handle())) return;  // at another DPI the system has suggested a size
  SetClientSize({std::max<int>(kept->width, kLeast.cx), std::max<int>(kept->height, kLeast.cy)});
  CentreOnWorkArea();
}

LRESULT frmSetup::OnMessage(UINT message, WPARAM wparam, LPARAM lparam) {
  switch (message) {
    case WM_ACTIVATE:
      if (LOWORD(wparam) != WA_INACTIVE) OnActivate();
      break;
    case kReloadMessage:
      OnReload();
      return 0;
    case WM_CLOSE:
      if (work_.is_running()) close_after_ = true;
      break;
    case WM_CTLCOLORSTATIC:
      if (reinterpret_cast<HWND>(lparam) != Control(kHint)) break;
      ::SetTextColor(reinterpret_cast<HDC>(wparam), ::GetSysColor(COLOR_WINDOWTEXT));
      ::SetBkColor(reinterpret_cast<HDC>(wparam), ::GetSysColor(COLOR_WINDOW));
      return reinterpret_cast<LRESULT>(::GetSysColorBrush(COLOR_WINDOW));
    case WM_SETTINGCHANGE:
    case WM_DPICHANGED:  // still in the old one
    case WM_ENDSESSION:  // may be the last message
    case WM_DESTROY:
      KeepLayout();
      break;
    default:
      break;
  }
  return SetupForm::OnMessage(message, wparam, lparam);
}

void frmSetup::OnCommand(int id, int) {
  // Esc, the frame and Cancel end the work under way first.
  if (work_.is_running()) {
    if (id == kCancel || id == kClose) work_.Cancel();
    return;
  }
  // A key may ask for what its disabled button doesn't offer.
  const std::optional<SetupAction> action = ActionOf(id);
  if (!action || !::IsWindowEnabled(handle()) || !::IsWindowEnabled(Control(id))) return;
  switch (*action) {
    case SetupAction::kSync:
      return OnSync();
    case SetupAction::kInstallHotSync:
      return OnInstall(SyncSystem::kHotSync, true);
    case SetupAction::kRemoveHotSync:
      return OnInstall(SyncSystem::kHotSync, false);
    case SetupAction::kInstallActiveSync:
      return OnInstall(SyncSystem::kActiveSync, true);
    case SetupAction::kRemoveActiveSync:
      return OnInstall(SyncSystem::kActiveSync, false);
    case SetupAction::kInstallApplication:
      return OnInstallApplication();
    case SetupAction::kConfigure:
      return OnConfigure();
    case SetupAction::kOpenFolder:
      return OnOpen(JoinFullName(with_.program_folder, FolderName(selected_->app_id)));
    case SetupAction::kOpenLog:
      return OnLog();
    case SetupAction::kOpenDatabases:
      return OnOpen(with_.conduits.PCFolder(rows_.Selected()));
    case SetupAction::kAdd:
      return OnAdd();
    case SetupAction::kRemove:
      return OnRemove();
    case SetupAction::kEdit:
      return OnEdit();
    case SetupAction::kReload:
      return OnReload();
    case SetupAction::kGuestMode:
      return OnGuestMode();
    case SetupAction::kAbout:
      about_ = std::make_unique<frmAbout>(with_.program_path);
      return about_->Show(handle());
    case SetupAction::kClose:
      return OnClose();
    case SetupAction::kCancel:
      return;
  }
}

LRESULT frmSetup::OnNotify(NMHDR& header) {
  if (header.code == HDN_ENDTRACKW || header.code == HDN_ENDTRACKA) {
    rows_.OnColumnDragged(reinterpret_cast<const NMHEADERW&>(header));
    return 0;
  }
  if (header.idFrom != kList) return 0;
  switch (header.code) {
    case LVN_ITEMCHANGED:
      if (!rows_.is_filling() &&
          (reinterpret_cast<const NMLISTVIEW&>(header).uChanged & LVIF_STATE)) {
        ShowSelected();
      }
      return 0;
    case LVN_KEYDOWN:
      if (reinterpret_cast<const NMLVKEYDOWN&>(header).wVKey == VK_DELETE) OnCommand(kRemove, 0);
      return 0;
    case NM_DBLCLK:
      OnCommand(kSync, 0);
      return 0;
    case NM_CUSTOMDRAW:
      return rows_.Paint(reinterpret_cast<NMLVCUSTOMDRAW&>(header));
    default:
      return 0;
  }
}

void frmSetup::OnActivate() {
  // Not from here: describing the conduits again takes time and may pump messages.
  if (!work_.is_running() && win::WriteTime(with_.conduits.FileName()) != file_time_) {
    ::PostMessageW(handle(), kReloadMessage, 0, 0);
  }
}

void frmSetup::OnClose() {
  if (log_) log_.reset();
  Close();
}

void frmSetup::Run(const Phrase& what, const std::function<Phrase()>& work) {
  if (work_.is_running()) return;
  close_after_ = false;
  SetText(kStatus, LoadText(what));
  Phrase outcome;
  std::u16string trouble;
  const bool open = work_.Run([&] {
    try {
      outcome = work();
    } catch (...) {
      trouble = CurrentError().description();
    }
  });
  if (!open) return;
  SetText(kStatus, LoadText(outcome ? outcome : Phrase{IDS_READY, {}}));
  if (!trouble.empty()) ShowError(trouble);
  if (!handle()) return;
  if (close_after_) {
    ::PostMessageW(handle(), WM_CLOSE, 0, 0);
  } else if (::GetActiveWindow() == handle()) {
    OnActivate();  // the user may have come back meanwhile
  }
}

void frmSetup::ShowBusy(bool busy) {
  ::ShowWindow(Control(kProgress), busy ? SW_SHOWNA : SW_HIDE);
  ::SendMessageW(Control(kProgress), PBM_SETMARQUEE, busy, kMarqueeMs);
  if (busy) {
    EnableActions();
  } else {
    ShowSelected();
  }
}

Phrase frmSetup::RunElevated(const std::u16string& arguments) {
  const WaitResult result = work_.RunElevated(with_.program_path, arguments);
  switch (result.end) {
    case WaitEnd::kNotStarted:
      if (result.code == ERROR_CANCELLED) return {IDS_STEP_REFUSED, {}};
      ShowError(LoadText(IDS_STEP_NOT_STARTED, SystemReason(result.code)));
      return {IDS_STEP_FAILED, {}};
    case WaitEnd::kEnded:
      return {result.code == 0 ? IDS_STEP_DONE : IDS_STEP_FAILED, {}};
    default:
      return {IDS_WORK_LEFT, {}};
  }
}

void frmSetup::OnReload() {
  Run({IDS_READING, {}}, [this]() -> Phrase {
    file_time_ = win::WriteTime(with_.conduits.FileName());
    bool all = true;
    {
      const WaitCursor wait;
      with_.conduits.Reload([&] { return all = work_.Yield(); });
    }
    if (!handle()) return {};
    const std::u16string added = std::exchange(added_, {});
    Fill(added);
    if (!all) return {IDS_READING_CANCELLED, {}};
    return added.empty() ? Phrase() : Phrase{IDS_ADDED, added};
  });
}

void frmSetup::OnSync() {
  const auto chosen = static_cast<size_t>(::SendMessageW(Control(kSyncWith), CB_GETCURSEL, 0, 0));
  const SyncWith with = chosen < sync_with_.size() ? sync_with_[chosen] : SyncWith::kPcFiles;
  const bool hot_sync = with == SyncWith::kSimulatedPalm;
  const std::u16string program = hot_sync ? SimulatedPalm() : with_.program_path;
  const auto arguments =
      hot_sync ? HotSyncArguments(selected_->creator_id)
               : SyncArguments(selected_->app_id,
                               with == SyncWith::kSimulatedPocketPc ? dftActiveSync : dftWindows);
  if (!arguments) {
    ShowError(LoadText(hot_sync ? IDS_HOTSYNC_NO_CREATOR : IDS_CANNOT_START));
    return;
  }
  const std::u16string name = NameOfSelected();
  SyncProcess sync(hot_sync ? SyncProcess::Starts::kHotSyncSession : SyncProcess::Starts::kPylon,
                   program, *arguments);
  Run({IDS_SYNCING, name}, [&] {
    const SyncProcess::Result result =
        sync.Run(work_, [this] { SetText(kStatus, LoadText(IDS_CANCELLING)); });
    if (!handle()) return Phrase();
    if (const int16_t index = rows_.Selected()) rows_.SetRow(index, RowOf(FactsOf(index, false)));
    if (result.end == SyncEnd::kNotBegun) ShowError(LoadText(IDS_HOTSYNC_NOT_BEGUN));
    if (result.end == SyncEnd::kNotStarted) {
      ShowError(LoadText(IDS_SYNC_NOT_STARTED, SystemReason(result.error)));
    }
    return SyncEnding(name, result.end);
  });
}

std::u16string frmSetup::SimulatedPalm() {
  const std::u16string program = with_.conduits.GetSettings(settings::kSimulatedPalm);
  return program.empty() || !IsRelative(program) ? program
                                                 : JoinFullName(with_.program_folder, program);
}

void frmSetup::OnInstall(SyncSystem system, bool install) {
  const std::u16string app_id = selected_->app_id;
  if (with_.services.NeedsElevation(system)) {
    const auto arguments = StepArguments(app_id, install, pylon::NameOf(system));
    if (!arguments) {
      ShowError(LoadText(IDS_CANNOT_START));
      return;
    }
    Run({IDS_ELEVATING, {}}, [&] { return RunElevated(*arguments); });
    return;
  }
  ShowReport(install ? with_.services.Install(system, app_id)
                     : with_.services.Remove(system, app_id));
}

void frmSetup::ShowReport(const StepReport& report) {
  SetText(kStatus, LoadText(report.done() ? IDS_STEP_DONE : IDS_STEP_FAILED));
  ShowSelected();
  if (!report.remarks().empty()) Ask(pylon::TextOf(report), MB_OK | MB_ICONINFORMATION);
}

void frmSetup::OnInstallApplication() {
  const std::u16string app_id = selected_->app_id;
  std::u16string user;
  if (!selected_->palm_install.empty() && selected_->hot_sync.present) {
    const std::vector<std::u16string> users = with_.services.Users();
    if (users.size() > 1) {
      const auto chosen = ChooseFromMenu(Control(kInstallApplication), users);
      if (!chosen) return;
      user = users[*chosen];
    }
  }
  ShowReport(with_.services.InstallApplication(app_id, user));
}

void frmSetup::OnConfigure() {
  const std::u16string class_id = selected_->class_id;
  // The component shows windows of its own and may pump messages as long as it likes.
  Run({IDS_CONFIGURING, NameOfSelected()}, [&]() -> Phrase {
    const ComponentFactory::Result created = with_.components.Create(class_id);
    std::u16string why = created.reason;
    if (created.component) {
      try {
        created.component->ConfigureConduit();
        return {};
      } catch (const AutomationError& error) {
        why = error.description();
      }
    }
    ShowError(LoadText(IDS_NOT_CONFIGURED, why));
    return {IDS_STEP_FAILED, {}};
  });
}

void frmSetup::OnOpen(const std::u16string& folder) {
  const DWORD attributes = ::GetFileAttributesW(Wide(folder));
  if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_DIRECTORY)) {
    Ask(LoadText(IDS_FOLDER_MISSING, folder), MB_OK | MB_ICONINFORMATION);
    return;
  }
  SHELLEXECUTEINFOW run = {};
  run.cbSize = sizeof(run);
  run.fMask = SEE_MASK_FLAG_NO_UI;
  run.hwnd = handle();
  run.lpVerb = L"open";
  run.lpFile = Wide(folder);
  run.nShow = SW_SHOWNORMAL;
  if (!::ShellExecuteExW(&run)) {
    ShowError(LoadText(IDS_FOLDER_NOT_OPENED, SystemReason(::GetLastError())));
  }
}

void frmSetup::OnLog() {
  if (!log_) log_ = std::make_unique<frmLogView>(with_.program_folder, with_.code_page);
  log_->Show(selected_->app_id, NameOfSelected());
}

void frmSetup::OnAdd() {
  if (const std::u16string& unread = with_.conduits.LoadError(); !unread.empty()) {
    ShowError(LoadText(IDS_UNREADABLE, unread));
    return;
  }
  std::vector<std::u16string> taken;
  for (int16_t index = 1; index <= with_.conduits.Count(); ++index) {
    taken.push_back(with_.conduits.AppId(index));
  }
  add_ = std::make_unique<frmAddConduit>(with_.components, std::move(taken), [this](MSG& message) {
    return TranslateDialogMessage(message);
  });
  add_->on_add = [this](const frmAddConduit::Result& added) -> std::u16string {
    const SettingsFile file(with_.conduits.FileName(), with_.code_page);
    if (const Phrase refusal = file.AddSection(added.app_id, added.entries)) {
      return LoadText(IDS_NOT_SAVED, LoadText(refusal));
    }
    // Once the Add window is closed: asking the conduits takes time, and can be cancelled there.
    added_ = added.app_id;
    ::PostMessageW(handle(), kReloadMessage, 0, 0);
    return {};
  };
  add_->Show(handle());
}

void frmSetup::OnRemove() {
  const std::u16string app_id = selected_->app_id;
  std::u16string question = LoadText(IDS_CONFIRM_REMOVE, app_id);
  if (selected_->hot_sync.installed || selected_->active_sync.installed) {
    question += LoadText(IDS_CONFIRM_REMOVE_INSTALLED);
  }
  if (Ask(question, MB_YESNO | MB_ICONQUESTION | MB_DEFBUTTON2) != IDYES) return;
  const SettingsFile file(with_.conduits.FileName(), with_.code_page);
  if (const Phrase refusal = file.RemoveSection(app_id)) {
    ShowError(LoadText(IDS_NOT_SAVED, LoadText(refusal)));
    return;
  }
  OnReload();
  if (handle()) SetText(kStatus, LoadText(IDS_REMOVED, app_id));
}

void frmSetup::OnEdit() {
  bool reload = false;
  Run({IDS_EDITING, {}}, [&]() -> Phrase {
    const WaitResult result = ShellandWait(u"notepad.exe " + with_.conduits.FileName(), 0, u"open",
                                           [this] { return work_.Yield(); });
    reload = true;
    if (result.end != WaitEnd::kNotStarted) return {};
    ShowError(LoadText(IDS_NOTEPAD_NOT_STARTED, SystemReason(result.code)));
    return {};
  });
  if (reload && handle()) OnReload();
}

void frmSetup::OnGuestMode() {
  const bool on = !with_.services.GuestMode();
  if (with_.services.NeedsElevation(SyncSystem::kActiveSync)) {
    Run({IDS_ELEVATING, {}}, [&] { return RunElevated(GuestModeArguments(on)); });
  } else if (const StepReport report = with_.services.SetGuestMode(on); report.done()) {
    SetText(kStatus, LoadText(IDS_STEP_DONE));
  } else {
    ShowError(pylon::TextOf(report));
  }
  if (handle()) ShowPc();
}

std::u16string frmSetup::NameOfSelected() {
  return selected_->name.empty() || !IsLoaded(*selected_) ? selected_->app_id
                                                          : OneLine(selected_->name);
}

ConduitFacts frmSetup::FactsOf(int16_t index, bool all) {
  cConduitList& list = with_.conduits;
  ConduitFacts facts;
  facts.app_id = list.AppId(index);
  facts.name = list.ApplicationName(index);
  facts.version = list.Version(index);
  facts.author = list.Author(index);
  facts.class_id = list.ClassId(index);
  facts.creator_id = list.CreatorId(index);
  facts.failure = list.Failure(index);
  CConduitInfo info(IniStoreFiles(with_.code_page));
  info.SetAppFolder(list.PCFolder(index));
  facts.last_sync = info.SyncDateTime();
  if (!all) return facts;
  facts.ppc_install = list.PPCInstall(index);
  facts.palm_install = list.PalmInstall(index);
  facts.hot_sync = with_.services.Facts(SyncSystem::kHotSync, facts.app_id);
  facts.active_sync = with_.services.Facts(SyncSystem::kActiveSync, facts.app_id);
  return facts;
}

std::vector<ConduitRows::Conduit> frmSetup::Rows() {
  std::vector<ConduitRows::Conduit> rows;
  for (int16_t index = 1; index <= with_.conduits.Count(); ++index) {
    rows.push_back({RowOf(FactsOf(index, false)), with_.conduits.Icon(index)});
  }
  return rows;
}

void frmSetup::Fill(const std::u16string& select) {
  const int16_t before = rows_.Selected();
  const int16_t count = with_.conduits.Count();
  const bool keep = select.empty() && selected_;
  const std::u16string chosen_app = keep ? selected_->app_id : select;
  int16_t chosen = 0;
  for (int16_t index = 1; index <= count; ++index) {
    const bool same = (keep || !select.empty()) && with_.conduits.AppId(index) == chosen_app;
    if (same && (chosen == 0 || index == before)) chosen = index;
  }
  // Where the chosen one is gone, its place.
  if (chosen == 0) chosen = std::clamp<int16_t>(before, 1, std::max<int16_t>(count, 1));
  rows_.Fill(Rows(), chosen);

  const std::u16string& unread = with_.conduits.LoadError();
  SetText(kHint, unread.empty() ? LoadText(IDS_NO_CONDUITS) : LoadText(IDS_UNREADABLE, unread));
  const bool hint = count == 0 && with_.conduits.IsRead();
  ::ShowWindow(Control(kList), hint ? SW_HIDE : SW_SHOWNA);
  ::ShowWindow(Control(kHint), hint ? SW_SHOWNA : SW_HIDE);
  FillSyncWith();
  ShowPc();
  ShowSelected();
  Redraw();
}

// Lists the devices that a sync can use; keeps the choice.
void frmSetup::FillSyncWith() {
  const HWND with = Control(kSyncWith);
  const auto at = static_cast<size_t>(::SendMessageW(with, CB_GETCURSEL, 0, 0));
  const SyncWith with_before = at < sync_with_.size() ? sync_with_[at] : SyncWith::kPcFiles;
  sync_with_ = {SyncWith::kPcFiles};
  if (!with_.conduits.GetSettings(settings::kSimulatedPocketPc).empty()) {
    sync_with_.push_back(SyncWith::kSimulatedPocketPc);
  }
  if (!SimulatedPalm().empty()) sync_with_.push_back(SyncWith::kSimulatedPalm);
  ::SendMessageW(with, CB_RESETCONTENT, 0, 0);
  for (const SyncWith choice : sync_with_) {
    const int text = choice == SyncWith::kPcFiles             ? IDS_SYNC_PC
                     : choice == SyncWith::kSimulatedPocketPc ? IDS_SYNC_SIMULATED_PPC
                                                              : IDS_SYNC_SIMULATED_PALM;
    ::SendMessageW(with, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(Wide(LoadText(text))));
  }
  const auto same = std::ranges::find(sync_with_, with_before);
  ::SendMessageW(with, CB_SETCURSEL,
                 same == sync_with_.end() ? 0 : static_cast<WPARAM>(same - sync_with_.begin()), 0);
}

void frmSetup::ShowLargeIcon() {
  const int16_t index = selected_ ? rows_.Selected() : int16_t{0};
  Icon icon = index ? ConduitIcon(with_.conduits.Icon(index), Scaled(kLargeIconSize)) : Icon();
  ::SendMessageW(Control(kIcon), STM_SETICON, reinterpret_cast<WPARAM>(icon.get()), 0);
  conduit_icon_ = std::move(icon);
}

void frmSetup::ShowSelected() {
  const int16_t index = rows_.Selected();
  selected_.reset();
  if (index >= 1 && index <= with_.conduits.Count()) selected_ = FactsOf(index, true);
  if (!selected_) {
    SetText(kName, LoadText(IDS_NOTHING_SELECTED));
    for (const int id : {kHotSyncState, kActiveSyncState, kApplicationState}) SetText(id, {});
  } else {
    std::u16string name = NameOfSelected();
    if (!IsLoaded(*selected_)) {
      name += u". " + LoadText(RowOf(*selected_).state);
    } else {
      if (!selected_->version.empty()) name += u" " + selected_->version;
      if (!selected_->author.empty()) name += LoadText(IDS_CONDUIT_BY, selected_->author);
    }
    SetText(kName, OneLine(name));
    SetText(kHotSyncState, LoadText(StateOf(SyncSystem::kHotSync, *selected_)));
    SetText(kActiveSyncState, LoadText(StateOf(SyncSystem::kActiveSync, *selected_)));
    SetText(kApplicationState, LoadText(ApplicationOf(*selected_)));
    for (const int id : {kInstallHotSync, kRemoveHotSync, kInstallActiveSync, kRemoveActiveSync}) {
      ::SendMessageW(Control(id), BCM_SETSHIELD, 0, HasShield(*ActionOf(id), *selected_));
    }
  }
  ShowLargeIcon();
  EnableActions();
}

void frmSetup::ShowPc() {
  const bool hot_sync = with_.services.IsPresent(SyncSystem::kHotSync);
  const bool active_sync = with_.services.IsPresent(SyncSystem::kActiveSync);
  const bool guest = active_sync && with_.services.GuestMode();
  SetText(kPcHotSync, LoadText(hot_sync ? IDS_HAS_HOTSYNC : IDS_NO_HOTSYNC));
  SetText(kPcActiveSync, LoadText(!active_sync ? IDS_NO_ACTIVESYNC
                                  : guest      ? IDS_HAS_ACTIVESYNC_GUEST
                                               : IDS_HAS_ACTIVESYNC));
  SetText(kGuestMode, LoadText(guest ? IDS_BUTTON_GUEST_OFF : IDS_BUTTON_GUEST_ON));
  ::SendMessageW(Control(kGuestMode), BCM_SETSHIELD, 0,
                 with_.services.NeedsElevation(SyncSystem::kActiveSync));
  EnableActions();
}

void frmSetup::EnableActions() {
  SetupFacts facts;
  facts.selected = selected_ ? &*selected_ : nullptr;
  facts.busy = work_.is_running();
  facts.has_active_sync = with_.services.IsPresent(SyncSystem::kActiveSync);
  for (const auto& [control, action] : kActions) Enable(control, IsEnabled(action, facts));
  ::EnableWindow(Control(kList), !facts.busy);
  Enable(kSyncWith, sync_with_.size() > 1 && IsEnabled(SetupAction::kSync, facts));
}

}  // namespace pylon
