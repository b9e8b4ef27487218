#pragma once

#include <optional>
#include <string>
#include <string_view>

// Text in the forms that a conduit meets: Unicode on the PC, bytes of a code page in the records of
// the built-in applications, UTF-8 in those of others, any of them in a file. Needs no Windows.
namespace sample {

// Text as this system sees it.
class SystemText {
 public:
  virtual ~SystemText() = default;

  // Of the code page.
  virtual std::u16string Decode(std::string_view bytes) const = 0;
  // Nothing when the code page lacks a character: no look-alikes, no question marks.
  virtual std::optional<std::string> Encode(std::u16string_view text) const = 0;
  // Equal for texts that differ in case only.
  virtual std::u16string FoldCase(std::u16string_view text) const = 0;
};

// Nothing for bytes that are not UTF-8. A character of two 16-bit units may have the four bytes of
// UTF-8 or, as in Pylon's streams, three for each unit.
std::optional<std::u16string> FromUtf8(std::string_view bytes);
std::string ToUtf8(std::u16string_view text);  // half a character becomes '?'

// Every 16-bit unit by itself in one to three bytes, the form in which Pylon's streams read texts.
// The units of signatures are not characters, and go through it unchanged.
std::string UnitsToBytes(std::u16string_view units);
std::optional<std::u16string> UnitsFromBytes(std::string_view bytes);

std::u16string Decimal(long long number);

// The text of a file without its byte-order mark; nothing when the bytes are not of the encoding.
struct FileText {
  enum class Encoding { kUtf8, kUtf16, kCodePage };
  Encoding encoding = Encoding::kUtf8;
  bool marked = false;
  std::optional<std::u16string> text;
};
// UTF-8 or UTF-16 by its mark, else UTF-8 if it is valid, else the code page.
FileText ReadFileText(std::string_view bytes, const SystemText& system);

inline constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

}  // namespace sample
