#include "files/RapiConnection.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "base/Text.h"

namespace pylon {
namespace {

constexpr ULONGLONG kPatience = 10'000;  // milliseconds
constexpr DWORD kGlance = 20;            // milliseconds between two looks at the window

std::u16string Hexadecimal(HRESULT result) {
  std::array<char, 8> digits;
  const auto [end, status] = std::to_chars(digits.data(), digits.data() + digits.size(),
                                           static_cast<uint32_t>(result), 16);
  return u"0x" + FromAscii({digits.data(), static_cast<size_t>(end - digits.data())});
}

}  // namespace

bool RapiConnection::Start(const std::u16string& library_path, DeviceProgress& progress,
                           std::u16string& cause) {
  // Also during a wait, which pumps messages.
  if (library_) return false;
  lost_ = false;
  library_ = RapiLibrary::Load(library_path, cause);
  if (!library_) return false;
  connected_ = Await(progress, cause);
  if (!connected_ && library_) {
    library_->CeRapiUninit();
    library_.reset();
  }
  return connected_;
}

bool RapiConnection::Await(DeviceProgress& progress, std::u16string& cause) {
  init_ = {sizeof(RAPIINIT), nullptr, S_OK};
  if (const HRESULT result = library_->CeRapiInitEx(&init_); result != S_OK) {
    cause = u"The remote API refuses to start: " + Hexadecimal(result);
    return false;
  }
  const auto refused = [&] {
    if (init_.hrRapiInit == S_OK) return false;
    cause = u"The device refuses the connection: " + Hexadecimal(init_.hrRapiInit);
    return true;
  };
  if (refused()) return false;

  const ULONGLONG deadline = ::GetTickCount64() + kPatience;
  for (;;) {
    const ULONGLONG now = ::GetTickCount64();
    if (now >= deadline) {
      cause = u"The device does not answer.";
      return false;
    }
    const auto wait = static_cast<DWORD>(std::min<ULONGLONG>(deadline - now, kGlance));
    switch (::MsgWaitForMultipleObjects(1, &init_.heRapiInit, FALSE, wait, QS_ALLINPUT)) {
      case WAIT_OBJECT_0:
        return !refused();
      case WAIT_FAILED:
        cause = u"The remote API gives no event to wait for.";
        return false;
      default:
        break;
    }
    progress.Yield();
    if (!library_) {
      cause = u"The connection has been ended during the wait for the device.";
      return false;
    }
    if (progress.IsStopped()) {
      cause = u"The user has cancelled the wait for the device.";
      return false;
    }
  }
}

void RapiConnection::End() noexcept {
  if (!library_) return;
  connected_ = false;
  library_->CeRapiUninit();
  library_.reset();
}

uint32_t RapiConnection::LastError() noexcept {
  if (!connected_) return kClosed;
  if (const HRESULT link = library_->CeRapiGetError(); FAILED(link)) {
    // A link ends in many ways, each with a number of its own. These two are about the call.
    lost_ = lost_ || (link != E_INVALIDARG && link != E_OUTOFMEMORY);
    return static_cast<uint32_t>(link);
  }
  const DWORD error = library_->CeGetLastError();
  return error == ERROR_SUCCESS ? DWORD{ERROR_GEN_FAILURE} : error;
}

}  // namespace pylon
