#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <utility>

namespace pylon {

// The newest lines of a log and how wide each one is on the screen.
class LogWindowLines {
 public:
  static constexpr size_t kMost = 99;

  // Returns whether the oldest line left to make room.
  bool Add(std::u16string text, int width) {
    lines_.push_back({std::move(text), width});
    if (lines_.size() <= kMost) return false;
    lines_.pop_front();
    return true;
  }
  void Clear() noexcept { lines_.clear(); }
  // Measures every line again.
  void Measure(const std::function<int(const std::u16string&)>& width_of) {
    for (Line& line : lines_) line.width = width_of(line.text);
  }
  int Widest() const noexcept {
    int widest = 0;
    for (const Line& line : lines_) widest = std::max(widest, line.width);
    return widest;
  }
  size_t size() const noexcept { return lines_.size(); }

 private:
  struct Line {
    std::u16string text;
    int width;
  };
  std::deque<Line> lines_;  // oldest first, <= kMost
};

}  // namespace pylon
