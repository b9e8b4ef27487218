#include "toolkit/Fonts.h"

#include "toolkit/Dpi.h"
#include "toolkit/Drawing.h"

namespace pylon {
namespace {

TEXTMETRICW Metrics(HFONT font) noexcept {
  const WindowDc screen;
  const Selected selected(screen.get(), font);
  TEXTMETRICW metrics = {};
  ::GetTextMetricsW(screen.get(), &metrics);
  return metrics;
}

}  // namespace

Font MessageFont(int dpi, int percent, bool bold) noexcept {
  LOGFONTW font = {};
  if (!MessageFontAt(dpi, font)) return Font();
  font.lfHeight = ::MulDiv(font.lfHeight, percent, 100);
  if (bold) font.lfWeight = FW_BOLD;
  return Font(::CreateFontIndirectW(&font));
}

int LineHeight(HFONT font) noexcept { return Metrics(font).tmHeight; }

int AverageCharacterWidth(HFONT font) noexcept { return Metrics(font).tmAveCharWidth; }

int TextWidth(HFONT font, std::u16string_view text) noexcept {
  const WindowDc screen;
  const Selected selected(screen.get(), font);
  SIZE extent = {};
  ::GetTextExtentPoint32W(screen.get(), reinterpret_cast<const wchar_t*>(text.data()),
                          static_cast<int>(text.size()), &extent);
  return extent.cx;
}

}  // namespace pylon
