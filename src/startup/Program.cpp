#include "startup/Program.h"

#include <objbase.h>

#include <algorithm>
#include <charconv>
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
#include "conduits/cConduitList.h"
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
#include "startup/cCommandLine.h"

namespace pylon {
namespace {

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

// What a Basic program reports when nobody has caught an error.
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

// An AppId with blanks reaches us without quotes from ActiveSync, and the parser joins its words by
// its own separator.
std::u16string AppIdIn(const cCommandLine& switches) {
  std::u16string app_id = switches.SwitchValue(u"appid");
  if (switches.CommandLine().find(cCommandLine::kSeparator) == std::u16string::npos) {
    std::replace(app_id.begin(), app_id.end(), cCommandLine::kSeparator, u' ');
  }
  return app_id;
}

// A whole number of 16 bits, as the `database` switch takes it; errors 13 and 6.
int16_t ToDatabaseType(const std::u16string& text) {
  const std::string digits = ToUtf8(Trim(text));
  std::string_view number = digits;
  if (number.starts_with('+') && !number.starts_with("+-")) number.remove_prefix(1);
  int16_t value = 0;
  const auto [end, status] = std::from_chars(number.data(), number.data() + number.size(), value);
  if (status == std::errc::invalid_argument || end != number.data() + number.size()) {
    throw TypeMismatch();
  }
  if (status == std::errc::result_out_of_range) throw Overflow();
  return value;
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

// Sends new clients to a new process. Whoever has reached this one already is served.
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
  try {
    return Choose(ArgumentText(command_line));
  } catch (const AutomationError& error) {
    message = RunTimeError(error);
  } catch (const std::exception& error) {
    message = RunTimeError(AutomationError(ErrorNumber::kInternal, FromUtf8(error.what())));
  }
  // COM tells the client of a server; a message box there would have nobody to close it.
  if (!serves_) ShowMessage(message);
  return kExitFailed;
}

int Program::Choose(std::u16string_view arguments) {
  // A folder on a drive without a disk is an error like any other, no question to the user.
  ::SetErrorMode(SEM_FAILCRITICALERRORS);

  cCommandLine start;
  start.AddSwitch(u"regserver", false);
  start.AddSwitch(u"unregserver", false);
  start.AddSwitch(u"embedding", false);
  start.SetCommandLine(arguments);
  serves_ = start.HasSwitch(u"embedding");

  // The server outlives the apartment: objects that a component never released go with the
  // apartment, and they count themselves off.
  std::optional<Apartment> apartment(std::in_place);
  server_ =
      std::make_unique<Server>(path_, code_page_, clock_, [this]() -> std::unique_ptr<IPCFile> {
        return std::make_unique<cFileIO>(folder_, code_page_);
      });
  int result = kExitDone;
  if (start.HasSwitch(u"regserver") || start.HasSwitch(u"unregserver")) {
    result = Register(start.HasSwitch(u"regserver"));
  } else if (serves_) {
    result = Serve();
  } else {
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
  HotSyncRuns hot_sync(*server_, folder_, code_page_, clock_);
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

int Program::RunAlone(std::u16string_view arguments) {
  cCommandLine switches;
  switches.AddSwitch(u"appid", true);
  switches.AddSwitch(u"install", false);
  switches.AddSwitch(u"uninstall", false);
  switches.AddSwitch(u"database", true);
  switches.AddSwitch(u"save", true);
  switches.AddSwitch(u"system", true);
  switches.SetCommandLine(arguments);
  const std::u16string app_id = AppIdIn(switches);

  // Before the first component is made: it may create our classes while it describes itself.
  const ClassObjects classes(*server_, ClassObjects::Reach::kThisProcess);
  if (switches.HasSwitch(u"database") && !switches.HasSwitch(u"install") &&
      !switches.HasSwitch(u"uninstall")) {
    return Sync(app_id, switches.SwitchValue(u"database"), switches.SwitchValue(u"save"));
  }

  ComComponentFactory components(*server_);
  // The window is there first, and shows that the list is being read.
  const bool shows_window = !switches.HasSwitch(u"install") && !switches.HasSwitch(u"uninstall");
  cConduitList conduits(folder_, components, code_page_,
                        shows_window ? cConduitList::Reading::kLater : cConduitList::Reading::kNow);
  cActiveSync active_sync(path_, code_page_);
  cHotSync hot_sync(path_, code_page_);
  ConduitInstaller installer(conduits, active_sync, hot_sync);
  WindowsSetupServices services(active_sync, installer);
  frmSetup setup({conduits, components, installer, services, code_page_, path_, folder_});
  std::u16string message;
  bool done = true;
  // The setup window's own steps that run with other rights.
  const std::optional<SyncSystem> only = SystemNamed(switches.SwitchValue(u"system"));
  if (only && switches.HasSwitch(u"install")) {
    done = services.Install(*only, app_id, message);
  } else if (only && switches.HasSwitch(u"uninstall")) {
    done = services.Remove(*only, app_id, message);
  } else if (switches.HasSwitch(u"install")) {
    done = setup.InstallConduit(app_id, message);
    done = setup.InstallApplication(app_id, message) && done;
  } else if (switches.HasSwitch(u"uninstall")) {
    done = setup.UninstallConduit(app_id, message);
  } else {
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
  if (!message.empty()) ShowMessage(message, MB_ICONINFORMATION);
  return done ? kExitDone : kExitFailed;
}

int Program::Sync(const std::u16string& app_id, const std::u16string& database_type,
                  const std::u16string& save_switch) {
  // Before any component can change the current folder.
  const std::u16string save_folder = AbsolutePath(save_switch);
  ComComponentFactory components(*server_);
  auto conduits = std::make_shared<cConduitList>(folder_, components, code_page_);

  SyncRequest request;
  request.app_id = app_id;
  request.database_type = ToDatabaseType(database_type.empty() ? u"4" : database_type);
  request.save_folder = save_folder;
  const SyncOutcome outcome =
      RunSync({*server_, folder_, code_page_, clock_, components}, std::move(conduits), request);
  switch (outcome.result) {
    case SyncResult::kDone:
      return kExitDone;
    case SyncResult::kCancelled:
      return kExitCancelled;
    case SyncResult::kFailed:
      break;
  }
  ShowMessage(outcome.error);
  return kExitFailed;
}

}  // namespace pylon
