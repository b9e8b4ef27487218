#pragma once

#include <cstdint>
#include <exception>
#include <new>
#include <span>
#include <string>
#include <utility>

#include "SuiteError.h"
#include "base/AutomationError.h"
#include "base/Com.h"
#include "base/Implements.h"

namespace pylon::palm {

// The arguments of a late-bound call, in the order in which the caller wrote them, from 0. One that
// is missing or has no such value raises AutomationError.
class Arguments {
 public:
  Arguments(const DISPPARAMS& parameters, bool put) : parameters_(parameters), put_(put) {}

  size_t count() const { return parameters_.cArgs; }
  bool IsPut() const { return put_; }
  bool Has(size_t i) const;  // given, and not left out

  std::u16string Text(size_t i) const;
  int32_t Long(size_t i) const;
  bool Bool(size_t i) const;
  Bytes ByteArray(size_t i) const;
  const VARIANT& Value(size_t i) const;  // behind references

  // Puts a value where a by-reference argument points to, as the type that it has there. An
  // argument by value, as some scripts pass them all, is left as it is.
  void Set(size_t i, com::Variant value) const;
  void Set(size_t i, int32_t value) const { Set(i, com::Variant(value)); }

 private:
  VARIANT& At(size_t i) const;

  const DISPPARAMS& parameters_;
  const bool put_;
};

com::Variant FromText(std::u16string_view text);
com::Variant FromBool(bool value);
com::Variant FromDate(double date);
com::Variant FromObject(com::Ptr<IDispatch> object);

// One member that a class answers to. A property is called with DISPATCH_PROPERTYGET, and with
// DISPATCH_PROPERTYPUT when it can be put.
template <class Self>
struct Member {
  const wchar_t* name;
  DISPID id;
  WORD kind;  // DISPATCH_ flags
  size_t least;
  size_t most;
  com::Variant (Self::*call)(Arguments& arguments);
};

// What a call left: fills EXCEPINFO when the caller wants one. For use in a catch block.
HRESULT CaughtError(const wchar_t* source, EXCEPINFO* info) noexcept;

// IDispatch over the table Self::kMembers, for a class that is called by name only. Self has kName,
// the source of its errors. Made with com::Make; belongs to one STA thread.
template <class Self>
class Dispatch : public com::Implements<IDispatch> {
 public:
  STDMETHODIMP GetTypeInfoCount(UINT* count) noexcept override {
    if (!count) return E_POINTER;
    *count = 0;
    return S_OK;
  }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo** info) noexcept override {
    if (info) *info = nullptr;
    return E_NOTIMPL;
  }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID,
                             DISPID* ids) noexcept override {
    if (!names || !ids || count == 0) return E_INVALIDARG;
    for (UINT i = 0; i < count; ++i) ids[i] = DISPID_UNKNOWN;
    for (const auto& member : Self::kMembers) {
      if (::lstrcmpiW(member.name, names[0]) == 0) {
        ids[0] = member.id;
        return count == 1 ? S_OK : DISP_E_UNKNOWNNAME;
      }
    }
    return DISP_E_UNKNOWNNAME;
  }
  STDMETHODIMP Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* parameters, VARIANT* result,
                      EXCEPINFO* info, UINT*) noexcept override {
    if (!parameters) return E_POINTER;
    if (result) ::VariantInit(result);
    const bool put = (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0;
    // Arguments by name are for nobody; a put names its value.
    if (parameters->cNamedArgs != (put ? 1u : 0u)) return DISP_E_NONAMEDARGS;
    for (const auto& member : Self::kMembers) {
      if (member.id != id) continue;
      if (put && !(member.kind & DISPATCH_PROPERTYPUT)) return DISP_E_MEMBERNOTFOUND;
      const size_t extra = put ? 1 : 0;
      if (parameters->cArgs < member.least + extra || parameters->cArgs > member.most + extra) {
        return DISP_E_BADPARAMCOUNT;
      }
      // The call may let other work in, and that may drop the last reference.
      const auto self = com::Ptr<IDispatch>::Share(this);
      try {
        Arguments arguments(*parameters, put);
        com::Variant value = (static_cast<Self*>(this)->*member.call)(arguments);
        if (result) *result = value.Detach();
        return S_OK;
      } catch (...) {
        return CaughtError(Self::kName, info);
      }
    }
    return DISP_E_MEMBERNOTFOUND;
  }
};

}  // namespace pylon::palm
