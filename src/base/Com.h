#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "base/Bytes.h"
#include "base/Win32.h"

// After Win32.h, which defines how <windows.h> is read.
#include <oaidl.h>
#include <ole2.h>
#include <oleauto.h>

namespace pylon::com {

// Owns one reference to an interface.
template <class T>
class Ptr {
 public:
  Ptr() noexcept = default;
  Ptr(std::nullptr_t) noexcept {}
  Ptr(const Ptr& other) noexcept : Ptr(Share(other.get())) {}
  Ptr(Ptr&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
  template <class U>
  Ptr(Ptr<U> other) noexcept : pointer_(other.Detach()) {}
  Ptr& operator=(Ptr other) noexcept {
    std::swap(pointer_, other.pointer_);
    return *this;
  }
  ~Ptr() {
    if (pointer_) pointer_->Release();
  }

  // Takes over a reference that the caller owns, or adds one of its own.
  static Ptr Own(T* pointer) noexcept {
    Ptr result;
    result.pointer_ = pointer;
    return result;
  }
  static Ptr Share(T* pointer) noexcept {
    if (pointer) pointer->AddRef();
    return Own(pointer);
  }

  T* get() const noexcept { return pointer_; }
  T* operator->() const noexcept { return pointer_; }
  explicit operator bool() const noexcept { return pointer_ != nullptr; }
  T* Detach() noexcept { return std::exchange(pointer_, nullptr); }
  // For calls that return a reference in a pointer, or that take one in and hand one out.
  T** Receive() noexcept {
    *this = nullptr;
    return &pointer_;
  }
  T** InOut() noexcept { return &pointer_; }

  // The same object's other interface; null when it has none.
  template <class U>
  Ptr<U> As() const noexcept {
    Ptr<U> result;
    if (pointer_) {
      (void)pointer_->QueryInterface(__uuidof(U), reinterpret_cast<void**>(result.Receive()));
    }
    return result;
  }

 private:
  T* pointer_ = nullptr;
};

template <class T, class... Args>
Ptr<T> Make(Args&&... args) {
  return Ptr<T>::Own(new T(std::forward<Args>(args)...));
}

// Owns one BSTR; a null one is an empty text.
class Bstr {
 public:
  Bstr() noexcept = default;
  explicit Bstr(std::u16string_view text);  // error 7 when memory is short
  Bstr(Bstr&& other) noexcept : text_(std::exchange(other.text_, nullptr)) {}
  Bstr& operator=(Bstr&& other) noexcept {
    std::swap(text_, other.text_);
    return *this;
  }
  ~Bstr() { ::SysFreeString(text_); }

  BSTR get() const noexcept { return text_; }
  BSTR Detach() noexcept { return std::exchange(text_, nullptr); }
  BSTR* Receive() noexcept {
    ::SysFreeString(Detach());
    return &text_;
  }

 private:
  BSTR text_ = nullptr;
};

// The text of a BSTR that the caller owns; it may hold NULs.
std::u16string Text(BSTR text);

// Owns one VARIANT.
class Variant {
 public:
  Variant() noexcept { ::VariantInit(&value_); }
  explicit Variant(int32_t value) noexcept : Variant() {
    V_VT(&value_) = VT_I4;
    V_I4(&value_) = value;
  }
  Variant(Variant&& other) noexcept : value_(other.Detach()) {}
  Variant(const Variant&) = delete;
  Variant& operator=(Variant other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }
  ~Variant() { ::VariantClear(&value_); }

  VARIANT* get() noexcept { return &value_; }
  const VARIANT* get() const noexcept { return &value_; }
  VARIANT* operator->() noexcept { return &value_; }
  const VARIANT* operator->() const noexcept { return &value_; }
  VARIANT Detach() noexcept {
    const VARIANT value = value_;
    ::VariantInit(&value_);
    return value;
  }
  VARIANT* Receive() noexcept {
    ::VariantClear(&value_);
    return &value_;
  }

 private:
  VARIANT value_;
};

// Owns the texts that a failed call by name leaves.
struct Exception : EXCEPINFO {
  Exception() noexcept : EXCEPINFO{} {}
  Exception(Exception&& other) noexcept
      : EXCEPINFO(std::exchange(static_cast<EXCEPINFO&>(other), EXCEPINFO{})) {}
  ~Exception() {
    ::SysFreeString(bstrSource);
    ::SysFreeString(bstrDescription);
    ::SysFreeString(bstrHelpFile);
  }

  HRESULT result() const noexcept {
    if (FAILED(scode)) return scode;
    // Servers of the 16-bit days give a number of their own instead.
    return wCode ? static_cast<HRESULT>(0x80040000U + wCode) : DISP_E_EXCEPTION;
  }
};

// Keeps an interface of this process reachable from others, with one object, for as long as it
// lives: the release of the last object of its kind by another process then finds nothing to shut
// down. Shutting down waits for calls under way, and in Wine at times for one that has just ended,
// for ever.
class ReachableInterface {
 public:
  ReachableInterface(REFIID interface_id, IUnknown* object);
  ~ReachableInterface();
  ReachableInterface(ReachableInterface&&) noexcept = default;

 private:
  Ptr<IStream> marshalled_;
};

// A zero-based array of unsigned bytes.
Variant FromBytes(ByteSpan bytes, int32_t lower_bound = 0);

struct ByteArray {
  Bytes bytes;
  int32_t lower_bound = 0;
};
// The bytes of an array of unsigned bytes, or of an array of values that convert to bytes (scripts
// have no other arrays), by value or by reference. Anything else raises error 13, a value that is
// no byte error 6, an array of several dimensions error 9.
ByteArray ToBytes(const VARIANT& value);

VARIANT_BOOL ToVariantBool(bool value) noexcept;

// Raises AutomationError for a failed call to a foreign object; reads the error that the
// object left, when `interface_id` supports that.
void Check(HRESULT result, IUnknown* object = nullptr, REFIID interface_id = IID_NULL);

// Basic's number for an HRESULT: n for 0x800A0000 + n, the Basic numbers of the well-known DISP_E_
// and E_ codes, any other as it is (signed).
int32_t ErrorNumberOf(HRESULT result) noexcept;

}  // namespace pylon::com
