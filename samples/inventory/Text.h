#pragma once

#include <optional>
#include <string>
#include <string_view>

// Texts: of the CSV file, which may be in several encodings, and of the table's records.
namespace inventory {

// What is wrong with the file or the table as a whole; nothing has been written yet.
struct TableError {
  std::u16string reason;
};

// The system's code page.
class CodePage {
 public:
  virtual ~CodePage() = default;
  virtual std::u16string Decode(std::string_view bytes) const = 0;
};

struct FileText {
  std::u16string text;
  bool marked = false;  // by a byte-order mark, which is no part of the text
};
// UTF-8 or UTF-16 by the mark, else UTF-8 if it is valid, else the code page. TableError for what
// is no text.
FileText ReadFileText(std::string_view bytes, const CodePage& code_page);
// UTF-8, with a mark if there was one: some spreadsheets need it to recognise UTF-8.
std::string WriteFileText(const FileText& file);

std::string ToUtf8(std::u16string_view text);

// Every 16-bit unit by itself in one to three bytes: the form in which Pylon's streams read texts.
// Signatures are no characters at all, and keep their units so.
std::string UnitsToBytes(std::u16string_view units);
// Takes UTF-8's four bytes, too; nothing for what is neither.
std::optional<std::u16string> UnitsFromBytes(std::string_view bytes);
// The same, of whole characters only.
std::optional<std::u16string> FromUtf8(std::string_view bytes);

std::u16string Decimal(long long number);

}  // namespace inventory
