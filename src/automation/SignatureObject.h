#pragma once

#include "appforge/AppforgeSignature.h"
#include "automation/Object.h"

namespace pylon {

class SignatureObject final : public Object<SignatureObject, ::_AppforgeSignature> {
 public:
  static constexpr ClassInfo kClass = {CLSID_AppforgeSignature, u"Pylon.AppforgeSignature"};

  explicit SignatureObject(Server& server, std::u16string_view signature = {}) : Object(server) {
    signature_.SetSignature(signature);
  }

  STDMETHODIMP get_Signature(BSTR* value) noexcept override {
    return GetText(value, [&] { return signature_.Signature(); });
  }
  STDMETHODIMP put_Signature(BSTR value) noexcept override {
    return Do([&] { signature_.SetSignature(com::Text(value)); });
  }
  STDMETHODIMP get_Stamp(BSTR* value) noexcept override {
    return GetText(value, [&] { return signature_.Stamp(); });
  }
  STDMETHODIMP put_Stamp(BSTR value) noexcept override {
    return Do([&] { signature_.SetStamp(com::Text(value)); });
  }
  STDMETHODIMP Clear() noexcept override {
    return Do([&] { signature_.Clear(); });
  }
  STDMETHODIMP CreateBMP(BSTR sFileName, long StampColor, long StampFontSize, BSTR StampFontName,
                         long BackColor, long SignatureColor, float ImageWidth,
                         float ImageHeight) noexcept override;

 private:
  pylon::AppforgeSignature signature_;
};

}  // namespace pylon
