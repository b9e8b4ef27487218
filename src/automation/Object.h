#pragma once

#include <atomic>
#include <exception>
#include <new>

#include "automation/Library.h"
#include "automation/Server.h"
#include "base/AutomationError.h"
#include "base/Com.h"
#include "base/Text.h"

namespace pylon {

// A class of the type library.
struct ClassInfo {
  const CLSID& id;
  const char16_t* prog_id;  // also the source of its errors
};

// Leaves the error for GetErrorInfo and returns its HRESULT: 0x800A0000 + number for Basic's
// numbers, the number itself when it is an HRESULT.
HRESULT Raise(const ClassInfo& raiser, const AutomationError& error) noexcept;

// Returns `result`, a failure that says it all; the description of an older error goes, so that it
// does not pass for this one's.
inline HRESULT Refuse(HRESULT result) noexcept {
  ::SetErrorInfo(0, nullptr);
  return result;
}

// The one place where an exception becomes an HRESULT.
template <class Body>
HRESULT Guard(const ClassInfo& raiser, Body&& body) noexcept try {
  body();
  return S_OK;
} catch (const AutomationError& error) {
  return Raise(raiser, error);
} catch (const std::bad_alloc&) {
  return Refuse(E_OUTOFMEMORY);
} catch (const std::exception& error) {
  // Nothing of ours ends here; if it does, its own words are the best lead.
  try {
    return Raise(raiser, AutomationError(51, {}, FromUtf8(error.what())));
  } catch (...) {
    return Refuse(E_UNEXPECTED);
  }
}

// IUnknown, IDispatch and ISupportErrorInfo for an automation class. `Interfaces` are dual ones,
// the default first: late-bound calls go to it, whichever of them they come in by, so the others
// use its member ids. `Self` has a static `kClass`.
//
// Objects are made with com::Make and belong to one STA thread. COM tells one that it hands to
// somebody outside of the process, which counts as a client of the server then.
template <class Self, class Default, class... Others>
class Object : public Default,
               public Others...,
               public ISupportErrorInfo,
               public IExternalConnection {
 public:
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  STDMETHODIMP QueryInterface(REFIID id, void** object) noexcept override {
    if (!object) return E_POINTER;
    *object = Find(id);
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() noexcept override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() noexcept override {
    const ULONG left = --references_;
    if (left == 0) {
      // A destructor may call out, and who is called may take and drop a reference meanwhile.
      references_ = 1;
      delete static_cast<Self*>(this);
    }
    return left;
  }

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
    return id == __uuidof(Default) || (... || (id == __uuidof(Others))) ? S_OK : S_FALSE;
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
  ~Object() {
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
    if (!value) return Refuse(E_POINTER);
    *value = T{};
    return Do([&] { *value = body(); });
  }
  template <class Body>
  HRESULT GetBool(VARIANT_BOOL* value, Body&& body) noexcept {
    return Get(value, [&] { return com::ToVariantBool(body()); });
  }
  template <class Body>
  HRESULT GetText(BSTR* value, Body&& body) noexcept {
    return Get(value, [&] { return com::Bstr(body()).Detach(); });
  }

 private:
  void* Find(REFIID id) noexcept {
    if (id == IID_IUnknown || id == IID_IDispatch || id == __uuidof(Default)) {
      return static_cast<Default*>(this);
    }
    if (id == IID_ISupportErrorInfo) return static_cast<ISupportErrorInfo*>(this);
    if (id == IID_IExternalConnection) return static_cast<IExternalConnection*>(this);
    void* found = nullptr;
    ((id == __uuidof(Others) ? void(found = static_cast<Others*>(this)) : void()), ...);
    return found ? found : static_cast<Self*>(this)->FindPrivate(id);
  }
  // Interfaces that only this process knows; see NativeStream.
  void* FindPrivate(REFIID) noexcept { return nullptr; }

  const DispatchTable& Table() { return server_.types().Table(__uuidof(Default)); }

  Server& server_;
  std::atomic<ULONG> references_{1};
  DWORD connections_ = 0;  // from outside of the process

  friend Self;
};

}  // namespace pylon
