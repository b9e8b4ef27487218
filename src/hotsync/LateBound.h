#pragma once

#include <array>
#include <span>
#include <vector>

#include "base/AutomationError.h"
#include "base/Com.h"

namespace pylon {

// A failed late-bound call: also its HRESULT, that of the exception when the member raised one. The
// description is the object's, or the system's for the HRESULT.
class LateBoundError final : public AutomationError {
 public:
  LateBoundError(HRESULT result, std::u16string source, std::u16string description);

  HRESULT result() const noexcept { return result_; }

 private:
  HRESULT result_;
};

// An argument of a late-bound call; borrows what it is made of.
class Argument {
 public:
  Argument(int32_t value) noexcept;
  Argument(const com::Bstr& text) noexcept;
  Argument(const com::Variant& value) noexcept : value_(*value.get()) {}
  // By reference: the member may change the variable.
  explicit Argument(LONG* variable) noexcept;
  explicit Argument(com::Variant* variable) noexcept;
  static Argument Bool(bool value) noexcept;

  const VARIANT& value() const noexcept { return value_; }

 private:
  Argument() noexcept { ::VariantInit(&value_); }

  VARIANT value_;
};

// An object whose members are known by name only. Each name is resolved when it is first used,
// once.
class LateBoundObject {
 public:
  LateBoundObject(com::Ptr<IDispatch> object, std::span<const wchar_t* const> names);

  // Arguments in the order of the parameters. Raises LateBoundError.
  com::Variant Invoke(size_t member, WORD flags, std::span<const Argument> arguments);

 private:
  DISPID IdOf(size_t member);

  com::Ptr<IDispatch> object_;
  std::span<const wchar_t* const> names_;
  std::vector<DISPID> ids_;  // DISPID_UNKNOWN: not resolved yet
};

// The same with the members of `Members`: an enum `Member` and their names, `kNames`.
template <class Members>
class LateBound {
 public:
  using Member = typename Members::Member;

  explicit LateBound(com::Ptr<IDispatch> object) : object_(std::move(object), Members::kNames) {}
  // From the value that a call returned; error 51 when it is not an object.
  explicit LateBound(com::Variant value);

  // Calls a method or reads a property: languages without the difference pass both flags.
  template <class... Arguments>
  com::Variant Call(Member member, const Arguments&... arguments) {
    const std::array<Argument, sizeof...(Arguments)> list = {Argument(arguments)...};
    return object_.Invoke(member, DISPATCH_METHOD | DISPATCH_PROPERTYGET, list);
  }
  void Put(Member member, const Argument& value) {
    object_.Invoke(member, DISPATCH_PROPERTYPUT, {&value, 1});
  }

 private:
  LateBoundObject object_;
};

// The object in a value; error 51 when there is none.
com::Ptr<IDispatch> ToObject(const com::Variant& value);

template <class Members>
LateBound<Members>::LateBound(com::Variant value) : LateBound(ToObject(value)) {}

}  // namespace pylon
