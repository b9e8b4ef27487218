#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "appforge/SignatureSurface.h"
#include "base/Win32.h"

namespace pylon {

struct WindowTraits {
  using Type = HWND;
  static Type Invalid() noexcept { return nullptr; }
  static void Close(Type window) noexcept { ::DestroyWindow(window); }
};

// The hidden window that signatures are drawn in, with its one picture surface. Clear loads the
// window; it goes with the object. Created, used and destroyed on one thread.
class frmSignature final : public SignatureSurface {
 public:
  frmSignature() = default;
  frmSignature(const frmSignature&) = delete;
  frmSignature& operator=(const frmSignature&) = delete;

  void Clear(int32_t width, int32_t height, int32_t color) override;
  void DrawLines(std::span<const SignatureLine> lines, int32_t color) override;
  void Print(std::u16string_view text, std::u16string_view font_name, int32_t font_points,
             int32_t color) override;
  ByteSpan Pixels() override;

 private:
  void Load();

  UniqueHandle<WindowTraits> window_;
  // Before dc_, which holds it selected and so goes first.
  Bitmap bitmap_;
  MemoryDc dc_;
  std::byte* pixels_ = nullptr;  // bitmap_'s own memory
  SIZE size_ = {};               // in pixels
};

}  // namespace pylon
