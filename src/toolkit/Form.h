#pragma once

#include <string>
#include <string_view>

#include "toolkit/Layout.h"
#include "toolkit/Window.h"

namespace pylon {

// A window of controls that keeps them arranged: the system's message font, the icons and all
// places follow its size and its DPI.
class Form : public Window {
 protected:
  // Called while the window is created, in this order, and Arrange last.
  virtual void AddControls() = 0;
  virtual void OnDpi() {}    // after AddControls, and whenever font and sizes have changed
  virtual void OnReady() {}  // font and sizes are known, the window is not shown yet

  // Its controls in the client area, in pixels.
  virtual Layout Arrangement() const = 0;
  virtual void Arrange();   // places them
  virtual void SetIcons();  // the program's

  LRESULT OnMessage(UINT message, WPARAM wparam, LPARAM lparam) override;

  HWND Control(int id) const noexcept { return ::GetDlgItem(handle(), id); }
  void SetText(int id, const std::u16string& text);  // nothing to repaint when it is the same
  std::u16string TextOf(int id) const;

  HFONT font() const noexcept { return font_.get(); }
  void SetFont(int id, HFONT font) const noexcept;
  int Line() const noexcept;
  int TextWidth(std::u16string_view text) const noexcept;
  SIZE Client() const noexcept;
  void PlaceControls(const Layout& layout, const Box& box);  // those that the form has
  void Redraw() const noexcept;

 private:
  void TakeFont();  // for the window's DPI
  void Refresh();   // after a change of font or DPI

  Font font_;
};

}  // namespace pylon
