#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "files/DeviceProgress.h"
#include "files/RapiLibrary.h"

namespace pylon {

// The process's one connection to a handheld over the remote API. Files and registry of the device
// share it; each of their calls asks it first, so that an object that outlives the run finds no
// connection instead of a library that is gone.
//
//   Start ──true──> connected ──End──> ended (Start may follow)
//     └───false───> ended
class RapiConnection {
 public:
  // The error that reports the end of the link: WSAEDISCON as an HRESULT.
  static constexpr uint32_t kClosed = 0x80072775;
  static constexpr char16_t kClosedText[] = u"Connection to ActiveSync has been closed.";

  RapiConnection() = default;
  ~RapiConnection() { End(); }
  RapiConnection(const RapiConnection&) = delete;
  RapiConnection& operator=(const RapiConnection&) = delete;

  // Loads the library (see RapiLibrary::Load for `library_path` and `cause`) and waits for the
  // device, ten seconds at most, in which `progress` keeps the window alive and may stop the wait.
  // False, too, when connected already, and without a cause then: the connection stays as it is.
  bool Start(const std::u16string& library_path, DeviceProgress& progress, std::u16string& cause);
  void End() noexcept;  // at any time, a wait for the device included
  bool IsConnected() const noexcept { return connected_; }
  // Whether a call has met the end of the link since the start.
  bool IsLost() const noexcept { return lost_; }

  // Only while connected.
  const RapiLibrary& api() const noexcept { return *library_; }
  // Why the call before has failed: the link's HRESULT, which is negative as a signed number, or
  // the device's own error. Never 0. While not connected kClosed.
  uint32_t LastError() noexcept;

 private:
  // True once the device has said yes; `cause` else.
  bool Await(DeviceProgress& progress, std::u16string& cause);

  std::unique_ptr<RapiLibrary> library_;
  RAPIINIT init_ = {};  // filled by the library until CeRapiUninit
  bool connected_ = false;
  bool lost_ = false;
};

}  // namespace pylon
