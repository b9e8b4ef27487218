#include "Simulator.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <new>

#include "DevicePath.h"
#include "Errors.h"

// The start of this DLL in memory, which is its module handle.
extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace pocketpc {
namespace {

HMODULE ThisModule() noexcept { return reinterpret_cast<HMODULE>(&__ImageBase); }

struct ModuleCloser {
  using pointer = HMODULE;
  void operator()(HMODULE module) const noexcept { ::FreeLibrary(module); }
};
using OwnedModule = std::unique_ptr<HMODULE, ModuleCloser>;

// Keeps this DLL in memory while a timer may call into it.
OwnedModule PinModule() {
  HMODULE module = nullptr;
  CheckWindows(::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                                    reinterpret_cast<const wchar_t*>(&__ImageBase), &module));
  return OwnedModule(module);
}

struct TimerCloser {
  using pointer = PTP_TIMER;
  void operator()(PTP_TIMER timer) const noexcept {
    ::SetThreadpoolTimer(timer, nullptr, 0, 0);
    ::WaitForThreadpoolTimerCallbacks(timer, TRUE);
    ::CloseThreadpoolTimer(timer);
  }
};
using OwnedTimer = std::unique_ptr<TP_TIMER, TimerCloser>;

template <class... Arguments>
std::wstring Format(const wchar_t* format, Arguments... arguments) {
  wchar_t text[64];
  const int length = std::swprintf(text, std::size(text), format, arguments...);
  return std::wstring(text, static_cast<size_t>(length > 0 ? length : 0));
}

std::wstring Hex(HRESULT result) { return Format(L"0x%08lX", static_cast<unsigned long>(result)); }

// On one line, whatever the text holds.
std::wstring Quoted(std::wstring_view text) {
  std::wstring quoted = L"\"" + std::wstring(text) + L"\"";
  std::ranges::replace_if(
      quoted, [](wchar_t c) { return c < L' '; }, L'?');
  return quoted;
}

std::wstring Now() {
  SYSTEMTIME now = {};
  ::GetLocalTime(&now);
  return Format(L"%04u-%02u-%02u %02u:%02u:%02u", now.wYear, now.wMonth, now.wDay, now.wHour,
                now.wMinute, now.wSecond);
}

}  // namespace

