#include "files/cFileIO.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <utility>

#include "base/Text.h"
#include "files/FileNames.h"
#include "files/IniText.h"
#include "files/LocalFileCalls.h"
#include "files/WindowsFile.h"

namespace pylon {
namespace {

using win::IsFile;
using win::LastError;

constexpr int64_t kLargestPosition = std::numeric_limits<int32_t>::max();
constexpr ULONGLONG kIniPatience = 500;   // milliseconds
constexpr DWORD kIniRetry = 10;           // milliseconds
constexpr DWORD kIniSectionSize = 32767;  // characters, what older systems return at most

// No value reads like this, so that a missing key differs from an empty one.
constexpr wchar_t kMissing[] = L"\x01";

bool IsMissing(DWORD error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

bool IsHeld(DWORD error) {
  return error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION;
}

// Whether the profile functions can write the text into a file without a byte-order mark.
bool AnsiIniHolds(std::u16string_view text) {
  if (text.empty() || ::GetACP() == CP_UTF8) return true;
  BOOL replaced = FALSE;
  const std::u16string whole(text);
  const int size =
      ::WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, Wide(whole),
                            static_cast<int>(whole.size()), nullptr, 0, nullptr, &replaced);
  return size > 0 && !replaced;
}

DWORD DecodeSystemAnsi(ByteSpan bytes, std::u16string& text) {
  text.clear();
  if (bytes.empty()) return ERROR_SUCCESS;
  const auto* ansi = reinterpret_cast<const char*>(bytes.data());
  const int size = static_cast<int>(bytes.size());
  const int length = ::MultiByteToWideChar(CP_ACP, 0, ansi, size, nullptr, 0);
  std::wstring wide(static_cast<size_t>(length), L'\0');
  if (length == 0 || ::MultiByteToWideChar(CP_ACP, 0, ansi, size, wide.data(), length) != length) {
    return LastError();
  }
  text = FromWide(wide);
  return ERROR_SUCCESS;
}

// Gives the INI file, or an empty one in its place, a byte-order mark, upon which the profile
// functions keep it in UTF-16. The old file stays whole until the new one can take its place.
DWORD MakeIniUnicode(const std::u16string& path) {
  Bytes old;
  {
    const FileHandle file(::CreateFileW(Wide(path), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (file) {
      LARGE_INTEGER size;
      if (!::GetFileSizeEx(file.get(), &size)) return LastError();
      if (size.QuadPart > kLargestPosition) return ERROR_FILE_TOO_LARGE;
      old.resize(static_cast<size_t>(size.QuadPart));
      size_t read = 0;
      if (const DWORD error = win::ReadWhole(file.get(), old, read)) return error;
      old.resize(read);
    } else if (const DWORD error = LastError(); !IsMissing(error)) {
      return error;
    }
  }
  if (BeginsWithByteOrderMark(old)) return ERROR_SUCCESS;

  std::u16string text;
  if (const DWORD error = DecodeSystemAnsi(old, text)) return error;
  Bytes bytes(std::begin(kByteOrderMark), std::end(kByteOrderMark));
  AppendUtf16(text, bytes);

  wchar_t temporary[MAX_PATH];
  const std::u16string folder = SplitFullName(path).folder;
  if (::GetTempFileNameW(Wide(folder), L"pyl", 0, temporary) == 0) return LastError();
  DWORD error = ERROR_SUCCESS;
  {
    const FileHandle file(::CreateFileW(temporary, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
    size_t written = 0;
    if (!file) {
      error = LastError();
    } else {
      error = win::WriteWhole(file.get(), bytes, written);
      if (error == ERROR_SUCCESS && !::FlushFileBuffers(file.get())) error = LastError();
    }
  }
  if (error == ERROR_SUCCESS &&
      !::MoveFileExW(temporary, Wide(path), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    error = LastError();
  }
  if (error != ERROR_SUCCESS) ::DeleteFileW(temporary);
  // Whatever the profile functions remember of the file is about the old one.
  ::WritePrivateProfileStringW(nullptr, nullptr, nullptr, Wide(path));
  return error;
}

DWORD WriteProfile(const std::u16string& path, const std::u16string& section,
                   const std::u16string& key, const wchar_t* value) {
  return ::WritePrivateProfileStringW(Wide(section), Wide(key), value, Wide(path)) ? ERROR_SUCCESS
                                                                                   : LastError();
}

}  // namespace

cFileIO::cFileIO(std::u16string program_folder, const AnsiCodePage& code_page)
    : CursorFile(std::make_unique<LocalFileCalls>(), WriteMode::kKeepsContents,
                 std::move(program_folder), code_page) {}

bool cFileIO::Recycle(RecycleAction Action, bool Confirm) {
  if (!CloseFile()) return false;
  ClearError();
  const uint32_t error =
      LocalFileCalls::Recycle(FullFileName(), Action == RecycleAction::kRecycle, Confirm);
  return error == ERROR_SUCCESS || Fail(u"Recycle", error);
}

// INI files.

unsigned long cFileIO::OnIni(IniAccess access, const IniAction& action) {
  if (IsOpen()) return ERROR_SHARING_VIOLATION;  // our own handle lets nobody in
  const std::u16string path = win::FullPath(FullFileName());
  const DWORD rights = GENERIC_READ | (access == IniAccess::kWrite ? GENERIC_WRITE : 0u);
  const ULONGLONG deadline = ::GetTickCount64() + (ini_gave_up_ ? 0 : kIniPatience);
  for (;;) {
    // The reading profile functions don't tell a file that is held from one without the key.
    DWORD error = ERROR_SUCCESS;
    FileHandle file(::CreateFileW(Wide(path), rights,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
      error = LastError();
      if (error == ERROR_FILE_NOT_FOUND) error = ERROR_SUCCESS;
    }
    // A reader keeps it, so that nobody can take the file for himself before the profile function
    // has read it; that of a writer would be in the profile function's way.
    if (access == IniAccess::kWrite) file.Reset();
    if (error == ERROR_SUCCESS) error = action(path);
    if (!IsHeld(error)) {
      ini_gave_up_ = false;
      return error;
    }
    if (::GetTickCount64() >= deadline) {
      ini_gave_up_ = true;
      return error;
    }
    ::Sleep(kIniRetry);
  }
}

std::u16string cFileIO::ReadINI(std::u16string_view Section, std::u16string_view ItemName,
                                std::u16string_view Default) {
  ClearError();
  const std::u16string section(Section);
  const std::u16string key(ItemName);
  std::wstring buffer(256, L'\0');
  DWORD length = 0;
  const DWORD error = OnIni(IniAccess::kRead, [&](const std::u16string& path) -> DWORD {
    for (;;) {
      length = ::GetPrivateProfileStringW(Wide(section), Wide(key), kMissing, buffer.data(),
                                          static_cast<DWORD>(buffer.size()), Wide(path));
      if (length < buffer.size() - 1) return ERROR_SUCCESS;
      buffer.resize(buffer.size() * 2);
    }
  });
  const std::u16string value = FromWide(buffer.c_str());
  if (error != ERROR_SUCCESS || section.empty() || key.empty() || value == FromWide(kMissing)) {
    return std::u16string(Default);
  }
  return std::u16string(Trim(value));
}

std::vector<IniEntry> cFileIO::ReadINISection(std::u16string_view Section) {
  ClearError();
  const std::u16string section(Section);
  std::wstring buffer(kIniSectionSize, L'\0');
  DWORD length = 0;
  const DWORD error = OnIni(IniAccess::kRead, [&](const std::u16string& path) -> DWORD {
    length = ::GetPrivateProfileSectionW(Wide(section), buffer.data(), kIniSectionSize, Wide(path));
    return ERROR_SUCCESS;
  });
  std::vector<IniEntry> entries;
  if (error != ERROR_SUCCESS || section.empty()) return entries;
  const std::u16string text = FromWide({buffer.data(), length});
  for (size_t start = 0; start < text.size();) {
    const size_t end = std::min(text.find(u'\0', start), text.size());
    const std::u16string entry = text.substr(start, end - start);
    const size_t equals = std::min(entry.find(u'='), entry.size());
    if (!entry.empty()) {
      entries.push_back(
          {std::u16string(Trim(entry.substr(0, equals))),
           UnquoteIniValue(std::u16string_view(entry).substr(std::min(equals + 1, entry.size())))});
    }
    start = end + 1;
  }
  return entries;
}

bool cFileIO::WriteIni(std::u16string_view Section, std::u16string_view ItemName,
                       std::u16string_view Value) {
  ClearError();
  if (!IsIniSection(Section) || !IsIniKey(ItemName) || !IsIniValue(Value)) {
    return Fail(u"WriteIni", ERROR_INVALID_DATA);
  }
  const std::u16string section(Section);
  const std::u16string key(ItemName);
  const std::u16string value = QuoteIniValue(Value);
  const bool ansi = AnsiIniHolds(section + key + value);
  const DWORD error = OnIni(IniAccess::kWrite, [&](const std::u16string& path) -> DWORD {
    if (!ansi) {
      if (const DWORD failure = MakeIniUnicode(path)) return failure;
    }
    return WriteProfile(path, section, key, Wide(value));
  });
  return error == ERROR_SUCCESS || Fail(u"WriteIni", error);
}

bool cFileIO::DeleteIni(std::u16string_view Section, std::u16string_view ItemName) {
  ClearError();
  // Without a key the profile function would remove the section.
  if (Section.empty() || ItemName.empty()) return Fail(u"DeleteIni", ERROR_INVALID_DATA);
  const DWORD error = OnIni(IniAccess::kWrite, [&](const std::u16string& path) -> DWORD {
    if (!IsFile(path)) return ERROR_SUCCESS;
    return WriteProfile(path, std::u16string(Section), std::u16string(ItemName), nullptr);
  });
  return error == ERROR_SUCCESS || Fail(u"DeleteIni", error);
}

bool cFileIO::DeleteIniAll(std::u16string_view Section) {
  ClearError();
  if (Section.empty()) return Fail(u"DeleteIniAll", ERROR_INVALID_DATA);
  const std::u16string section(Section);
  const DWORD error = OnIni(IniAccess::kWrite, [&](const std::u16string& path) -> DWORD {
    if (!IsFile(path)) return ERROR_SUCCESS;
    return ::WritePrivateProfileSectionW(Wide(section), L"\0", Wide(path)) ? ERROR_SUCCESS
                                                                           : LastError();
  });
  return error == ERROR_SUCCESS || Fail(u"DeleteIniAll", error);
}

}  // namespace pylon
