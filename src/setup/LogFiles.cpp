#include "setup/LogFiles.h"

#include <algorithm>

#include "base/Win32.h"
#include "files/CursorFile.h"
#include "files/FileNames.h"
#include "files/WindowsFile.h"

namespace pylon {

std::vector<LogFile> LogFilesOf(std::u16string_view program_folder, std::u16string_view app_id) {
  const std::u16string name = FolderName(app_id);
  const std::u16string folder = JoinFullName(program_folder, name);
  std::vector<LogFile> logs;
  WIN32_FIND_DATAW found = {};
  const FileSearch search(::FindFirstFileW(Wide(folder + u"\\*"), &found));
  if (!search) return logs;
  do {
    const std::u16string device = FromWide(found.cFileName);
    if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) || device == u"." || device == u"..") {
      continue;
    }
    LogFile log = {device, folder + u"\\" + device + u"\\" + name + u".log", 0};
    log.written = win::WriteTime(log.path);
    if (log.written != 0) logs.push_back(std::move(log));
  } while (::FindNextFileW(search.get(), &found));
  std::ranges::stable_sort(logs, std::ranges::greater(), &LogFile::written);
  return logs;
}

unsigned long ReadLog(const std::u16string& path, const AnsiCodePage& code_page, LogText& log) {
  const FileHandle file(::CreateFileW(Wide(path), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) return win::LastError();
  LARGE_INTEGER size = {};
  if (!::GetFileSizeEx(file.get(), &size)) return win::LastError();
  Bytes bytes(std::size(kByteOrderMark));
  size_t moved = 0;
  if (const DWORD error = win::ReadWhole(file.get(), bytes, moved)) return error;
  const bool unicode = BeginsWithByteOrderMark(ByteSpan(bytes).first(moved));

  const auto whole = static_cast<uint64_t>(size.QuadPart);
  const uint64_t offset = whole > LogText::kMostBytes ? whole - LogText::kMostBytes : 0;
  LARGE_INTEGER from = {};
  from.QuadPart = static_cast<LONGLONG>(offset);
  if (!::SetFilePointerEx(file.get(), from, nullptr, FILE_BEGIN)) return win::LastError();
  bytes.resize(static_cast<size_t>(whole - offset));
  if (const DWORD error = win::ReadWhole(file.get(), bytes, moved)) return error;
  bytes.resize(moved);
  log.Take(bytes, offset, unicode, code_page);
  return ERROR_SUCCESS;
}

}  // namespace pylon
