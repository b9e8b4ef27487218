#include "automation/SignatureObject.h"

#include "appforge/frmSignature.h"

namespace pylon {

const ClassInfo SignatureObject::kClass = {CLSID_AppforgeSignature, u"Pylon.AppforgeSignature"};

STDMETHODIMP SignatureObject::get_Signature(BSTR* value) noexcept {
  return GetText(value, [&] { return signature_.Signature(); });
}
STDMETHODIMP SignatureObject::put_Signature(BSTR value) noexcept {
  return Do([&] { signature_.SetSignature(com::Text(value)); });
}
STDMETHODIMP SignatureObject::get_Stamp(BSTR* value) noexcept {
  return GetText(value, [&] { return signature_.Stamp(); });
}
STDMETHODIMP SignatureObject::put_Stamp(BSTR value) noexcept {
  return Do([&] { signature_.SetStamp(com::Text(value)); });
}
STDMETHODIMP SignatureObject::Clear() noexcept {
  return Do([&] { signature_.Clear(); });
}
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