// From a CeRapiInitEx that found a device, whether or not it answers, to CeRapiUninit.
class Simulator::Session {
 public:
  Session(Settings settings, RAPIINIT* init)
      : module_(PinModule()),
        device_(std::move(settings)),
        init_(init),
        answered_(::CreateEventW(nullptr, TRUE, FALSE, nullptr)),
        timer_(::CreateThreadpoolTimer(&Answer, this, nullptr)) {
    CheckWindows(answered_ && timer_);
    init->heRapiInit = answered_.get();
    init->hrRapiInit = S_OK;
    if (device_.settings.connect == ConnectFault::kNoAnswer) return;
    // Relative, in 100 ns.
    FILETIME due = FromTicks(int64_t{-10'000} * device_.settings.connect_delay);
    ::SetThreadpoolTimer(timer_.get(), &due, 0, 0);
  }

  bool IsConnected() const noexcept {
    return device_.settings.connect == ConnectFault::kNone &&
           ::WaitForSingleObject(answered_.get(), 0) == WAIT_OBJECT_0;
  }
  Device& device() noexcept { return device_; }

 private:
  // Runs on a thread of its own, as the real answer comes: takes no lock, so that the session can
  // wait for it while it ends.
  static void CALLBACK Answer(PTP_CALLBACK_INSTANCE, void* context, PTP_TIMER) noexcept {
    auto* const session = static_cast<Session*>(context);
    if (session->device_.settings.connect == ConnectFault::kRefused) {
      session->init_->hrRapiInit = E_FAIL;
    }
    ::SetEvent(session->answered_.get());
  }

  OwnedModule module_;
  Device device_;
  RAPIINIT* init_;  // the caller's
  OwnedHandle answered_;
  OwnedTimer timer_;  // goes first: it uses all the others
};

void Simulator::SessionDeleter::operator()(Session* session) const noexcept { delete session; }

Simulator& TheSimulator() noexcept {
  static Simulator simulator;
  return simulator;
}

Call& Call::Text(const wchar_t* name, std::wstring_view text) {
  std::wstring& to = begun_ ? results_ : arguments_;
  to.append(L" ");
  if (name) to.append(name).append(L"=");
  to.append(text);
  return *this;
}

Call& Call::Path(const wchar_t* path) {
  return Text(nullptr, path ? Quoted(path) : std::wstring(L"null"));
}

Call& Call::Number(const wchar_t* name, int64_t number) {
  return Text(name, std::to_wstring(number));
}

Call& Call::Handle(const void* handle, const wchar_t* name) {
  return Text(
      name, Format(L"%llx", static_cast<unsigned long long>(reinterpret_cast<ULONG_PTR>(handle))));
}

Device& Call::Begin() {
  begun_ = true;
  return simulator_.Begin(function_);
}

std::wstring Call::Line(std::wstring_view outcome) const {
  std::wstring line = function_ + arguments_;
  return line.append(L" -> ").append(outcome).append(results_);
}

Device& Simulator::Begin(const wchar_t* function) {
  if (!session_ || !session_->IsConnected()) throw LinkError{kNotConnected};
  session_->device().link.Begin(function);
  return session_->device();
}

// Called while an exception is handled. A device without a link closes what was open.
DWORD Simulator::Fail(const Call& call) {
  try {
    throw;
  } catch (const DeviceError& error) {
    last_error_ = error.code;
    rapi_error_ = S_OK;
    Log(call.Line(L"error " + std::to_wstring(error.code)));
    return error.code;
  } catch (const LinkError& error) {
    last_error_ = ERROR_SUCCESS;
    rapi_error_ = error.result;
    if (session_ && session_->device().link.lost()) {
      session_->device().files.CloseAll();
      session_->device().registry.CloseAll();
    }
    Log(call.Line(L"rapi " + Hex(error.result)));
    return HRESULT_CODE(error.result);
  }
}

DWORD Simulator::OutOfMemory() noexcept {
  last_error_ = ERROR_OUTOFMEMORY;
  rapi_error_ = S_OK;
  ::OutputDebugStringW(L"Simulated Pocket PC: out of memory\n");
  return ERROR_OUTOFMEMORY;
}

void Simulator::OpenLog(const std::wstring& path) {
  const DWORD error = log_.Open(VerbatimPath(path));
  if (error == ERROR_SUCCESS) return;
  ::OutputDebugStringW((L"Simulated Pocket PC: Windows error " + std::to_wstring(error) +
                        L" opening the log " + path + L"\n")
                           .c_str());
  throw DeviceError{error};
}

void Simulator::Log(std::wstring_view line) noexcept {
  try {
    // Outside a session the log is opened for the line alone.
    if (!log_.IsOpen()) OpenLog(ReadSettings(ThisModule()).log);
    Check(log_.Write(line) == ERROR_SUCCESS, ERROR_WRITE_FAULT);
    if (!session_) log_.Close();
  } catch (...) {
    ::OutputDebugStringW(L"Simulated Pocket PC: a line of the log is lost\n");
  }
}

HRESULT Simulator::Connect(RAPIINIT* init) noexcept {
  const std::lock_guard lock(mutex_);
  HRESULT result = E_OUTOFMEMORY;
  try {
    Call call(*this, L"CeRapiInitEx");
    if (init) call.Number(L"size", init->cbSize);
    result = ConnectTo(init);
    rapi_error_ = result;
    Log(call.Line(SUCCEEDED(result) ? L"ok" : L"rapi " + Hex(result)));
  } catch (...) {
    rapi_error_ = result;
    OutOfMemory();
  }
  return result;
}

HRESULT Simulator::ConnectTo(RAPIINIT* init) {
  if (session_) return kAlreadyInitialized;
  Settings settings = ReadSettings(ThisModule());
  if (!init || init->cbSize != sizeof *init) {
    Log(L"error: CeRapiInitEx takes a record of size " + std::to_wstring(sizeof *init) +
        L" in this program");
    return E_INVALIDARG;
  }
  init->heRapiInit = nullptr;
  init->hrRapiInit = kBadSettings;
  const std::wstring ini = settings.ini;
  for (const std::wstring& mistake : settings.mistakes) Log(L"error: " + ini + L": " + mistake);
  if (!settings.mistakes.empty()) return kBadSettings;
  if (settings.connect == ConnectFault::kError) return init->hrRapiInit = E_FAIL;

  const std::wstring folder = settings.folder;
  try {
    OpenLog(settings.log);
    session_.reset(new Session(std::move(settings), init));
  } catch (const DeviceError& error) {
    Log(L"error: Windows error " + std::to_wstring(error.code) + L" in the folder " +
        Quoted(folder));
    log_.Close();
    return kBadSettings;
  }
  const Device& device = session_->device();
  Log(L"note: " + Now() + L", settings " + Quoted(ini) + L", device folder " + Quoted(folder) +
      L", " + std::to_wstring(device.files.used()) + L" of " +
      std::to_wstring(device.settings.disk_size) + L" bytes used");
  return S_OK;
}

HRESULT Simulator::Disconnect() noexcept {
  const std::lock_guard lock(mutex_);
  // What the reference says of a call without a connection.
  const HRESULT result = session_ ? S_OK : E_FAIL;
  rapi_error_ = result;
  try {
    Log(Call(*this, L"CeRapiUninit").Line(session_ ? L"ok" : L"rapi " + Hex(result)));
  } catch (...) {
    OutOfMemory();
  }
  log_.Close();
  session_.reset();
  return result;
}

HRESULT Simulator::RapiError() noexcept {
  const std::lock_guard lock(mutex_);
  try {
    Log(Call(*this, L"CeRapiGetError").Line(Hex(rapi_error_)));
  } catch (...) {
    ::OutputDebugStringW(L"Simulated Pocket PC: a line of the log is lost\n");
  }
  return rapi_error_;
}

DWORD Simulator::LastError() noexcept {
  const std::lock_guard lock(mutex_);
  try {
    Log(Call(*this, L"CeGetLastError").Line(std::to_wstring(last_error_)));
  } catch (...) {
    ::OutputDebugStringW(L"Simulated Pocket PC: a line of the log is lost\n");
  }
  return last_error_;
}

}  // namespace pocketpc
