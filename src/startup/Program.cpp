#include "startup/Program.h"

#include <objbase.h>

#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "automation/ClassFactory.h"
#include "automation/ComConduitComponent.h"
#include "automation/Registration.h"
#include "base/AutomationError.h"
#include "base/Text.h"
#include "base/Win32.h"
#include "conduits/SettingsKeys.h"
#include "conduits/cConduitList.h"
#include "files/FileNames.h"
#include "files/ProgramFiles.h"
#include "files/cFileIO.h"
#include "setup/ConduitInstaller.h"
#include "setup/SyncCommand.h"
#include "setup/WindowsSetupServices.h"
#include "setup/cActiveSync.h"
#include "setup/cHotSync.h"
#include "setup/frmSetup.h"
#include "startup/HotSyncRuns.h"
#include "startup/SyncRun.h"
#include "sync/PcFilesTarget.h"
#include "sync/PocketPcTarget.h"

namespace pylon {
namespace {

using Task = ProgramArguments::Task;

constexpr wchar_t kTitle[] = L"Pylon Manager";

// COM for this thread, as its single-threaded apartment.
class Apartment {
 public:
  Apartment() { com::Check(::OleInitialize(nullptr)); }
  ~Apartment() { ::OleUninitialize(); }
  Apartment(const Apartment&) = delete;
  Apartment& operator=(const Apartment&) = delete;
};

void ShowMessage(const std::u16string& text, UINT icon = MB_ICONWARNING) {
  ::MessageBoxW(nullptr, Wide(text), kTitle, MB_OK | icon | MB_SETFOREGROUND);
}

// The message of a Basic program for an error that nothing caught.
std::u16string RunTimeError(const AutomationError& error) {
  return u"Run-time error '" + ToText(error.number()) + u"':\r\n\r\n" + error.description();
}

// As it reads from the current folder; an empty path stays empty, one that Windows can't read as it
// is.
std::u16string AbsolutePath(const std::u16string& path) {
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(path, error);
  return path.empty() || error ? path : absolute.u16string();
}

// Ends the message loop of a server process some time after the last client is gone: one that comes
// at once finds the process still there.
class IdleTimer {
 public:
  static constexpr UINT kFirstClientMs = 60'000;  // COM itself gives up after 30 s
  static constexpr UINT kLastClientMs = 500;

  void Start(UINT milliseconds) noexcept {
    timer_ = ::SetTimer(nullptr, timer_, milliseconds, nullptr);
  }
  bool Fired(const MSG& message) noexcept {
    if (message.message != WM_TIMER || message.hwnd || message.wParam != timer_) return false;
    ::KillTimer(nullptr, std::exchange(timer_, 0));
    return true;
  }

