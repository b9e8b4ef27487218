#include "toolkit/ConduitIcon.h"

#include <objbase.h>
#include <ocidl.h>
#include <olectl.h>
#include <shlobj.h>
#include <shlwapi.h>
#include <wrl/client.h>

#include <algorithm>

#include "base/Text.h"
#include "files/ProgramFiles.h"

namespace pylon {
namespace {

using Microsoft::WRL::ComPtr;

constexpr std::u16string_view kResource = u"RES:";

Icon EmbeddedIcon(const wchar_t* file, int size) {
  // Asked for in the very size, unlike ExtractIconEx, which knows the system's two sizes only.
  Icon large;
  Icon small;
  const auto both = static_cast<UINT>(MAKELONG(size, size));
  if (::SHDefExtractIconW(file, 0, 0, large.Receive(), small.Receive(), both) != S_OK)
    return Icon();
  return large;
}

ComPtr<IPicture> LoadPicture(const wchar_t* file) {
  // From a stream: given a name, the system would fetch an address from the network too.
  ComPtr<IStream> stream;
  ComPtr<IPicture> picture;
  if (FAILED(::SHCreateStreamOnFileEx(file, STGM_READ | STGM_SHARE_DENY_WRITE, 0, FALSE, nullptr,
                                      stream.GetAddressOf())) ||
      FAILED(::OleLoadPicture(stream.Get(), 0, FALSE, IID_IPicture,
                              reinterpret_cast<void**>(picture.GetAddressOf())))) {
    return nullptr;
  }
  return picture;
}

// The largest rectangle of the picture's proportions in the middle of a square.
RECT FittedInto(int square, LONG width, LONG height) {
  const LONG longest = std::max({width, height, LONG{1}});
  const int fitted_width = std::max(1, ::MulDiv(square, width, longest));
  const int fitted_height = std::max(1, ::MulDiv(square, height, longest));
  const int left = (square - fitted_width) / 2;
  const int top = (square - fitted_height) / 2;
  return {left, top, left + fitted_width, top + fitted_height};
}

Icon PictureIcon(const wchar_t* file, int size) {
  const ComPtr<IPicture> picture = LoadPicture(file);
  OLE_XSIZE_HIMETRIC width = 0;
  OLE_YSIZE_HIMETRIC height = 0;
  if (!picture || FAILED(picture->get_Width(&width)) || FAILED(picture->get_Height(&height)) ||
      width <= 0 || height <= 0) {
    return Icon();
  }
  const MemoryDc dc(::CreateCompatibleDC(nullptr));
  BITMAPINFO format = {};
  format.bmiHeader.biSize = sizeof(format.bmiHeader);
  format.bmiHeader.biWidth = format.bmiHeader.biHeight = size;
  format.bmiHeader.biPlanes = 1;
  format.bmiHeader.biBitCount = 24;  // no alpha, so the mask alone decides
  void* bits = nullptr;
  const Bitmap color(::CreateDIBSection(dc.get(), &format, DIB_RGB_COLORS, &bits, nullptr, 0));
  const Bitmap mask(::CreateBitmap(size, size, 1, 1, nullptr));
  if (!dc || !color || !mask) return Icon();

  // White in the mask is transparent where the colour is black.
  const RECT square = {0, 0, size, size};
  const RECT place = FittedInto(size, width, height);
  const HGDIOBJ old = ::SelectObject(dc.get(), mask.get());
  ::FillRect(dc.get(), &square, static_cast<HBRUSH>(::GetStockObject(WHITE_BRUSH)));
  ::FillRect(dc.get(), &place, static_cast<HBRUSH>(::GetStockObject(BLACK_BRUSH)));
  ::SelectObject(dc.get(), color.get());
  ::FillRect(dc.get(), &square, static_cast<HBRUSH>(::GetStockObject(BLACK_BRUSH)));
  ::FillRect(dc.get(), &place, ::GetSysColorBrush(COLOR_WINDOW));  // behind transparent pictures
  ::SetStretchBltMode(dc.get(), HALFTONE);
  ::SetBrushOrgEx(dc.get(), 0, 0, nullptr);
  // A picture's rows run upwards.
  const HRESULT drawn =
      picture->Render(dc.get(), place.left, place.top, place.right - place.left,
                      place.bottom - place.top, 0, height, width, -height, nullptr);
  ::SelectObject(dc.get(), old);
  if (FAILED(drawn)) return Icon();
  ICONINFO info = {TRUE, 0, 0, mask.get(), color.get()};
  return Icon(::CreateIconIndirect(&info));
}

Icon NamedIcon(const std::u16string& text, int size) {
  const std::u16string_view view = text;
  if (EqualsIgnoringCase(view.substr(0, kResource.size()), kResource)) {
    return EmbeddedIcon(Wide(text) + kResource.size(), size);
  }
  if (text.empty()) return Icon();
  Icon icon(static_cast<HICON>(
      ::LoadImageW(nullptr, Wide(text), IMAGE_ICON, size, size, LR_LOADFROMFILE)));
  return icon ? std::move(icon) : PictureIcon(Wide(text), size);
}

}  // namespace

Icon ConduitIcon(const std::u16string& text, int size) {
  Icon icon = NamedIcon(text, size);
  return icon ? std::move(icon) : ProgramIcon(size);
}

Icon ProgramIcon(int size) {
  Icon icon = EmbeddedIcon(Wide(ProgramPath()), size);
  if (icon) return icon;
  return Icon(::CopyIcon(::LoadIconW(nullptr, MAKEINTRESOURCEW(32512))));  // IDI_APPLICATION
}

}  // namespace pylon
