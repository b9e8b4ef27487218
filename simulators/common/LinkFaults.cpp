#include "LinkFaults.h"

#include <windows.h>

#include <algorithm>
#include <chrono>

namespace simulator {

bool LinkFaults::Begin(std::wstring_view function) {
  if (lost_) return false;
  Spend(settings_.call_delay);
  const auto& at = settings_.lost_at;
  const bool is_at = at && at->function == function && ++calls_of_lost_at_ == at->number;
  lost_ = is_at || (settings_.lost_after_calls && calls_ >= *settings_.lost_after_calls) ||
          (settings_.lost_after_bytes && bytes_ >= *settings_.lost_after_bytes);
  ++calls_;
  return !lost_;
}

uint64_t LinkFaults::Transfer(uint64_t size) {
  const uint64_t passed =
      settings_.lost_after_bytes ? std::min(size, *settings_.lost_after_bytes - bytes_) : size;
  bytes_ += passed;
  if (settings_.bandwidth != 0) {
    Spend(1000.0 * static_cast<double>(passed) / static_cast<double>(settings_.bandwidth));
  }
  return passed;
}

// What Windows oversleeps is taken off the next wait, so that many short ones add up right.
void LinkFaults::Spend(double milliseconds) {
  if (milliseconds == 0) return;
  owed_ += milliseconds;
  if (owed_ < 1) return;
  const auto start = std::chrono::steady_clock::now();
  ::Sleep(static_cast<DWORD>(owed_));
  const std::chrono::duration<double, std::milli> slept = std::chrono::steady_clock::now() - start;
  owed_ -= slept.count();
}

}  // namespace simulator
