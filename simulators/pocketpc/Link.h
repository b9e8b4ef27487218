#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "Settings.h"

namespace pocketpc {

// The name as the log has it, of a function whose calls cost time and count; null when there is
// none.
const wchar_t* FindCountedFunction(std::wstring_view name) noexcept;

// The cable: how long calls take, and when it breaks.
class Link {
 public:
  explicit Link(const Settings& settings) : settings_(settings) {}

  // A call begins. Throws LinkError when the link is lost or this call is its end.
  void Begin(const wchar_t* function);

  // So many of the size bytes get through; when fewer, the link is lost: do with them what the
  // device would, then call Lose.
  uint64_t Transfer(uint64_t size);

  [[noreturn]] void Lose();
  bool lost() const noexcept { return lost_; }

 private:
  void Spend(double milliseconds);

  const Settings& settings_;
  uint64_t calls_ = 0;
  uint64_t bytes_ = 0;
  std::map<std::wstring_view, uint64_t> calls_of_;  // by function
  double owed_ = 0;  // milliseconds still to wait; negative after an oversleep
  bool lost_ = false;
};

}  // namespace pocketpc
