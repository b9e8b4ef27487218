#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Text.h"
#include "files/DeviceProgress.h"

namespace pylon::testing {

// Notes what would be shown, and stops when it is told to.
class TestProgress final : public DeviceProgress {
 public:
  void ShowFile(std::u16string_view name, int32_t size) noexcept override {
    steps.push_back(ToUtf8(name) + " of " + std::to_string(size));
  }
  void Advance(int32_t offset) noexcept override {
    steps.push_back(std::to_string(offset));
    Yield();
  }
  void HideFile() noexcept override { steps.emplace_back("hidden"); }
  bool IsStopped() const noexcept override { return stopped || yields >= yields_to_stop; }
  void Yield() noexcept override {
    ++yields;
    if (on_yield) on_yield();
  }

  std::vector<std::string> steps;
  std::function<void()> on_yield;
  bool stopped = false;
  int yields = 0, yields_to_stop = 1'000'000;
};

}  // namespace pylon::testing
