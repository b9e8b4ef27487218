#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "base/Bytes.h"

namespace pylon {

// A place on a picture: pixels from its top left corner, to the right and down. May lie outside.
struct SignaturePoint {
  int16_t x = 0;
  int16_t y = 0;

  bool operator==(const SignaturePoint&) const = default;
};

// A straight line that covers both its ends; from a point to itself it is a dot of one pixel.
struct SignatureLine {
  SignaturePoint from;
  SignaturePoint to;

  bool operator==(const SignatureLine&) const = default;
};

// The surface that a signature is drawn on: one picture at a time, kept in memory. What lies
// outside the picture is not drawn.
//
// Colours are 0x00BBGGRR, or 0x80000000 plus the index of a system colour; any other value raises
// error 5. What the system refuses raises error 7 (memory) or 51.
class SignatureSurface {
 public:
  virtual ~SignatureSurface() = default;

  // Starts a picture of one colour, of 1 to 32,767 pixels a side and 67,108,864 at most. The other
  // members need one.
  virtual void Clear(int32_t width, int32_t height, int32_t color) = 0;
  virtual void DrawLines(std::span<const SignatureLine> lines, int32_t color) = 0;
  // From the top left corner, each line of the text on a line of its own and the background left
  // visible. A font that the system doesn't have is replaced by the one that it finds nearest.
  virtual void Print(std::u16string_view text, std::u16string_view font_name, int32_t font_points,
                     int32_t color) = 0;
  // Rows from the lowest to the uppermost; blue, green and red for each pixel; each row filled up
  // to a multiple of four bytes. Lives until the next Clear.
  virtual ByteSpan Pixels() = 0;
};

}  // namespace pylon
