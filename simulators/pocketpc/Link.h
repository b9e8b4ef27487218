#pragma once

#include <cstdint>
#include <string_view>

#include "../common/LinkFaults.h"
#include "Errors.h"
#include "Settings.h"

namespace pocketpc {

// The name as the log has it, of a function whose calls cost time and count; null when there is
// none.
const wchar_t* FindCountedFunction(std::wstring_view name) noexcept;

// The cable. What doesn't get through throws LinkError.
class Link {
 public:
  explicit Link(const Settings& settings) : settings_(settings), faults_(settings.link) {}

  // A call begins.
  void Begin(const wchar_t* function) {
    if (!faults_.Begin(function)) Lose();
  }
  // See simulator::LinkFaults.
  uint64_t Transfer(uint64_t size) { return faults_.Transfer(size); }

  [[noreturn]] void Lose() {
    faults_.Lose();
    throw LinkError{static_cast<HRESULT>(settings_.lost_error)};
  }
  bool lost() const noexcept { return faults_.IsLost(); }

 private:
  const Settings& settings_;
  simulator::LinkFaults faults_;
};

}  // namespace pocketpc
