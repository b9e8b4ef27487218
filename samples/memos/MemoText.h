#pragma once

#include <string>
#include <string_view>

#include "Text.h"

// The forms of a memo: bytes of the handheld's code page in a record, Unicode in a text file, and
// the file name that its first line makes. Nothing here needs Windows.
namespace memos {

using sample::Decimal;
using sample::FromUtf8;
using sample::SystemText;
using sample::ToUtf8;

// The memo application of the handheld takes so many bytes and a final NUL.
inline constexpr size_t kMaxMemo = 4095;

struct FileMemo {
  std::string memo;        // as a record holds it: code page, LF, no final NUL
  std::u16string problem;  // why the file can't become a memo; empty when it can
};
// Reads a file: UTF-8 or UTF-16 by its byte-order mark, else UTF-8 if it is valid, else the code
// page. A text that is merely too long or blank has both its memo and the problem.
FileMemo ReadMemo(std::string_view bytes, const SystemText& system);

// A file: UTF-8 without a mark, CR LF.
std::string WriteMemo(std::string_view memo, const SystemText& system);

// The memo that a record holds: up to the first NUL, line ends as LF.
std::string MemoOfRecord(std::string_view bytes);

// The first line that isn't blank, without the blanks before it; up to 60 characters.
std::u16string FirstLine(std::u16string_view text);

// What a file of this memo is called, without ".txt": its first line, made fit for a file name;
// "Untitled" when there is none. Also fits for the folder of a category.
std::u16string NameFor(std::u16string_view text);

// Whether a file of this name, without its extension, was made for `name`: "Name" or "Name (2)".
bool IsNameOrNumbered(std::u16string_view stem, std::u16string_view name);

// The name, without its extension, for the PC's text of a memo that was changed on both sides:
// "Name (conflict)", also for a file that is called that or "Name (conflict) (2)" already.
std::u16string ConflictName(std::u16string_view stem);

}  // namespace memos
