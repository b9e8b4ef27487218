#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "appforge/SignatureSurface.h"
#include "toolkit/Window.h"

namespace pylon {

// The hidden window that signatures are drawn in, with its one picture surface. Clear creates the
// window, which is destroyed with the object.
class frmSignature final : public SignatureSurface, public Window {
 public:
  frmSignature() = default;
  ~frmSignature() override { Destroy(); }

  void Clear(int32_t width, int32_t height, int32_t color) override;
  void DrawLines(std::span<const SignatureLine> lines, int32_t color) override;
  void Print(std::u16string_view text, std::u16string_view font_name, int32_t font_points,
             int32_t color) override;
  ByteSpan Pixels() override;

 private:
  void Load();
  LRESULT OnMessage(UINT message, WPARAM wparam, LPARAM lparam) override;

  // Before dc_, which holds it selected and so goes first.
  Bitmap bitmap_;
  MemoryDc dc_;
  std::byte* pixels_ = nullptr;  // bitmap_'s own memory
  SIZE size_ = {};               // in pixels
};

}  // namespace pylon
