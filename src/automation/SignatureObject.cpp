#include "automation/SignatureObject.h"

#include "appforge/frmSignature.h"

namespace pylon {

STDMETHODIMP SignatureObject::CreateBMP(BSTR sFileName, long StampColor, long StampFontSize,
                                        BSTR StampFontName, long BackColor, long SignatureColor,
                                        float ImageWidth, float ImageHeight) noexcept {
  return Do([&] {
    const SignaturePicture picture{StampColor, StampFontSize,  com::Text(StampFontName),
                                   BackColor,  SignatureColor, ImageWidth,
                                   ImageHeight};
    frmSignature surface;
    signature_.CreateBMP(com::Text(sFileName), picture, surface, *server().files()());
  });
}

}  // namespace pylon
