#include "files/cFileIO.h"

#include <algorithm>
#include <limits>
#include <new>
#include <stdexcept>

#include <shellapi.h>

#include "base/AutomationError.h"
#include "base/Text.h"
#include "files/FileNames.h"
#include "files/IniText.h"

namespace pylon {
namespace {

constexpr int64_t kLargestPosition = std::numeric_limits<int32_t>::max();
// One call moves no more: redirectors refuse buffers of many megabytes.
constexpr int64_t kLargestTransfer = 16 << 20;
constexpr int64_t kReadAhead = 64 << 10;  // even, so that no UTF-16 unit is split
constexpr ULONGLONG kIniPatience = 500;   // milliseconds
constexpr DWORD kIniRetry = 10;           // milliseconds
constexpr DWORD kIniSectionSize = 32767;  // characters, what older systems return at most
constexpr std::byte kMark[] = {std::byte{0xFF}, std::byte{0xFE}};

constexpr std::u16string_view kAnsiOption = u"A";
constexpr std::u16string_view kByteOption = u"X";

// No value reads like this, so that a missing key can be told from an empty one.
constexpr wchar_t kMissing[] = L"\x01";

std::u16string DescribeWindowsError(DWORD error) {
  wchar_t* text = nullptr;
  const DWORD size = ::FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, error, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  std::u16string description = size == 0 ? u"Unknown error" : FromWide({text, size});
  ::LocalFree(text);
  while (!description.empty() && (description.back() <= u' ' || description.back() == u'.')) {
    description.pop_back();
  }
  return description;
}

// The shell and the profile functions take a relative name for one in a folder of their own.
std::u16string FullPath(const std::u16string& name) {
  const DWORD size = ::GetFullPathNameW(Wide(name), 0, nullptr, nullptr);
  std::wstring path(size, L'\0');
  const DWORD length = ::GetFullPathNameW(Wide(name), size, path.data(), nullptr);
  if (length == 0 || length >= size) return name;
  return FromWide({path.data(), length});
}

bool IsFile(const std::u16string& path) {
  const DWORD attributes = ::GetFileAttributesW(Wide(path));
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool IsMissing(DWORD error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

bool IsHeld(DWORD error) {
  return error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION;
}

bool BeginsWithMark(ByteSpan bytes) {
  return bytes.size() >= 2 && bytes[0] == kMark[0] && bytes[1] == kMark[1];
}

// The last error of a call that said it failed; never 0, which stands for success.
DWORD LastError() {
  const DWORD error = ::GetLastError();
  return error == ERROR_SUCCESS ? DWORD{ERROR_GEN_FAILURE} : error;
}

DWORD WriteWhole(HANDLE file, ByteSpan bytes, int64_t& written) {
  written = 0;
  while (!bytes.empty()) {
    const auto count =
        static_cast<DWORD>(std::min<int64_t>(static_cast<int64_t>(bytes.size()), kLargestTransfer));
    DWORD moved = 0;
    if (!::WriteFile(file, bytes.data(), count, &moved, nullptr)) return LastError();
    if (moved == 0) return ERROR_HANDLE_DISK_FULL;
    written += moved;
    bytes = bytes.subspan(moved);
  }
  return ERROR_SUCCESS;
}

// Reads until `bytes` is full or the file ends, and cuts `bytes` to what came.
DWORD ReadWhole(HANDLE file, Bytes& bytes) {
  size_t read = 0;
  DWORD error = ERROR_SUCCESS;
  while (read < bytes.size()) {
    const auto count = static_cast<DWORD>(
        std::min<int64_t>(static_cast<int64_t>(bytes.size() - read), kLargestTransfer));
    DWORD moved = 0;
    if (!::ReadFile(file, bytes.data() + read, count, &moved, nullptr)) {
      error = LastError();
      break;
    }
    if (moved == 0) break;
    read += moved;
  }
  bytes.resize(read);
  return error;
}

void AppendUtf16(std::u16string_view text, Bytes& bytes) {
  bytes.reserve(bytes.size() + text.size() * 2);
  for (const char16_t c : text) {
    bytes.push_back(static_cast<std::byte>(c & 0xFF));
    bytes.push_back(static_cast<std::byte>(c >> 8));
  }
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
      if (const DWORD error = ReadWhole(file.get(), old)) return error;
    } else if (const DWORD error = LastError(); !IsMissing(error)) {
      return error;
    }
  }
  if (BeginsWithMark(old)) return ERROR_SUCCESS;

  std::u16string text;
  if (const DWORD error = DecodeSystemAnsi(old, text)) return error;
  Bytes bytes(std::begin(kMark), std::end(kMark));
  AppendUtf16(text, bytes);

  wchar_t temporary[MAX_PATH];
  const std::u16string folder = SplitFullName(path).folder;
  if (::GetTempFileNameW(Wide(folder), L"pyl", 0, temporary) == 0) return LastError();
  DWORD error = ERROR_SUCCESS;
  {
    const FileHandle file(::CreateFileW(temporary, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
    int64_t written = 0;
    if (!file) {
      error = LastError();
    } else {
      error = WriteWhole(file.get(), bytes, written);
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
    : code_page_(code_page), program_folder_(std::move(program_folder)), folder_(program_folder_) {}

cFileIO::~cFileIO() { CloseFile(); }

void cFileIO::ClearError() noexcept {
  error_message_.clear();
  error_number_ = 0;
}

bool cFileIO::Fail(std::u16string_view operation, unsigned long error, std::u16string_view path) {
  const std::u16string name = path.empty() ? FullFileName() : std::u16string(path);
  error_number_ = static_cast<int32_t>(error);
  error_message_ = u"modMain." + std::u16string(operation);
  // The name of a file that can't be opened stands within the parentheses.
  error_message_ += operation == u"OpenFile" ? u"(" + name + u"): " : u"(): " + name + u": ";
  error_message_ += DescribeWindowsError(error) + u" (" + ToText(error_number_) + u")";
  return false;
}

bool cFileIO::FailLast(std::u16string_view operation) { return Fail(operation, LastError()); }

bool cFileIO::ReadErrorHandler(std::u16string& ErrorMsg, int32_t& ErrorNo) {
  ErrorMsg = error_message_;
  ErrorNo = error_number_;
  return error_number_ != 0;
}

// The cursor.

void cFileIO::Reset() { cursor_ = 0; }
void cFileIO::SetCursorPos(int32_t position) { cursor_ = position; }
int32_t cFileIO::CurrentPos() { return cursor_; }
bool cFileIO::IsEOF() { return cursor_ >= FileSize(); }

bool cFileIO::Size(int64_t& size) {
  LARGE_INTEGER large;
  if (!::GetFileSizeEx(file_.get(), &large)) return false;
  size = large.QuadPart;
  return true;
}

int32_t cFileIO::FileSize() {
  int64_t size = 0;
  if (!file_) return 0;
  if (!Size(size)) {
    FailLast(u"FileSize");
    return 0;
  }
  if (size > kLargestPosition) {
    Fail(u"FileSize", ERROR_FILE_TOO_LARGE);
    return 0;
  }
  return static_cast<int32_t>(size);
}

void cFileIO::PlaceCursor(int32_t offset) {
  if (offset != -1) cursor_ = offset;
  cursor_ = std::max(cursor_, 0);
  if (cursor_ == 0 && unicode_) cursor_ = sizeof kMark;
}

bool cFileIO::SeekToCursor() {
  LARGE_INTEGER position;
  position.QuadPart = cursor_;
  return ::SetFilePointerEx(file_.get(), position, nullptr, FILE_BEGIN);
}

// The name.

std::u16string cFileIO::FullFileName() {
  return JoinFullName(folder_.empty() ? program_folder_ : folder_, name_);
}

void cFileIO::SetFullFileName(std::u16string_view stFileName) {
  SplitName split = SplitFullName(stFileName);
  if (!split.folder.empty()) folder_ = std::move(split.folder);
  if (folder_.empty()) folder_ = program_folder_;
  name_ = std::move(split.name);
}

std::u16string cFileIO::FileName() { return name_; }
std::u16string cFileIO::FileNameNoExt() { return std::u16string(NameWithoutExtension(name_)); }
std::u16string cFileIO::FilePath() { return folder_; }
void cFileIO::SetFilePath(std::u16string_view folder) { folder_ = folder; }
std::u16string cFileIO::FileExt() { return std::u16string(ExtensionOf(name_)); }
void cFileIO::SetFileExt(std::u16string_view extension) {
  name_ = ReplaceExtension(name_, extension);
}

bool cFileIO::FileExists() { return IsFile(FullFileName()); }

void cFileIO::ValidateDirectory(std::u16string_view sValidatePath) {
  ClearError();
  const std::vector<std::u16string> levels =
      FolderLevels(sValidatePath.empty() ? std::u16string_view(folder_) : sValidatePath);
  DWORD error = ERROR_SUCCESS;
  for (const std::u16string& level : levels) {
    error = ::CreateDirectoryW(Wide(level), nullptr) ? DWORD{ERROR_SUCCESS} : LastError();
  }
  // Outer levels may refuse and be there all the same; only the last one counts.
  if (error == ERROR_SUCCESS || levels.empty()) return;
  const DWORD attributes = ::GetFileAttributesW(Wide(levels.back()));
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
    Fail(u"ValidateDirectory", error, levels.back());
  }
}

void cFileIO::ValidateFile(std::u16string_view sValidateFileName) {
  if (!OpenFile(sValidateFileName, u"RW", {})) return;
  cut_at_close_ = false;
  CloseFile();
}

// Opening and closing.

bool cFileIO::IsOpen() { return static_cast<bool>(file_); }

bool cFileIO::NameTempFile(std::u16string_view prefix) {
  ClearError();
  const std::u16string start(prefix.empty() ? std::u16string_view(u"pyl") : prefix);
  std::wstring folder(MAX_PATH + 1, L'\0');
  DWORD size = ::GetEnvironmentVariableW(L"TEMP", folder.data(), static_cast<DWORD>(folder.size()));
  if (size >= folder.size()) {
    folder.resize(size);
    size = ::GetEnvironmentVariableW(L"TEMP", folder.data(), static_cast<DWORD>(folder.size()));
  }
  if (size == 0) size = ::GetTempPathW(static_cast<DWORD>(folder.size()), folder.data());
  folder.resize(std::min<size_t>(size, folder.size()));

  std::wstring name(folder.size() + 256, L'\0');
  if (::GetTempFileNameW(folder.c_str(), Wide(start), 0, name.data()) == 0) {
    return FailLast(u"SetTempFileInfo");
  }
  SetFullFileName(FromWide(name.c_str()));
  return true;
}

void cFileIO::SetTempFileInfo(std::u16string_view TempPrefix) {
  if (CloseFile()) NameTempFile(TempPrefix);
}

bool cFileIO::OpenTempFile(std::u16string_view sReadWrite, std::u16string_view OverridePath,
                           std::u16string_view TempPrefix) {
  if (!CloseFile() || !NameTempFile(TempPrefix)) return false;
  cursor_ = 0;
  const std::u16string temporary = FullFileName();
  const bool opened = OpenFile(temporary, sReadWrite, OverridePath);
  // Naming left an empty file in the folder for temporary files, which nobody would ever remove.
  if (!OverridePath.empty() && FullPath(FullFileName()) != FullPath(temporary)) {
    ::DeleteFileW(Wide(temporary));
  }
  return opened;
}

bool cFileIO::OpenFile(std::u16string_view stFileName, std::u16string_view sReadWrite,
                       std::u16string_view OverridePath) {
  if (!CloseFile()) return false;
  ClearError();
  if (!stFileName.empty()) SetFullFileName(stFileName);
  if (!OverridePath.empty()) folder_ = OverridePath;

  const bool both = sReadWrite == u"RW" || sReadWrite == u"WR" || sReadWrite.empty();
  writable_ = cut_at_close_ = both || sReadWrite == u"W";
  readable_ = !writable_ || both;
  cursor_ = 0;
  unicode_ = false;
  const DWORD access = (readable_ ? GENERIC_READ : 0u) | (writable_ ? GENERIC_WRITE : 0u);
  file_.Reset(::CreateFileW(Wide(FullFileName()), access, 0, nullptr,
                            writable_ ? OPEN_ALWAYS : OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                            nullptr));
  if (!file_) return FailLast(u"OpenFile");
  if (!readable_) return true;

  Bytes mark(sizeof kMark);
  if (const DWORD error = ReadWhole(file_.get(), mark)) {
    file_.Reset();
    return Fail(u"OpenFile", error);
  }
  unicode_ = BeginsWithMark(mark);
  if (unicode_) cursor_ = sizeof kMark;
  return true;
}

bool cFileIO::CloseFile() {
  if (!file_) return true;
  ClearError();
  ahead_.clear();
  bool done = true;
  if (writable_) {
    // Ending the file where it ends already would count as a change of it.
    int64_t size = 0;
    if (cut_at_close_ && !(Size(size) && size == cursor_) &&
        !(SeekToCursor() && ::SetEndOfFile(file_.get()))) {
      done = FailLast(u"CloseFile");
    }
    if (!::FlushFileBuffers(file_.get()) && done) done = FailLast(u"CloseFile");
  }
  file_.Reset();
  return done;
}

bool cFileIO::StartUnicode() {
  ClearError();
  int64_t size = 0;
  if (!file_ || !Size(size)) return FailLast(u"WriteData");
  if (size != 0) return Fail(u"WriteData", ERROR_FILE_EXISTS);
  if (Write(kMark, 0, u"WriteData") != sizeof kMark) return false;
  unicode_ = true;
  return true;
}

// The file as a whole.

bool cFileIO::DeleteFile() {
  ClearError();
  ahead_.clear();
  file_.Reset();  // what it would end at doesn't matter any more
  return ::DeleteFileW(Wide(FullFileName())) || FailLast(u"DeleteFile");
}

bool cFileIO::ShellOperation(std::u16string_view name, unsigned function,
                             std::u16string_view target, unsigned flags) {
  if (!CloseFile()) return false;
  ClearError();
  // The shell would take a pattern, and a folder with all that it holds, as well.
  std::u16string from = FullPath(FullFileName());
  if (!IsFile(from)) return Fail(name, ERROR_FILE_NOT_FOUND);
  // A list of names, each with a NUL, and a NUL at its end.
  from += u'\0';
  std::u16string to(target);
  to += u'\0';

  SHFILEOPSTRUCTW operation = {};
  operation.wFunc = function;
  operation.pFrom = Wide(from);
  operation.pTo = target.empty() ? nullptr : Wide(to);
  operation.fFlags = static_cast<FILEOP_FLAGS>(flags);
  const int error = ::SHFileOperationW(&operation);
  if (error != 0) return Fail(name, static_cast<DWORD>(error));
  if (operation.fAnyOperationsAborted) return Fail(name, ERROR_CANCELLED);
  return true;
}

bool cFileIO::Recycle(RecycleAction Action, bool Confirm) {
  return ShellOperation(u"Recycle", FO_DELETE, {},
                        FOF_SILENT | (Action == RecycleAction::kRecycle ? FOF_ALLOWUNDO : 0u) |
                            (Confirm ? 0u : FOF_NOCONFIRMATION | FOF_NOERRORUI));
}

bool cFileIO::MoveFile(std::u16string_view NewPath) {
  ClearError();
  if (NewPath.empty()) return Fail(u"MoveFile", ERROR_PATH_NOT_FOUND);
  const std::u16string target = FullPath(JoinFullName(NewPath, name_));
  const std::u16string source = FullPath(FullFileName());
  if (::CompareStringOrdinal(Wide(target), -1, Wide(source), -1, TRUE) == CSTR_EQUAL) {
    return CloseFile() && (FileExists() || Fail(u"MoveFile", ERROR_FILE_NOT_FOUND));
  }
  ValidateDirectory(NewPath);
  if (!ShellOperation(u"MoveFile", FO_MOVE, target, FOF_NO_UI)) return false;
  folder_ = NewPath;
  return true;
}

bool cFileIO::CopyFile(std::u16string_view NewPath) {
  if (NewPath.empty()) return Fail(u"CopyFile", ERROR_PATH_NOT_FOUND);
  ValidateDirectory(NewPath);
  return ShellOperation(u"CopyFile", FO_COPY, FullPath(JoinFullName(NewPath, name_)), FOF_NO_UI);
}

bool cFileIO::MoveTo(std::u16string_view operation, std::u16string_view new_name,
                     unsigned long flags) {
  if (!CloseFile()) return false;
  ClearError();
  if (new_name.empty() || new_name.find_first_of(u"\\/:") != std::u16string_view::npos) {
    return Fail(operation, ERROR_INVALID_NAME);
  }
  const std::u16string target = JoinFullName(folder_.empty() ? program_folder_ : folder_, new_name);
  if (!::MoveFileExW(Wide(FullFileName()), Wide(target), flags)) return FailLast(operation);
  name_ = new_name;
  return true;
}

bool cFileIO::RenameFile(std::u16string_view newName) {
  return MoveTo(u"RenameFile", newName, MOVEFILE_WRITE_THROUGH);
}

bool cFileIO::ReplaceFile(std::u16string_view newName) {
  return MoveTo(u"ReplaceFile", newName, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
}

// Bytes.

bool cFileIO::ReadAtCursor(Bytes& bytes, int64_t count, std::u16string_view operation) {
  bytes.clear();
  if (!file_) return Fail(operation, ERROR_INVALID_HANDLE);
  int64_t size = 0;
  if (!Size(size)) return FailLast(operation);
  count = std::min({count, size - cursor_, kLargestPosition - cursor_});
  if (count <= 0) return true;
  try {
    bytes.resize(static_cast<size_t>(count));
  } catch (const std::bad_alloc&) {
    return Fail(operation, ERROR_NOT_ENOUGH_MEMORY);
  } catch (const std::length_error&) {
    return Fail(operation, ERROR_NOT_ENOUGH_MEMORY);
  }
  DWORD error = SeekToCursor() ? DWORD{ERROR_SUCCESS} : LastError();
  if (error == ERROR_SUCCESS) {
    error = ReadWhole(file_.get(), bytes);
  } else {
    bytes.clear();
  }
  return error == ERROR_SUCCESS || Fail(operation, error);
}

int32_t cFileIO::ReadByteArray(Bytes& ByteArray, int32_t iOffSet, int32_t llgBytesToRead,
                               std::u16string_view) {
  ClearError();
  PlaceCursor(iOffSet);
  ReadAtCursor(ByteArray, llgBytesToRead, u"ReadData");
  const auto read = static_cast<int32_t>(ByteArray.size());
  cursor_ += read;
  return read;
}

int32_t cFileIO::Write(ByteSpan bytes, int32_t offset, std::u16string_view operation) {
  ClearError();
  PlaceCursor(offset);
  ahead_.clear();
  DWORD error = ERROR_SUCCESS;
  int64_t written = 0;
  if (!file_) {
    error = ERROR_INVALID_HANDLE;
  } else if (static_cast<int64_t>(bytes.size()) > kLargestPosition - cursor_) {
    error = ERROR_FILE_TOO_LARGE;
  } else if (!SeekToCursor()) {
    error = LastError();
  } else {
    error = WriteWhole(file_.get(), bytes, written);
  }
  if (error != ERROR_SUCCESS) Fail(operation, error);
  cursor_ += static_cast<int32_t>(written);
  return static_cast<int32_t>(written);
}

int32_t cFileIO::WriteByteArray(ByteSpan ByteArray, int32_t iOffSet, std::u16string_view) {
  return Write(ByteArray, iOffSet, u"WriteData");
}

// Text.

std::u16string cFileIO::Decode(ByteSpan bytes, std::u16string_view option) const {
  if (option == kByteOption) {
    std::u16string text;
    for (const std::byte byte : bytes) text += static_cast<char16_t>(byte);
    return text;
  }
  if (!unicode_ || option == kAnsiOption) return code_page_.Decode(bytes);
  std::u16string text;
  text.reserve(bytes.size() / 2 + 1);
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    text += static_cast<char16_t>(std::to_integer<unsigned>(bytes[i]) |
                                  std::to_integer<unsigned>(bytes[i + 1]) << 8);
  }
  if (bytes.size() % 2 != 0) text += u'\uFFFD';
  return text;
}

Bytes cFileIO::Encode(std::u16string_view text, std::u16string_view option) const {
  Bytes bytes;
  if (option == kByteOption) {
    for (const char16_t c : text) bytes.push_back(static_cast<std::byte>(c < 256 ? c : u'?'));
    return bytes;
  }
  if (!unicode_ || option == kAnsiOption) return code_page_.Encode(text);
  AppendUtf16(text, bytes);
  return bytes;
}

int32_t cFileIO::ReadData(std::u16string& Text, int32_t iOffSet, int32_t llgBytesToRead,
                          std::u16string_view ReadOption) {
  Bytes bytes;
  const int32_t read = ReadByteArray(bytes, iOffSet, llgBytesToRead, ReadOption);
  Text = Decode(bytes, ReadOption);
  return read;
}

std::u16string cFileIO::ReadAllData(std::u16string_view ReadOption) {
  std::u16string text;
  ReadData(text, -1, std::numeric_limits<int32_t>::max(), ReadOption);
  return text;
}

ByteSpan cFileIO::Buffered() {
  const auto available = [this]() -> ByteSpan {
    const int64_t used = int64_t{cursor_} - ahead_start_;
    if (used < 0 || used >= static_cast<int64_t>(ahead_.size())) return {};
    return ByteSpan(ahead_).subspan(static_cast<size_t>(used));
  };
  if (available().empty()) {
    ahead_start_ = cursor_;
    if (!ReadAtCursor(ahead_, kReadAhead, u"ReadData")) ahead_.clear();
  }
  return available();
}

bool cFileIO::InputLine(std::u16string& Line) {
  ClearError();
  Line.clear();
  PlaceCursor(-1);
  const int32_t start = cursor_;
  const size_t width = unicode_ ? 2 : 1;
  Bytes bytes;
  for (bool ended = false; !ended;) {
    const ByteSpan ahead = Buffered();
    if (ahead.empty()) break;
    size_t taken = 0;
    while (!ended && taken < ahead.size()) {
      ended = ahead[taken] == std::byte{'\n'} &&
              (width == 1 || (taken + 1 < ahead.size() && ahead[taken + 1] == std::byte{0}));
      taken = std::min(taken + width, ahead.size());
    }
    bytes.insert(bytes.end(), ahead.begin(), ahead.begin() + static_cast<std::ptrdiff_t>(taken));
    cursor_ += static_cast<int32_t>(taken);
  }
  if (error_number_ != 0) {
    cursor_ = start;
    return false;
  }
  Line = Decode(bytes, {});
  if (Line.ends_with(u'\n')) {
    Line.pop_back();
    if (Line.ends_with(u'\r')) Line.pop_back();
  }
  return !bytes.empty();
}

int32_t cFileIO::WriteData(std::u16string_view Text, int32_t iOffSet,
                           std::u16string_view WriteOption) {
  return Write(Encode(Text, WriteOption), iOffSet, u"WriteData");
}

bool cFileIO::PrintLine(std::u16string_view Text, std::u16string_view WriteOption) {
  std::u16string line(Text);
  line += u"\r\n";
  Write(Encode(line, WriteOption), -1, u"PrintLine");
  return error_number_ == 0;
}

// Times.

Date cFileIO::Time(bool creation) {
  FILETIME created;
  FILETIME modified;
  FILETIME local;
  SYSTEMTIME time;
  if (!file_ || !::GetFileTime(file_.get(), &created, nullptr, &modified) ||
      !::FileTimeToLocalFileTime(creation ? &created : &modified, &local) ||
      !::FileTimeToSystemTime(&local, &time)) {
    return 0;
  }
  return ToDate({time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute, time.wSecond});
}

void cFileIO::SetTime(Date date, bool creation) {
  const std::u16string_view operation = creation ? u"CreateDateTime" : u"ModifyDateTime";
  ClearError();
  SYSTEMTIME time = {};
  try {
    const DateParts parts = ToDateParts(date);
    time.wYear = static_cast<WORD>(parts.year);
    time.wMonth = static_cast<WORD>(parts.month);
    time.wDay = static_cast<WORD>(parts.day);
    time.wHour = static_cast<WORD>(parts.hour);
    time.wMinute = static_cast<WORD>(parts.minute);
    time.wSecond = static_cast<WORD>(parts.second);
  } catch (const AutomationError&) {
    Fail(operation, ERROR_INVALID_PARAMETER);  // a date of no calendar
    return;
  }
  FILETIME local;
  FILETIME universal;
  if (!file_) {
    Fail(operation, ERROR_INVALID_HANDLE);
  } else if (!::SystemTimeToFileTime(&time, &local) ||
             !::LocalFileTimeToFileTime(&local, &universal) ||
             !::SetFileTime(file_.get(), creation ? &universal : nullptr, nullptr,
                            creation ? nullptr : &universal)) {
    FailLast(operation);
  }
}

Date cFileIO::CreateDateTime() { return Time(true); }
void cFileIO::SetCreateDateTime(Date date) { SetTime(date, true); }
Date cFileIO::ModifyDateTime() { return Time(false); }
void cFileIO::SetModifyDateTime(Date date) { SetTime(date, false); }

// INI files.

unsigned long cFileIO::OnIni(IniAccess access, const IniAction& action) {
  if (file_) return ERROR_SHARING_VIOLATION;  // our own handle lets nobody in
  const std::u16string path = FullPath(FullFileName());
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
