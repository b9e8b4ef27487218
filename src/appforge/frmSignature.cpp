#include "appforge/frmSignature.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

#include "appforge/AppforgeSignature.h"
#include "base/AutomationError.h"
#include "base/Text.h"
#include "toolkit/Drawing.h"

namespace pylon {
namespace {

constexpr int kPointsPerInch = 72;

AutomationError Refused(std::u16string_view what) {
  return AutomationError(ErrorNumber::kInternal,
                         u"The signature can't be drawn: the system refused " +
                             std::u16string(what) + u" (" + ToText(::GetLastError()) + u")");
}

COLORREF ToColorRef(int32_t color) {
  const auto bits = static_cast<uint32_t>(color);
  if (bits <= 0xFFFFFF) return bits;
  const auto index = static_cast<int>(bits & 0x7FFFFFFF);
  // GetSysColor answers black for an index that there isn't.
  if (bits >= 0x80000000 && index <= 0xFF && ::GetSysColorBrush(index)) {
    return ::GetSysColor(index);
  }
  throw AutomationError(ErrorNumber::kInvalidArgument, ToText(color) + u" is not a colour.");
}

Font MakeFont(std::u16string_view name, int32_t points) {
  LOGFONTW font = {};
  if (name.size() >= std::size(font.lfFaceName)) {
    throw AutomationError(ErrorNumber::kInvalidArgument,
                          u"'" + std::u16string(name) + u"' is too long for the name of a font.");
  }
  std::ranges::copy(name, font.lfFaceName);
  // Negative: the height of the characters, as points mean it.
  font.lfHeight = -::MulDiv(points, SignaturePicture::kPixelsPerInch, kPointsPerInch);
  font.lfCharSet = DEFAULT_CHARSET;
  // No coloured edges: the picture is looked at on any device.
  font.lfQuality = ANTIALIASED_QUALITY;
  Font made(::CreateFontIndirectW(&font));
  if (!made) throw Refused(u"the stamp's font");
  return made;
}

}  // namespace

void frmSignature::Load() {
  if (dc_) return;
  Create({L"Pylon.frmSignature", WS_POPUP, 0, COLOR_WINDOW}, L"");
  dc_.Reset(::CreateCompatibleDC(WindowDc(handle()).get()));
  if (!dc_) throw Refused(u"a picture surface");
}

LRESULT frmSignature::OnMessage(UINT message, WPARAM wparam, LPARAM lparam) {
  return ::DefWindowProcW(handle(), message, wparam, lparam);
}

void frmSignature::Clear(int32_t width, int32_t height, int32_t color) {
  const COLORREF background = ToColorRef(color);
  Load();
  BITMAPINFO info = {};
  info.bmiHeader.biSize = sizeof(info.bmiHeader);
  info.bmiHeader.biWidth = width;
  info.bmiHeader.biHeight = height;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 24;
  info.bmiHeader.biCompression = BI_RGB;
  void* pixels = nullptr;
  Bitmap bitmap(::CreateDIBSection(dc_.get(), &info, DIB_RGB_COLORS, &pixels, nullptr, 0));
  if (!bitmap) {
    throw AutomationError(ErrorNumber::kOutOfMemory, u"There is no memory for a picture of " +
                                                         ToText(width) + u" x " + ToText(height) +
                                                         u" pixels.");
  }
  ::SelectObject(dc_.get(), bitmap.get());
  bitmap_ = std::move(bitmap);
  pixels_ = static_cast<std::byte*>(pixels);
  size_ = {width, height};

  const Brush brush(::CreateSolidBrush(background));
  const RECT all = {0, 0, width, height};
  if (!brush || !::FillRect(dc_.get(), &all, brush.get())) throw Refused(u"the background");
}

void frmSignature::DrawLines(std::span<const SignatureLine> lines, int32_t color) {
  const COLORREF foreground = ToColorRef(color);
  const Pen pen(::CreatePen(PS_SOLID, 1, foreground));
  if (!pen) throw Refused(u"a pen");
  const Selected selected(dc_.get(), pen.get());
  for (const SignatureLine& line : lines) {
    ::MoveToEx(dc_.get(), line.from.x, line.from.y, nullptr);
    ::LineTo(dc_.get(), line.to.x, line.to.y);
    // LineTo leaves its end out.
    ::SetPixelV(dc_.get(), line.to.x, line.to.y, foreground);
  }
}

void frmSignature::Print(std::u16string_view text, std::u16string_view font_name,
                         int32_t font_points, int32_t color) {
  const COLORREF foreground = ToColorRef(color);
  const Font font = MakeFont(font_name, font_points);
  const Selected selected(dc_.get(), font.get());
  ::SetTextColor(dc_.get(), foreground);
  ::SetBkMode(dc_.get(), TRANSPARENT);
  RECT all = {0, 0, size_.cx, size_.cy};
  const std::u16string terminated(text);
  if (!::DrawTextW(dc_.get(), Wide(terminated), static_cast<int>(terminated.size()), &all,
                   DT_LEFT | DT_TOP | DT_NOPREFIX | DT_EXPANDTABS)) {
    throw Refused(u"the stamp");
  }
}

ByteSpan frmSignature::Pixels() {
  ::GdiFlush();
  const size_t row = (static_cast<size_t>(size_.cx) * 3 + 3) / 4 * 4;
  return {pixels_, row * static_cast<size_t>(size_.cy)};
}

}  // namespace pylon
