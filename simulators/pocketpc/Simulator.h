#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "../common/Log.h"
#include "DeviceRegistry.h"
#include "FileStore.h"
#include "Link.h"
#include "Settings.h"
#include "rapi.h"

namespace pocketpc {

class Simulator;

// A connected device, from CeRapiInitEx to CeRapiUninit.
struct Device {
  explicit Device(Settings loaded)
      : settings(std::move(loaded)), link(settings), files(settings), registry(settings.registry) {}

  Settings settings;
  Link link;
  FileStore files;
  DeviceRegistry registry;
};

// One call of the API: its line in the log. What is said before Begin are arguments, later results.
class Call {
 public:
  Call(Simulator& simulator, const wchar_t* function)
      : simulator_(simulator), function_(function) {}

  Call& Path(const wchar_t* path);
  Call& Number(const wchar_t* name, int64_t number);
  Call& Handle(const void* handle, const wchar_t* name = L"handle");
  Call& Text(const wchar_t* name, std::wstring_view text);

  // The call goes out: throws LinkError when it doesn't get through.
  Device& Begin();

  // The line with this outcome.
  std::wstring Line(std::wstring_view outcome) const;

 private:
  friend class Simulator;

  Simulator& simulator_;
  const wchar_t* function_;
  std::wstring arguments_;
  std::wstring results_;
  bool begun_ = false;
};

// The state behind the exported functions. Calls of several threads pass one after the other, as on
// the cable.
class Simulator {
 public:
  HRESULT Connect(RAPIINIT* init) noexcept;
  HRESULT Disconnect() noexcept;
  HRESULT RapiError() noexcept;
  DWORD LastError() noexcept;

  // Runs body(call) and logs the call. What the body throws goes into the error functions, and the
  // result is failure(code); code is the Windows error number.
  template <class Failure, class Body>
  auto Serve(const wchar_t* function, Failure failure, Body body) noexcept
      -> decltype(failure(DWORD{})) {
    const std::lock_guard lock(mutex_);
    try {
      Call call(*this, function);
      try {
        const auto result = body(call);
        rapi_error_ = S_OK;
        Log(call.Line(L"ok"));
        return result;
      } catch (...) {
        return failure(Fail(call));
      }
    } catch (...) {
      return failure(OutOfMemory());
    }
  }

  // The error number of a call that succeeded.
  void SetLastError(DWORD code) noexcept { last_error_ = code; }

  // The process ends, other threads are gone: nothing may be waited for.
  void Abandon() noexcept { session_.release(); }

 private:
  friend class Call;
  class Session;

  Device& Begin(const wchar_t* function);
  HRESULT ConnectTo(RAPIINIT* init);
  DWORD Fail(const Call& call);
  DWORD OutOfMemory() noexcept;
  void OpenLog(const std::wstring& path);
  void Log(std::wstring_view line) noexcept;

  std::mutex mutex_;
  struct SessionDeleter {
    void operator()(Session* session) const noexcept;
  };
  std::unique_ptr<Session, SessionDeleter> session_;
  simulator::Log log_;  // open during a session
  DWORD last_error_ = ERROR_SUCCESS;
  HRESULT rapi_error_ = S_OK;
};

Simulator& TheSimulator() noexcept;

}  // namespace pocketpc
