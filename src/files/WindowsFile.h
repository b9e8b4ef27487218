#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "base/Bytes.h"
#include "base/Date.h"
#include "base/Win32.h"

// Steps with files of this PC that more than one class takes. Results are Windows error numbers, 0
// for none.
namespace pylon::win {

// The last error of a call that said it failed; never 0, which stands for success.
DWORD LastError() noexcept;
std::u16string DescribeError(DWORD error);  // the system's sentence, without its point

// From the file's pointer on, until all is moved, the file ends or an error comes. A write that
// moves less than asked for has an error.
DWORD ReadWhole(HANDLE file, std::span<std::byte> bytes, size_t& moved) noexcept;
DWORD WriteWhole(HANDLE file, ByteSpan bytes, size_t& moved) noexcept;

bool IsFile(const std::u16string& path) noexcept;
// When it was last written, as a FILETIME's 64 bits; 0 when there is no such file.
uint64_t WriteTime(const std::u16string& path) noexcept;
// The shell and the profile functions take a relative name for one in a folder of their own.
std::u16string FullPath(const std::u16string& name);
// Whether both texts are the same path apart from case, as the file system compares.
bool EqualPaths(const std::u16string& a, const std::u16string& b) noexcept;
// A new, empty file in the folder for temporary files: that of the variable TEMP.
DWORD CreateTempFile(const std::u16string& prefix, std::u16string& path);

// Local time and the universal one of files, in the PC's time zone; false for what has no such
// time.
bool ToLocal(const FILETIME& universal, DateParts& local) noexcept;
bool ToUniversal(const DateParts& local, FILETIME& universal) noexcept;

}  // namespace pylon::win
