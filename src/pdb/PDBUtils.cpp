#include "pdb/PDBUtils.h"

#include <cmath>

#include "base/AutomationError.h"

namespace pylon {
namespace {

constexpr double kTwoTo32 = 4294967296.0;
constexpr int32_t kTwoTo16 = 65536;
constexpr double kSecondsPerDay = 86400;
constexpr Date kPalmEpoch = 1462;  // 1904-01-01

}  // namespace

int32_t PDBUtils::UnsignedToLong(double value) const {
  if (!(value >= 0 && value < kTwoTo32)) throw Overflow();  // also not a number
  return static_cast<int32_t>(static_cast<uint32_t>(value));
}

double PDBUtils::LongToUnsigned(int32_t value) const { return static_cast<uint32_t>(value); }

int16_t PDBUtils::UnsignedToInteger(int32_t value) const {
  if (value < 0 || value >= kTwoTo16) throw Overflow();
  return static_cast<int16_t>(value);
}

int32_t PDBUtils::IntegerToUnsigned(int16_t value) const { return static_cast<uint16_t>(value); }

Date PDBUtils::PalmLongToDate(int32_t d) const {
  return kPalmEpoch + std::nearbyint(LongToUnsigned(d) / kSecondsPerDay);
}

int32_t PDBUtils::DateToPalmLong(Date d) const {
  return UnsignedToLong(ToDateParts(d - kPalmEpoch).day * kSecondsPerDay);
}

Date PDBUtils::PalmIntegerToTime(int16_t minutes) const {
  return IntegerToUnsigned(minutes) / (24.0 * 60.0);
}

int32_t PDBUtils::PalmIDtoLong(std::u16string_view id) const {
  if (id.size() != 4) return 0;
  uint32_t value = 0;
  for (const char16_t c : id) value = value << 8 | code_page_->Encode(c);
  return static_cast<int32_t>(value);
}

std::u16string PDBUtils::PalmLongtoId(int32_t id) const {
  const auto value = static_cast<uint32_t>(id);
  std::u16string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    text.push_back(code_page_->Decode(static_cast<uint8_t>(value >> shift)));
  }
  return text;
}

Bytes PDBUtils::ToUTF8(int32_t code) const {
  if (code < 0 || code > 0xFFFF) throw InvalidArgument();
  const auto byte = [](int32_t value) { return static_cast<std::byte>(value); };
  if (code < 0x80) return {byte(code)};
  if (code < 0x800) return {byte(0xC0 | code >> 6), byte(0x80 | (code & 0x3F))};
  return {byte(0xE0 | code >> 12), byte(0x80 | (code >> 6 & 0x3F)), byte(0x80 | (code & 0x3F))};
}

int32_t PDBUtils::ToUTF16(ByteSpan bytes) const {
  const auto bits = [bytes](size_t i, int32_t mask) {
    return std::to_integer<int32_t>(bytes[i]) & mask;
  };
  if (bytes.size() < 2) throw SubscriptOutOfRange();
  if (bits(0, 0xFF) < 0xE0) return bits(0, 31) * 64 + bits(1, 63);
  if (bytes.size() < 3) throw SubscriptOutOfRange();
  return bits(0, 15) * 4096 + bits(1, 63) * 64 + bits(2, 63);
}

int32_t PDBUtils::UTF8Length(std::u16string_view text) const {
  int32_t length = 0;
  for (const char16_t c : text) length += code_page_->Encode(c) > kLastRawCode ? 2 : 1;
  return length;
}

}  // namespace pylon
