#pragma once

// The little that an in-process component needs of COM: owners for interfaces, texts and arrays,
// and errors that cross an interface with their description.

#include <windows.h>

#include <oleauto.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>
#include <utility>

namespace sample::com {

inline const wchar_t* Wide(const std::u16string& text) {
  return reinterpret_cast<const wchar_t*>(text.c_str());
}

// Basic's error numbers, which Pylon shows as they are.
enum ErrorNumber {
  kUserInterrupt = 18,
  kDeviceError = 57,
  kPathAccess = 75,
  kPathNotFound = 76,
};

// An error for the caller of the component, or one that a call has returned.
struct Error {
  Error(ErrorNumber number, std::u16string text)
      : result(static_cast<HRESULT>(0x800A0000 + number)), description(std::move(text)) {}
  Error(HRESULT failure, std::u16string text) : result(failure), description(std::move(text)) {}

  HRESULT result;
  std::u16string description;
};

// Owns one reference. `&owner` is for an [out] argument and drops what the owner held;
// `owner.InOut()` is for an [in, out] argument, whose object the callee may replace.
template <class T>
class Ptr {
 public:
  Ptr() noexcept = default;
  explicit Ptr(T* shared) noexcept : pointer_(shared) {
    if (pointer_) pointer_->AddRef();
  }
  Ptr(Ptr&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
  Ptr& operator=(Ptr other) noexcept {
    std::swap(pointer_, other.pointer_);
    return *this;
  }
  ~Ptr() {
    if (pointer_) pointer_->Release();
  }

  T* operator->() const noexcept { return pointer_; }
  T* get() const noexcept { return pointer_; }
  explicit operator bool() const noexcept { return pointer_ != nullptr; }
  T** operator&() noexcept {
    *this = {};
    return &pointer_;
  }
  T** InOut() noexcept { return &pointer_; }

 private:
  T* pointer_ = nullptr;
};

// Owns one BSTR.
class Bstr {
 public:
  Bstr() noexcept = default;
  explicit Bstr(std::u16string_view text)
      : text_(::SysAllocStringLen(reinterpret_cast<const wchar_t*>(text.data()),
                                  static_cast<UINT>(text.size()))) {
    if (!text_) throw std::bad_alloc();
  }
  Bstr(const Bstr&) = delete;
  Bstr& operator=(const Bstr&) = delete;
  ~Bstr() { ::SysFreeString(text_); }

  operator BSTR() const noexcept { return text_; }
  // For a result: what was held is freed.
  BSTR* operator&() noexcept {
    ::SysFreeString(Detach());
    return &text_;
  }
  BSTR Detach() noexcept { return std::exchange(text_, nullptr); }
  std::u16string Text() const {
    return {reinterpret_cast<const char16_t*>(text_), ::SysStringLen(text_)};
  }

 private:
  BSTR text_ = nullptr;
};

// Owns one VARIANT that holds an array of bytes, or nothing.
class ByteArray {
 public:
  ByteArray() noexcept { ::VariantInit(&value_); }
  explicit ByteArray(std::string_view bytes) : ByteArray() {
    value_.parray = ::SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(bytes.size()));
    if (!value_.parray) throw std::bad_alloc();
    value_.vt = VT_ARRAY | VT_UI1;
    std::memcpy(value_.parray->pvData, bytes.data(), bytes.size());
  }
  ByteArray(const ByteArray&) = delete;
  ByteArray& operator=(const ByteArray&) = delete;
  ~ByteArray() { ::VariantClear(&value_); }

  const VARIANT& get() const noexcept { return value_; }
  // For a result: what was held is freed.
  VARIANT* operator&() noexcept {
    ::VariantClear(&value_);
    return &value_;
  }
  std::string_view bytes() const noexcept {
    if (value_.vt != (VT_ARRAY | VT_UI1) || !value_.parray) return {};
    return {static_cast<const char*>(value_.parray->pvData), value_.parray->rgsabound[0].cElements};
  }

 private:
  VARIANT value_;
};

// Throws what a failed call has left as its error.
inline void Check(HRESULT result) {
  if (SUCCEEDED(result)) return;
  Ptr<IErrorInfo> info;
  Bstr description;
  if (::GetErrorInfo(0, &info) == S_OK) info->GetDescription(&description);
  if (description) throw Error(result, description.Text());
  char text[24];
  const int length = std::snprintf(text, sizeof text, "Error 0x%08lX", static_cast<long>(result));
  throw Error(result, std::u16string(text, text + length));
}

// A new object of one of Pylon's classes. Inside Pylon's own process this is a direct pointer.
template <class T>
Ptr<T> Create(REFCLSID class_id) {
  Ptr<T> object;
  Check(::CoCreateInstance(class_id, nullptr, CLSCTX_ALL, __uuidof(T),
                           reinterpret_cast<void**>(&object)));
  return object;
}

// Hands an error to the caller: Pylon shows number, source and description.
inline HRESULT Raise(REFIID interface_id, const wchar_t* source, const Error& error) noexcept {
  Ptr<ICreateErrorInfo> creator;
  Ptr<IErrorInfo> info;
  if (SUCCEEDED(::CreateErrorInfo(&creator))) {
    creator->SetGUID(interface_id);
    creator->SetSource(const_cast<wchar_t*>(source));
    creator->SetDescription(const_cast<wchar_t*>(Wide(error.description)));
    if (SUCCEEDED(creator->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)))) {
      ::SetErrorInfo(0, info.get());
    }
  }
  return error.result;
}

// Every method of an interface ends in it: no exception crosses COM.
template <class Body>
HRESULT Guard(REFIID interface_id, const wchar_t* source, Body&& body) noexcept try {
  body();
  return S_OK;
} catch (const Error& error) {
  return Raise(interface_id, source, error);
} catch (const std::bad_alloc&) {
  return E_OUTOFMEMORY;
} catch (const std::exception& error) {
  const std::string_view what = error.what();
  return Raise(interface_id, source, Error(kDeviceError, std::u16string(what.begin(), what.end())));
}

}  // namespace sample::com
