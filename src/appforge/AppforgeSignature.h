#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "appforge/SignatureSurface.h"
#include "files/IPCFile.h"

namespace pylon {

// How the picture of a signature looks. The defaults give black on white, in a picture as wide as
// the screen of a handheld with high resolution and half as high.
struct SignaturePicture {
  static constexpr int32_t kDesignedWidth = 320;
  static constexpr int32_t kDesignedHeight = 160;
  static constexpr int32_t kPixelsPerInch = 96;  // by which points become pixels

  // Colours as in SignatureSurface.
  int32_t StampColor = 0x000000;
  int32_t StampFontSize = 10;  // points; zero or less means the default, more than 2,160 is error 5
  std::u16string StampFontName = u"Arial";  // empty means the default
  int32_t BackColor = 0xFFFFFF;
  int32_t SignatureColor = 0x000000;
  // Pixels, rounded to whole ones; zero or less keeps the designed size.
  float ImageWidth = 0;
  float ImageHeight = 0;
};

// A signature written on a handheld, as the text of a signature field, and a stamp to print over it
// in pictures.
//
// The text is a row of 16-bit units, taken as signed numbers. Two of them, x and y, are one point
// in pixels; the unit U+FFFF where an x is due lifts the pen. Points of one stroke are joined.
class AppforgeSignature {
 public:
  const std::u16string& Signature() const noexcept { return signature_; }
  void SetSignature(std::u16string_view text) { signature_ = text; }
  const std::u16string& Stamp() const noexcept { return stamp_; }
  void SetStamp(std::u16string_view text) { stamp_ = text; }
  void Clear() noexcept;

  // The strokes in the order of writing: a line for each two neighbours of a stroke, and a dot on
  // its last point when the pen is lifted. Error 5 for an x without its y.
  std::vector<SignatureLine> Lines() const;

  // Draws the signature with the stamp over it and writes a Windows bitmap of 24 bits a pixel. The
  // picture is written beside its place, under its name followed by ".new", and takes the place of
  // an older file when it is complete; after an error that one is as it was.
  //
  // Errors: 5 for a colour, font or size that can't be, an x without its y or no file name; 6 for
  // more than 32,767 pixels a side; 7 for a picture of more than 67,108,864 pixels; 75 when the
  // file can't be written; and what the surface raises.
  void CreateBMP(std::u16string_view sFileName, const SignaturePicture& picture,
                 SignatureSurface& surface, IPCFile& file) const;

 private:
  std::u16string signature_;
  std::u16string stamp_;
};

}  // namespace pylon
