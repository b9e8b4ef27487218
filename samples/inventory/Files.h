#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "Text.h"

namespace inventory {

using sample::Decimal;
using sample::FromUtf8;
using sample::ToUtf8;

// What is wrong with the file or the table as a whole; nothing has been written yet.
struct TableError {
  std::u16string reason;
};
struct FileError : TableError {};

// The whole file; nothing when there is none. FileError when it can't be read.
std::optional<std::string> ReadBytes(const std::filesystem::path& path);

// Writes under another name in the same folder, then renames: there is never half a file. FileError
// when that fails, and the old file is as it was.
void WriteBytes(const std::filesystem::path& path, std::string_view bytes);

struct TableText {
  std::u16string text;
  bool marked = false;  // by a byte-order mark, which is no part of the text
};
// In any encoding; TableError when the bytes are not text.
TableText ReadText(std::string_view bytes, const sample::SystemText& system);
// UTF-8, with a mark if there was one: some spreadsheets need it to recognise UTF-8.
std::string WriteText(const TableText& file);

}  // namespace inventory
