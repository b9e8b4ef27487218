#pragma once

#include <type_traits>
#include <utility>

#include "automation/Library.h"
#include "automation/Server.h"
#include "base/AutomationError.h"
#include "base/Com.h"
#include "base/Implements.h"

namespace pylon {

// A class of the type library.
struct ClassInfo {
  const CLSID& id;
  const char16_t* prog_id;  // also the source of its errors
};

// Leaves the error for GetErrorInfo and returns its HRESULT: 0x800A0000 + number for Basic's
// numbers, the number itself when it is an HRESULT.
HRESULT Raise(const ClassInfo& raiser, const AutomationError& error) noexcept;

// Returns `result`, a failure that needs no description, and drops the description of an older
// error, which would pass for this one's.
inline HRESULT FailWith(HRESULT result) noexcept {
  ::SetErrorInfo(0, nullptr);
  return result;
}

// Raise for the exception in flight; only inside a catch block.
HRESULT RaiseCurrent(const ClassInfo& raiser) noexcept;

// The one place where an exception becomes an HRESULT.
template <class Body>
HRESULT Guard(const ClassInfo& raiser, Body&& body) noexcept try {
  body();
  return S_OK;
} catch (...) {
  return RaiseCurrent(raiser);
}

// IUnknown, IDispatch and ISupportErrorInfo for an automation class. `Others` are dual
// interfaces, and ones without a marshaller that only this process knows. Late-bound calls go to
// the default one, whichever they come in by, so the other dual ones use its member ids. `Self` has
// a static `kClass`.
//
// Objects are made with com::Make and belong to one STA thread. COM reports the connections from
// outside the process, and an object with one counts as a client of the server.
template <class Self, class Default, class... Others>
class Object : public com::Implements<Default, Others..., ISupportErrorInfo, IExternalConnection> {
 public:
  STDMETHODIMP GetTypeInfoCount(UINT* count) noexcept override {
    if (!count) return E_POINTER;
    *count = 1;
    return S_OK;
  }
  STDMETHODIMP GetTypeInfo(UINT index, LCID, ITypeInfo** type_info) noexcept override {
    if (!type_info) return E_POINTER;
    *type_info = nullptr;
    if (index != 0) return DISP_E_BADINDEX;
    return Guard(Self::kClass,
                 [&] { *type_info = com::Ptr<ITypeInfo>::Share(Table().type_info()).Detach(); });
  }
  STDMETHODIMP GetIDsOfNames(REFIID id, LPOLESTR* names, UINT count, LCID,
                             DISPID* members) noexcept override {
    if (id != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
    HRESULT result = S_OK;
    const HRESULT guarded = Guard(
        Self::kClass, [&] { result = Table().type_info()->GetIDsOfNames(names, count, members); });
    return FAILED(guarded) ? guarded : result;
  }
  STDMETHODIMP Invoke(DISPID member, REFIID id, LCID locale, WORD flags, DISPPARAMS* arguments,
                      VARIANT* result, EXCEPINFO* exception, UINT* bad_argument) noexcept override {
    HRESULT outcome = S_OK;
    const HRESULT guarded = Guard(Self::kClass, [&] {
      const auto self = com::Ptr<IUnknown>::Share(static_cast<Default*>(this));
      outcome = Table().Invoke(static_cast<Default*>(this), id, member, locale, flags, arguments,
                               result, exception, bad_argument);
    });
    return FAILED(guarded) ? guarded : outcome;
  }

  STDMETHODIMP InterfaceSupportsErrorInfo(REFIID id) noexcept override {
    return IsDual<Default>(id) || (... || IsDual<Others>(id)) ? S_OK : S_FALSE;
  }

  STDMETHODIMP_(DWORD) AddConnection(DWORD kind, DWORD) noexcept override {
    if (!(kind & EXTCONN_STRONG)) return connections_;
    if (connections_ == 0) server_.AddClient();
    return ++connections_;
  }
  STDMETHODIMP_(DWORD) ReleaseConnection(DWORD kind, DWORD, BOOL) noexcept override {
    if (!(kind & EXTCONN_STRONG) || connections_ == 0) return connections_;
    if (--connections_ == 0) server_.RemoveClient();
    return connections_;
  }

 protected:
  explicit Object(Server& server) noexcept : server_(server) { server_.AddObject(); }
  ~Object() override {
    if (connections_ != 0) server_.RemoveClient();
    server_.RemoveObject();
  }

  Server& server() const noexcept { return server_; }

  // The body of a member. Holds the object, since a call that goes out may drop the last reference.
  template <class Body>
  HRESULT Do(Body&& body) noexcept {
    const auto self = com::Ptr<IUnknown>::Share(static_cast<Default*>(this));
    return Guard(Self::kClass, std::forward<Body>(body));
  }
  // A member with a result: a failed call never hands its caller garbage to free.
  template <class T, class Body>
  HRESULT Get(T* value, Body&& body) noexcept {
    if (!value) return FailWith(E_POINTER);
    *value = T{};
    return Do([&] { *value = body(); });
  }
  template <class Body>
  HRESULT GetBool(VARIANT_BOOL* value, Body&& body) noexcept {
    return Get(value, [&] { return com::ToVariantBool(body()); });
  }
  template <class Body>
  HRESULT GetVariant(VARIANT* value, Body&& body) noexcept {
    return Get(value, [&] { return body().Detach(); });
  }
  // A member that is given a variable of the caller's.
  template <class Given, class T, class Body>
  HRESULT GetFrom(Given* given, T* value, Body&& body) noexcept {
    return given ? Get(value, [&] { return body(*given); }) : FailWith(E_POINTER);
  }
  template <class Body>
  HRESULT GetText(BSTR* value, Body&& body) noexcept {
    return Get(value, [&] { return com::Bstr(body()).Detach(); });
  }

 private:
  template <class Interface>
  static bool IsDual(REFIID id) noexcept {
    return std::is_base_of_v<IDispatch, Interface> && id == __uuidof(Interface);
  }

  const DispatchTable& Table() { return server_.types().Table(__uuidof(Default)); }

  Server& server_;
  DWORD connections_ = 0;  // from outside of the process
};

}  // namespace pylon
