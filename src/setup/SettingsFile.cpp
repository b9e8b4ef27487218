#include "setup/SettingsFile.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "files/CursorFile.h"
#include "files/WindowsFile.h"
#include "setup/Strings.h"
#include "toolkit/Window.h"

namespace pylon {
namespace {

constexpr int64_t kLargestFile = int64_t{16} << 20;

Phrase SystemRefusal(DWORD error) { return {IDS_SYSTEM_REASON, SystemReason(error)}; }
Phrase Reason(int reason) { return {reason, {}}; }

struct Encoded {
  std::u16string text;
  bool unicode = false;
};

Bytes Encode(const Encoded& text, const AnsiCodePage& code_page) {
  if (!text.unicode) return code_page.Encode(text.text);
  Bytes bytes(std::begin(kByteOrderMark), std::end(kByteOrderMark));
  AppendUtf16(text.text, bytes);
  return bytes;
}

// Nothing when the bytes could not be written back as they are.
std::optional<Encoded> Decode(ByteSpan bytes, const AnsiCodePage& code_page) {
  Encoded decoded;
  decoded.unicode = BeginsWithByteOrderMark(bytes);
  decoded.text = decoded.unicode ? DecodeUtf16(bytes.subspan(std::size(kByteOrderMark)))
                                 : code_page.Decode(bytes);
  const Bytes again = Encode(decoded, code_page);
  if (!std::ranges::equal(again, bytes)) return std::nullopt;
  return decoded;
}

// A missing file has no bytes.
DWORD Read(const std::u16string& path, Bytes& bytes) {
  bytes.clear();
  const FileHandle file(::CreateFileW(Wide(path), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) {
    const DWORD error = win::LastError();
    return error == ERROR_FILE_NOT_FOUND ? DWORD{ERROR_SUCCESS} : error;
  }
  LARGE_INTEGER size = {};
  if (!::GetFileSizeEx(file.get(), &size)) return win::LastError();
  if (size.QuadPart > kLargestFile) return ERROR_FILE_TOO_LARGE;
  bytes.resize(static_cast<size_t>(size.QuadPart));
  size_t moved = 0;
  const DWORD error = win::ReadWhole(file.get(), bytes, moved);
  bytes.resize(moved);
  return error;
}

DWORD WriteNew(const std::u16string& path, ByteSpan bytes) {
  const FileHandle file(::CreateFileW(Wide(path), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) return win::LastError();
  size_t moved = 0;
  if (const DWORD error = win::WriteWhole(file.get(), bytes, moved)) return error;
  return ::FlushFileBuffers(file.get()) ? DWORD{ERROR_SUCCESS} : win::LastError();
}

// Keeps the file's rights and attributes where it is there already.
DWORD PutInPlace(const std::u16string& file, const std::u16string& fresh) {
  if (::ReplaceFileW(Wide(file), Wide(fresh), nullptr, REPLACEFILE_IGNORE_MERGE_ERRORS, nullptr,
                     nullptr)) {
    return ERROR_SUCCESS;
  }
  const DWORD error = win::LastError();
  // Missing from the start, or gone halfway: the system may fail with the old file away already.
  if (win::IsFile(file)) return error;
  return ::MoveFileExW(Wide(fresh), Wide(file), MOVEFILE_WRITE_THROUGH) ? DWORD{ERROR_SUCCESS}
                                                                        : win::LastError();
}

}  // namespace

template <class Edit>
Phrase SettingsFile::Change(Edit&& edit) const {
  Bytes before;
  if (const DWORD error = Read(path_, before)) return SystemRefusal(error);
  std::optional<Encoded> text = Decode(before, code_page_);
  if (!text) return Reason(IDS_NOT_TEXT);
  std::u16string changed = edit(text->text);
  if (changed == text->text) return Reason(IDS_SECTION_GONE);
  text->text = std::move(changed);
  if (!text->unicode) text->unicode = !code_page_.Holds(text->text);

  const std::u16string fresh = path_ + u".new";
  DWORD error = WriteNew(fresh, Encode(*text, code_page_));
  Bytes now;
  if (error == ERROR_SUCCESS) error = Read(path_, now);
  const bool ours = now == before;  // nobody else has written it meanwhile
  if (error == ERROR_SUCCESS && ours) error = PutInPlace(path_, fresh);
  if (error == ERROR_SUCCESS && ours) return {};
  // Where the old file has gone, the new one holds all that there is.
  if (before.empty() || win::IsFile(path_)) ::DeleteFileW(Wide(fresh));
  return error ? SystemRefusal(error) : Reason(IDS_CHANGED_MEANWHILE);
}

Phrase SettingsFile::AddSection(std::u16string_view section, const SettingsEntries& entries) const {
  return Change([&](std::u16string_view text) { return WithSection(text, section, entries); });
}

Phrase SettingsFile::RemoveSection(std::u16string_view section) const {
  return Change([&](std::u16string_view text) { return WithoutSection(text, section); });
}

}  // namespace pylon
