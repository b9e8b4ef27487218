#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace simulator {

struct LostAt {
  std::wstring function;
  uint64_t number = 1;  // of its calls, from 1
};

struct LinkSettings {
  uint32_t call_delay = 0;  // in milliseconds
  uint64_t bandwidth = 0;   // in bytes a second; 0: no limit
  std::optional<uint64_t> lost_after_calls;
  std::optional<uint64_t> lost_after_bytes;
  std::optional<LostAt> lost_at;
};

// The cable: how long calls take, and when it breaks. The settings outlive it.
class LinkFaults {
 public:
  explicit LinkFaults(const LinkSettings& settings) : settings_(settings) {}

  bool IsLost() const noexcept { return lost_; }
  void Lose() noexcept { lost_ = true; }

  // A call begins and takes its time; false when the link is lost or this call is its end.
  bool Begin(std::wstring_view function);

  // So many of the size bytes get through; when fewer, do with them what the device would, then
  // call Lose.
  uint64_t Transfer(uint64_t size);

 private:
  void Spend(double milliseconds);

  const LinkSettings& settings_;
  uint64_t calls_ = 0;
  uint64_t bytes_ = 0;
  uint64_t calls_of_lost_at_ = 0;
  double owed_ = 0;  // milliseconds still to wait; negative after an oversleep
  bool lost_ = false;
};

}  // namespace simulator
