#pragma once

#include "appforge/AppforgeSignature.h"
#include "automation/Object.h"

namespace pylon {

class SignatureObject final : public Object<SignatureObject, ::_AppforgeSignature> {
 public:
  static const ClassInfo kClass;

  explicit SignatureObject(Server& server, std::u16string_view signature = {}) : Object(server) {
    signature_.SetSignature(signature);
  }

  STDMETHODIMP get_Signature(BSTR* value) noexcept override;
  STDMETHODIMP put_Signature(BSTR value) noexcept override;
  STDMETHODIMP get_Stamp(BSTR* value) noexcept override;
  STDMETHODIMP put_Stamp(BSTR value) noexcept override;
  STDMETHODIMP Clear() noexcept override;
  STDMETHODIMP CreateBMP(BSTR sFileName, long StampColor, long StampFontSize, BSTR StampFontName,
                         long BackColor, long SignatureColor, float ImageWidth,
                         float ImageHeight) noexcept override;

 private:
  pylon::AppforgeSignature signature_;
};

}  // namespace pylon
