#include "toolkit/Dpi.h"

#include "toolkit/Drawing.h"

namespace pylon {
namespace {

// Functions of user32 that came with Windows 10; null before.
template <class Function>
Function* UserFunction(const char* name) noexcept {
  return reinterpret_cast<Function*>(::GetProcAddress(::GetModuleHandleW(L"user32.dll"), name));
}

int SystemDpi() noexcept { return ::GetDeviceCaps(WindowDc().get(), LOGPIXELSY); }

}  // namespace

int DpiOf(HWND window) noexcept {
  static const auto of_window = UserFunction<UINT WINAPI(HWND)>("GetDpiForWindow");
  const UINT dpi = of_window ? of_window(window) : 0;
  return dpi ? static_cast<int>(dpi) : SystemDpi();
}

SIZE OuterSizeOf(SIZE client, DWORD style, DWORD ex_style, int dpi) noexcept {
  static const auto adjust =
      UserFunction<BOOL WINAPI(LPRECT, DWORD, BOOL, DWORD, UINT)>("AdjustWindowRectExForDpi");
  RECT rect = {0, 0, client.cx, client.cy};
  if (!adjust || !adjust(&rect, style, FALSE, ex_style, static_cast<UINT>(dpi))) {
    ::AdjustWindowRectEx(&rect, style, FALSE, ex_style);
  }
  return {rect.right - rect.left, rect.bottom - rect.top};
}

bool MessageFontAt(int dpi, LOGFONTW& font) noexcept {
  static const auto for_dpi =
      UserFunction<BOOL WINAPI(UINT, UINT, PVOID, UINT, UINT)>("SystemParametersInfoForDpi");
  NONCLIENTMETRICSW metrics = {};
  metrics.cbSize = sizeof(metrics);
  if (for_dpi &&
      for_dpi(SPI_GETNONCLIENTMETRICS, sizeof(metrics), &metrics, 0, static_cast<UINT>(dpi))) {
    font = metrics.lfMessageFont;
    return true;
  }
  if (!::SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof(metrics), &metrics, 0)) return false;
  font = metrics.lfMessageFont;
  font.lfHeight = ::MulDiv(font.lfHeight, dpi, SystemDpi());
  return true;
}

}  // namespace pylon