 private:
  UINT_PTR timer_ = 0;
};

// Sends new clients to a new process. Clients that have reached this one already are served.
void TurnAway(std::optional<ClassObjects>& classes) {
  ::CoSuspendClassObjects();
  MSG message;
  while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
  classes.reset();
}

}  // namespace

Program::Program()
    : path_(ProgramPath()), folder_(ProgramFolder()), code_page_(SystemAnsiCodePage()) {}

Program::~Program() = default;

int Program::Run(std::u16string_view command_line) noexcept {
  std::u16string message;
  bool serves = false;
  try {
    const ProgramArguments arguments = ReadArguments(command_line);
    serves = arguments.task == Task::kServe;
    return Choose(arguments);
  } catch (const std::exception&) {
    message = RunTimeError(CurrentError());
  }
  // A server's client gets the error from COM; a message box there would have nobody to close it.
  if (!serves) ShowMessage(message);
  return kExitFailed;
}

int Program::Choose(const ProgramArguments& arguments) {
  // A folder on a drive without a disk is an error like any other, not a question to the user.
  ::SetErrorMode(SEM_FAILCRITICALERRORS);

  // The server outlives the apartment: objects that a component never released go with the
  // apartment, and they count themselves off.
  std::optional<Apartment> apartment(std::in_place);
  server_ =
      std::make_unique<Server>(path_, code_page_, clock_, [this]() -> std::unique_ptr<IPCFile> {
        return std::make_unique<cFileIO>(folder_, code_page_);
      });
  int result = kExitDone;
  switch (arguments.task) {
    case Task::kRegister:
    case Task::kUnregister:
      result = Register(arguments.task == Task::kRegister);
      break;
    case Task::kServe:
      result = Serve();
      break;
    default:
      result = RunAlone(arguments);
  }
  apartment.reset();
  return result;
}

int Program::Register(bool add) {
  try {
    const auto change = add ? RegisterServer : UnregisterServer;
    change(server_->types(), path_, ScopeOfThisProcess());
    return kExitDone;
  } catch (const AutomationError& error) {
    ShowMessage((add ? u"Pylon could not be registered." : u"Pylon could not be unregistered.") +
                std::u16string(u"\r\n") + error.description());
    return kExitFailed;
  }
}

int Program::Serve() {
  IdleTimer idle;
  server_->SetOnIdle([&idle] { idle.Start(IdleTimer::kLastClientMs); });
  std::optional<ClassObjects> classes(std::in_place, *server_,
                                      ClassObjects::Reach::kOtherProcesses);
  HotSyncRuns hot_sync(*server_, Pc());
  server_->SetHotSync(&hot_sync);
  idle.Start(IdleTimer::kFirstClientMs);
  MSG message;
  while (::GetMessageW(&message, nullptr, 0, 0) > 0) {
    if (idle.Fired(message)) {
      if (server_->clients() != 0) continue;
      if (!classes) break;
      // A client may hold a class object and be about to create with it, which counts for nothing
      // yet, so the process stays a little longer.
      TurnAway(classes);
      idle.Start(IdleTimer::kLastClientMs);
      continue;
    }
    ::TranslateMessage(&message);
    ::DispatchMessageW(&message);
  }
  server_->SetOnIdle({});
  server_->SetHotSync(nullptr);
  return kExitDone;
}

int Program::RunAlone(const ProgramArguments& arguments) {
  // Before the first component is made: it may create our classes while it describes itself.
  const ClassObjects classes(*server_, ClassObjects::Reach::kThisProcess);
  return arguments.task == Task::kSync ? Sync(arguments) : Manage(arguments);
}

int Program::Manage(const ProgramArguments& arguments) {
  const std::u16string& app_id = arguments.app_id;
  const bool installs = arguments.task == Task::kInstall;
  const bool shows_window = arguments.task == Task::kManage;
  ComComponentFactory components(*server_);
  // The window is there first, and shows that the list is being read.
  cConduitList conduits(folder_, components, code_page_,
                        shows_window ? cConduitList::Reading::kLater : cConduitList::Reading::kNow);
  cActiveSync active_sync(path_, code_page_);
  cHotSync hot_sync(path_, code_page_);
  ConduitInstaller installer(conduits, active_sync, hot_sync);
  WindowsSetupServices services(active_sync, installer);
  if (shows_window) {
    frmSetup setup({conduits, components, services, code_page_, path_, folder_});
    setup.on_close = [] { ::PostQuitMessage(kExitDone); };
    setup.Show();
    MSG next;
    while (::GetMessageW(&next, nullptr, 0, 0) > 0) {
      if (setup.TranslateDialogMessage(next)) continue;
      ::TranslateMessage(&next);
      ::DispatchMessageW(&next);
    }
    return kExitDone;
  }
  StepReport report;
  // With a system named: a step that the setup window has started with other rights.
  const std::optional<SyncSystem> only = SystemNamed(arguments.system);
  if (arguments.task == Task::kGuestMode) {
    const std::optional<bool> on = GuestModeNamed(arguments.guest_mode);
    if (!on) throw InvalidArgument();
    report = services.SetGuestMode(*on);
  } else if (only) {
    report = installs ? services.Install(*only, app_id) : services.Remove(*only, app_id);
  } else if (installs) {
    report = installer.InstallConduit(app_id).Add(installer.InstallApplication(app_id));
  } else {
    report = installer.UninstallConduit(app_id);
  }
  if (!report.remarks().empty()) ShowMessage(TextOf(report), MB_ICONINFORMATION);
  return report.done() ? kExitDone : kExitFailed;
}

int Program::Sync(const ProgramArguments& arguments) {
  // Before any component can change the current folder.
  const std::u16string save_folder = AbsolutePath(arguments.save_folder);
  ComComponentFactory components(*server_);
  cConduitList conduits(folder_, components, code_page_);
  const int16_t database_type = arguments.DatabaseType();
  if (arguments.app_id.empty()) {
    ShowMessage(database_type == dftPalmHotSync ? NoAppIdText(u"HotSync") : UsageText());
    return kExitFailed;
  }
  SyncRequest request;
  request.app_id = arguments.app_id;
  ChooseTarget(database_type, save_folder, conduits, request);
  const SyncOutcome outcome = RunSync({*server_, Pc(), components}, conduits, std::move(request));
  switch (outcome.result()) {
    case SyncResult::kDone:
      return kExitDone;
    case SyncResult::kCancelled:
      return kExitCancelled;
    case SyncResult::kFailed:
      break;
  }
  ShowMessage(TextOf(outcome));
  return kExitFailed;
}

void Program::ChooseTarget(int16_t database_type, const std::u16string& save_folder,
                           cConduitList& conduits, SyncRequest& request) const {
  switch (database_type) {
    case dftPalmVFS:
    case dftPocketPC:
    case dftSymbian:
    case dftWindows:
      request.target = std::make_unique<PcFilesTarget>(
          Pc(), static_cast<eDatabaseForType>(database_type), LoggedOnUser(), save_folder);
      break;
    case dftActiveSync: {
      std::u16string simulator = conduits.GetSettings(settings::kSimulatedPocketPc);
      if (!simulator.empty() && IsRelative(simulator)) {
        simulator = JoinFullName(folder_, simulator);
      }
      request.target = std::make_unique<PocketPcTarget>(Pc(), std::move(simulator));
      break;
    }
    case dftPalmHotSync:
      // A session's runs come from HotSync itself, over COM.
      request.no_target = u"No HotSync session is running.";
      break;
    default:
      request.no_target =
          u"There is no database type " + ToText(database_type) + u".\r\n" + DatabaseUsageText();
  }
}

PcSide Program::Pc() const { return {folder_, code_page_, clock_, server_->files()}; }

}  // namespace pylon
