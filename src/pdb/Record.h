#pragma once

#include <cstdint>
#include <utility>

#include "base/Bytes.h"

namespace pylon {

// The bytes of a record or block that was read: a view of what the database has in memory, or bytes
// of its own where there are none to view. A view ends with the next change of the database and
// with its close.
class RecordData {
 public:
  RecordData() = default;
  RecordData(Bytes own) : own_(std::move(own)) {}
  static RecordData View(ByteSpan bytes) {
    RecordData data;
    data.view_ = bytes;
    return data;
  }

  ByteSpan bytes() const { return own_.empty() ? view_ : ByteSpan(own_); }
  operator ByteSpan() const { return bytes(); }

 private:
  Bytes own_;
  ByteSpan view_;  // empty when own_ is not
};

// A record as it was read, from a file or a handheld.
struct Record {
  int32_t index = 0;       // 1-based; links to handhelds convert where they count from 0
  int32_t id = 0;          // 24 bits; 0: none
  int16_t category = 0;    // 0 to 15
  int32_t attributes = 0;  // eRecordAttribute, and the handheld's busy bit 0x20
  RecordData data;
};

}  // namespace pylon
