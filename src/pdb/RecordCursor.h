#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

namespace pylon {

// Where the next read of a database starts, and which record was read last. Indexes are 1-based.
//
// The position is the index of a record, 0 before the first one or record count + 1 at the end. A
// record that was delivered while the position stays on it is not read again: reading goes on
// behind it.
class RecordCursor {
 public:
  RecordCursor() = default;
  explicit RecordCursor(int32_t position) : position_(position) {}

  int32_t position() const { return position_; }
  int32_t last_read() const { return last_read_; }  // 0: none, or it is gone
  int32_t Next() const { return delivered_ ? position_ + 1 : std::max(position_, 1); }
  // Whether the removal of a record, whichever it is, leaves the cursor as it is.
  bool IsAtStart() const { return position_ <= 1 && !delivered_; }

  void MoveTo(int32_t position) {
    position_ = std::max(position, 0);
    delivered_ = false;
  }
  void StayOn(int32_t index) {
    position_ = index;
    delivered_ = true;
  }
  void SetLastRead(int32_t index) { last_read_ = index; }

  // The record at the index is gone and the cursor stays with the record that it is on. No index:
  // the cursor is at the start or at the end.
  void OnRemoved(std::optional<int32_t> index) {
    if (!index) {
      if (position_ > 1) --position_;
      return;
    }
    if (*index == position_) delivered_ = false;
    if (*index < position_) --position_;
    if (*index == last_read_) last_read_ = 0;
    if (*index < last_read_) --last_read_;
  }

 private:
  int32_t position_ = 0;
  bool delivered_ = false;
  int32_t last_read_ = 0;
};

}  // namespace pylon
