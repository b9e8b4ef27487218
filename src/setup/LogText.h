#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/AnsiCodePage.h"
#include "base/Bytes.h"

namespace pylon {

// The end of a sync's log as lines of a list, oldest first.
//
// A line of the file is time, tab, text; one without a tab goes on with the text above it. Owns the
// text; views into it live as long as the object, which stays where it is.
class LogText {
 public:
  // How much of a longer file is read.
  static constexpr size_t kMostBytes = size_t{8} << 20;

  LogText() = default;
  LogText(const LogText&) = delete;
  LogText& operator=(const LogText&) = delete;

  // `bytes` are those of the file from `offset` on. Unless that is 0 they begin within a line,
  // which is left out. `unicode`: UTF-16 as the file's mark says.
  void Take(ByteSpan bytes, uint64_t offset, bool unicode, const AnsiCodePage& code_page);

  size_t size() const noexcept { return lines_.size(); }
  std::u16string_view Time(size_t line) const noexcept;
  std::u16string_view Text(size_t line) const noexcept;
  bool IsError(size_t line) const noexcept { return lines_[line].error; }
  uint64_t left_out() const noexcept { return left_out_; }  // bytes at the file's begin

  // The lines that hold the words, in any case; all for an empty text. A line that goes on belongs
  // to the one above only in that it is an error too.
  std::vector<size_t> Matching(std::u16string_view words) const;

 private:
  struct Line {
    size_t begin;
    size_t tab;  // == begin: no time
    size_t end;
    bool error;
  };
  void Split();

  std::u16string text_;
  std::vector<Line> lines_;
  uint64_t left_out_ = 0;
};

// Whether a line of the log tells of something that went wrong.
bool IsErrorText(std::u16string_view text);

}  // namespace pylon
