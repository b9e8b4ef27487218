#pragma once

#include <optional>
#include <utility>

#include "hotsync/LateBound.h"
#include "hotsync/SuiteContract.h"

namespace pylon {

// Shared by a handheld and its databases: whether the link still holds, and what a failed call of
// the suite means. A lost link stays lost.
class SuiteLink {
 public:
  static constexpr char16_t kClosedText[] = u"Connection to HotSync has been closed.";

  bool lost() const noexcept { return lost_; }

  // Makes calls of the suite and raises the errors that Handheld.h names instead of theirs.
  template <class Body>
  auto Reach(Body&& body) {
    RequireOpen();
    try {
      return body();
    } catch (const LateBoundError& error) {
      Raise(error);
    }
  }
  // The same for something that may be missing: `absent` then.
  template <class Result, class Body>
  Result ReachIfThere(Result absent, Body&& body) {
    RequireOpen();
    try {
      return body();
    } catch (const LateBoundError& error) {
      if (FailureOf(error.result()) == suite::Failure::kNotThere) return absent;
      Raise(error);
    }
  }

  static suite::Failure FailureOf(HRESULT result) noexcept;

 private:
  void RequireOpen() const;  // error 57 when lost
  [[noreturn]] void Raise(const LateBoundError& error);

  bool lost_ = false;
};

// A value of the suite in the type that is needed; error 51 when it does not convert.
com::Variant Converted(const com::Variant& value, VARTYPE type);

// The bytes of a value; null, which is not the same as no bytes, when the suite gave nothing.
// Error 51 when it is something else.
std::optional<Bytes> ToRecordData(const com::Variant& value);

}  // namespace pylon
