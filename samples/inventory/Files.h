#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "Text.h"

namespace inventory {

struct FileError : TableError {};

// The whole file; nothing when there is none. FileError when it can't be read.
std::optional<std::string> ReadBytes(const std::filesystem::path& path);

// Writes under another name in the same folder, then renames: there is never half a file. FileError
// when that fails, and the old file is as it was.
void WriteBytes(const std::filesystem::path& path, std::string_view bytes);

}  // namespace inventory
