#include "files/CursorFile.h"

#include <algorithm>
#include <limits>
#include <new>
#include <stdexcept>
#include <utility>

#include "base/AutomationError.h"
#include "base/Text.h"
#include "files/FileNames.h"

namespace pylon {
namespace {

using namespace file_error;

constexpr int64_t kLargestPosition = std::numeric_limits<int32_t>::max();
constexpr int64_t kReadAhead = 64 << 10;  // even, so that no UTF-16 unit is split
constexpr auto kMarkSize = static_cast<int32_t>(std::size(kByteOrderMark));

constexpr std::u16string_view kAnsiOption = u"A";
constexpr std::u16string_view kByteOption = u"X";

}  // namespace

void AppendUtf16(std::u16string_view text, Bytes& bytes) {
  bytes.reserve(bytes.size() + text.size() * 2);
  for (const char16_t c : text) {
    bytes.push_back(static_cast<std::byte>(c & 0xFF));
    bytes.push_back(static_cast<std::byte>(c >> 8));
  }
}

std::u16string DecodeUtf16(ByteSpan bytes) {
  std::u16string text;
  text.reserve(bytes.size() / 2 + 1);
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    text += static_cast<char16_t>(std::to_integer<unsigned>(bytes[i]) |
                                  std::to_integer<unsigned>(bytes[i + 1]) << 8);
  }
  return text;
}

bool BeginsWithByteOrderMark(ByteSpan bytes) {
  return bytes.size() >= 2 && bytes[0] == kByteOrderMark[0] && bytes[1] == kByteOrderMark[1];
}

CursorFile::CursorFile(std::unique_ptr<FileCalls> calls, WriteMode write_mode, std::u16string home,
                       const AnsiCodePage& code_page)
    : calls_(std::move(calls)),
      write_mode_(write_mode),
      code_page_(code_page),
      home_(std::move(home)),
      folder_(home_) {}

CursorFile::~CursorFile() { CursorFile::CloseFile(); }

void CursorFile::ClearError() noexcept {
  error_message_.clear();
  error_number_ = 0;
}

bool CursorFile::Fail(std::u16string_view operation, uint32_t error, std::u16string_view path) {
  const std::u16string name = path.empty() ? FullFileName() : std::u16string(path);
  error_number_ = static_cast<int32_t>(error);
  error_message_ = u"modMain." + std::u16string(operation);
  // The name of a file that can't be opened is within the parentheses.
  error_message_ += operation == u"OpenFile" ? u"(" + name + u"): " : u"(): " + name + u": ";
  error_message_ += calls_->Describe(error);
  return false;
}

bool CursorFile::ReadErrorHandler(std::u16string& ErrorMsg, int32_t& ErrorNo) {
  ErrorMsg = error_message_;
  ErrorNo = error_number_;
  return error_number_ != 0;
}

void CursorFile::Reset() { cursor_ = 0; }
void CursorFile::SetCursorPos(int32_t position) { cursor_ = position; }
int32_t CursorFile::CurrentPos() { return cursor_; }
bool CursorFile::IsEOF() { return cursor_ >= FileSize(); }

int32_t CursorFile::FileSize() {
  if (!IsOpen()) return 0;
  int64_t size = 0;
  uint32_t error = calls_->Size(size);
  if (error == kNone && size > kLargestPosition) error = kFileTooLarge;
  if (error == kNone) return static_cast<int32_t>(size);
  Fail(u"FileSize", error);
  return 0;
}

void CursorFile::PlaceCursor(int32_t offset) {
  if (offset != -1) cursor_ = offset;
  cursor_ = std::max(cursor_, 0);
  if (cursor_ == 0 && unicode_) cursor_ = kMarkSize;
}

std::u16string CursorFile::FullFileName() {
  return JoinFullName(folder_.empty() ? home_ : folder_, name_);
}

void CursorFile::SetFullFileName(std::u16string_view stFileName) {
  SplitName split = SplitFullName(stFileName);
  if (!split.folder.empty()) folder_ = std::move(split.folder);
  if (folder_.empty()) folder_ = home_;
  name_ = std::move(split.name);
}

std::u16string CursorFile::FileName() { return name_; }
std::u16string CursorFile::FileNameNoExt() { return std::u16string(NameWithoutExtension(name_)); }
std::u16string CursorFile::FilePath() { return folder_; }
void CursorFile::SetFilePath(std::u16string_view folder) { folder_ = folder; }
std::u16string CursorFile::FileExt() { return std::u16string(ExtensionOf(name_)); }
void CursorFile::SetFileExt(std::u16string_view extension) {
  name_ = ReplaceExtension(name_, extension);
}

bool CursorFile::FileExists() { return calls_->IsFile(FullFileName()); }

void CursorFile::ValidateDirectory(std::u16string_view sValidatePath) {
  ClearError();
  const std::vector<std::u16string> levels =
      FolderLevels(sValidatePath.empty() ? std::u16string_view(folder_) : sValidatePath);
  uint32_t error = kNone;
  for (const std::u16string& level : levels) error = calls_->CreateFolder(level);
  // Outer levels may refuse and be there all the same; only the last one counts.
  if (error != kNone && !calls_->IsFolder(levels.back())) {
    Fail(u"ValidateDirectory", error, levels.back());
  }
}

void CursorFile::ValidateFile(std::u16string_view sValidateFileName) {
  if (OpenFile(sValidateFileName, u"RW", {})) CloseUncut();
}

bool CursorFile::IsOpen() { return calls_->IsOpen(); }

bool CursorFile::NameTempFile(std::u16string_view prefix) {
  ClearError();
  const std::u16string start(prefix.empty() ? std::u16string_view(u"pyl") : prefix);
  std::u16string path;
  if (const uint32_t error = calls_->CreateTempFile(start, path)) {
    return Fail(u"SetTempFileInfo", error);
  }
  SetFullFileName(path);
  return true;
}

void CursorFile::SetTempFileInfo(std::u16string_view TempPrefix) {
  if (CloseFile()) NameTempFile(TempPrefix);
}

bool CursorFile::OpenTempFile(std::u16string_view sReadWrite, std::u16string_view OverridePath,
                              std::u16string_view TempPrefix) {
  if (!CloseFile() || !NameTempFile(TempPrefix)) return false;
  cursor_ = 0;
  const std::u16string temporary = FullFileName();
  std::u16string folder(OverridePath);
  if (folder.empty()) {
    folder = calls_->TempFolder();
    if (!folder.empty()) ValidateDirectory(folder);
  }
  const bool opened = OpenFile({}, sReadWrite, folder);
  // Naming left an empty file in the PC's folder, which nobody would ever remove.
  if (!folder.empty() && !calls_->IsSamePath(FullFileName(), temporary)) {
    calls_->RemoveTempFile(temporary);
  }
  return opened;
}

bool CursorFile::OpenFile(std::u16string_view stFileName, std::u16string_view sReadWrite,
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
  const FileAccess access = both        ? FileAccess::kReadWrite
                            : writable_ ? FileAccess::kWrite
                                        : FileAccess::kRead;
  FileDisposition disposition = FileDisposition::kOpenExisting;
  if (writable_) {
    disposition = !both && write_mode_ == WriteMode::kEmptiesAtOpen ? FileDisposition::kCreateAlways
                                                                    : FileDisposition::kOpenAlways;
  }
  if (const uint32_t error = calls_->Open(FullFileName(), access, disposition)) {
    return Fail(u"OpenFile", error);
  }
  if (!readable_ || bytes_only_) return true;

  Bytes mark(std::size(kByteOrderMark));
  size_t read = 0;
  if (const uint32_t error = calls_->Read(0, mark, read)) {
    calls_->Close();
    return Fail(u"OpenFile", error);
  }
  unicode_ = read == mark.size() && BeginsWithByteOrderMark(mark);
  if (unicode_) cursor_ = kMarkSize;
  return true;
}

bool CursorFile::CutAtCursor() {
  ClearError();
  if (!calls_->IsOpen()) return Fail(u"CloseFile", kInvalidHandle);
  // Ending the file where it ends already would count as a change of it.
  int64_t size = 0;
  if (calls_->Size(size) == kNone && size == cursor_) return true;
  const uint32_t error = cursor_ < 0 ? kNegativeSeek : calls_->EndAt(cursor_);
  return error == kNone || Fail(u"CloseFile", error);
}

bool CursorFile::CloseFile() {
  if (!calls_->IsOpen()) return true;
  ClearError();
  ahead_.clear();
  bool done = !cut_at_close_ || CutAtCursor();
  const auto take = [&](uint32_t error) {
    if (error != kNone && done) done = Fail(u"CloseFile", error);
  };
  if (writable_) take(calls_->Flush());
  take(calls_->Close());
  return done;
}

bool CursorFile::CloseUncut() {
  cut_at_close_ = false;
  return CloseFile();
}

bool CursorFile::StartUnicode() {
  ClearError();
  if (!IsOpen()) return Fail(u"WriteData", kInvalidHandle);
  int64_t size = 0;
  if (const uint32_t error = calls_->Size(size)) return Fail(u"WriteData", error);
  if (size != 0) return Fail(u"WriteData", kFileExists);
  if (Write(kByteOrderMark, 0, u"WriteData") != kMarkSize) return false;
  unicode_ = true;
  return true;
}

// The file as a whole.

bool CursorFile::DeleteFile() {
  ClearError();
  ahead_.clear();
  calls_->Close();  // its end no longer matters
  const uint32_t error = calls_->Delete(FullFileName());
  return error == kNone || Fail(u"DeleteFile", error);
}

bool CursorFile::MoveFile(std::u16string_view NewPath) {
  ClearError();
  if (NewPath.empty()) return Fail(u"MoveFile", kPathNotFound);
  const std::u16string source = FullFileName();
  const std::u16string target = JoinFullName(NewPath, name_);
  if (calls_->IsSamePath(source, target)) {
    return CloseFile() && (FileExists() || Fail(u"MoveFile", kFileNotFound));
  }
  ValidateDirectory(NewPath);
  if (!CloseFile()) return false;
  ClearError();
  if (const uint32_t error = calls_->Move(source, target)) return Fail(u"MoveFile", error);
  folder_ = NewPath;
  return true;
}

bool CursorFile::CopyFile(std::u16string_view NewPath) {
  ClearError();
  if (NewPath.empty()) return Fail(u"CopyFile", kPathNotFound);
  ValidateDirectory(NewPath);
  if (!CloseFile()) return false;
  ClearError();
  const uint32_t error = calls_->Copy(FullFileName(), JoinFullName(NewPath, name_));
  return error == kNone || Fail(u"CopyFile", error);
}

bool CursorFile::MoveTo(std::u16string_view operation, std::u16string_view new_name,
                        uint32_t (FileCalls::*move)(const std::u16string&, const std::u16string&)) {
  if (!CloseFile()) return false;
  ClearError();
  if (new_name.empty() || new_name.find_first_of(u"\\/:") != std::u16string_view::npos) {
    return Fail(operation, kInvalidName);
  }
  const std::u16string target = JoinFullName(folder_.empty() ? home_ : folder_, new_name);
  if (const uint32_t error = (*calls_.*move)(FullFileName(), target)) return Fail(operation, error);
  name_ = new_name;
  return true;
}

bool CursorFile::RenameFile(std::u16string_view newName) {
  return MoveTo(u"RenameFile", newName, &FileCalls::Rename);
}

bool CursorFile::ReplaceFile(std::u16string_view newName) {
  return MoveTo(u"ReplaceFile", newName, &FileCalls::Replace);
}

bool CursorFile::ReadAtCursor(Bytes& bytes, int64_t count, std::u16string_view operation) {
  bytes.clear();
  if (!IsOpen()) return Fail(operation, kInvalidHandle);
  if (!readable_) return Fail(operation, kAccessDenied);
  int64_t size = 0;
  if (const uint32_t error = calls_->Size(size)) return Fail(operation, error);
  count = std::min({count, size - cursor_, kLargestPosition - cursor_});
  if (count <= 0) return true;
  try {
    bytes.resize(static_cast<size_t>(count));
  } catch (const std::bad_alloc&) {
    return Fail(operation, kNotEnoughMemory);
  } catch (const std::length_error&) {
    return Fail(operation, kNotEnoughMemory);
  }
  size_t read = 0;
  const uint32_t error = calls_->Read(cursor_, bytes, read);
  bytes.resize(read);
  return error == kNone || Fail(operation, error);
}

int32_t CursorFile::ReadByteArray(Bytes& ByteArray, int32_t iOffSet, int32_t llgBytesToRead,
                                  std::u16string_view) {
  ClearError();
  PlaceCursor(iOffSet);
  ReadAtCursor(ByteArray, llgBytesToRead, u"ReadData");
  const auto read = static_cast<int32_t>(ByteArray.size());
  cursor_ += read;
  return read;
}

int32_t CursorFile::Write(ByteSpan bytes, int32_t offset, std::u16string_view operation) {
  ClearError();
  PlaceCursor(offset);
  ahead_.clear();
  size_t written = 0;
  uint32_t error = kNone;
  if (!IsOpen()) {
    error = kInvalidHandle;
  } else if (!writable_) {
    error = kAccessDenied;
  } else if (static_cast<int64_t>(bytes.size()) > kLargestPosition - cursor_) {
    error = kFileTooLarge;
  } else {
    error = calls_->Write(cursor_, bytes, written);
  }
  if (error != kNone) Fail(operation, error);
  cursor_ += static_cast<int32_t>(written);
  return static_cast<int32_t>(written);
}

int32_t CursorFile::WriteByteArray(ByteSpan ByteArray, int32_t iOffSet, std::u16string_view) {
  return Write(ByteArray, iOffSet, u"WriteData");
}

std::u16string CursorFile::Decode(ByteSpan bytes, std::u16string_view option) const {
  if (option == kByteOption) {
    std::u16string text;
    for (const std::byte byte : bytes) text += static_cast<char16_t>(byte);
    return text;
  }
  if (!unicode_ || option == kAnsiOption) return code_page_.Decode(bytes);
  std::u16string text = DecodeUtf16(bytes);
  if (bytes.size() % 2 != 0) text += u'\uFFFD';
  return text;
}

Bytes CursorFile::Encode(std::u16string_view text, std::u16string_view option) const {
  Bytes bytes;
  if (option == kByteOption) {
    for (const char16_t c : text) bytes.push_back(static_cast<std::byte>(c < 256 ? c : u'?'));
    return bytes;
  }
  if (!unicode_ || option == kAnsiOption) return code_page_.Encode(text);
  AppendUtf16(text, bytes);
  return bytes;
}

int32_t CursorFile::ReadData(std::u16string& Text, int32_t iOffSet, int32_t llgBytesToRead,
                             std::u16string_view ReadOption) {
  Bytes bytes;
  const int32_t read = ReadByteArray(bytes, iOffSet, llgBytesToRead, ReadOption);
  Text = Decode(bytes, ReadOption);
  return read;
}

std::u16string CursorFile::ReadAllData(std::u16string_view ReadOption) {
  std::u16string text;
  ReadData(text, -1, std::numeric_limits<int32_t>::max(), ReadOption);
  return text;
}

ByteSpan CursorFile::Buffered() {
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

bool CursorFile::InputLine(std::u16string& Line) {
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

int32_t CursorFile::WriteData(std::u16string_view Text, int32_t iOffSet,
                              std::u16string_view WriteOption) {
  return Write(Encode(Text, WriteOption), iOffSet, u"WriteData");
}

bool CursorFile::PrintLine(std::u16string_view Text, std::u16string_view WriteOption) {
  std::u16string line(Text);
  line += u"\r\n";
  Write(Encode(line, WriteOption), -1, u"PrintLine");
  return error_number_ == 0;
}

Date CursorFile::Time(FileTime which) {
  DateParts local;
  return IsOpen() && calls_->GetTime(which, local) == kNone ? ToDate(local) : 0;
}

void CursorFile::SetTime(Date date, FileTime which) {
  const std::u16string_view operation =
      which == FileTime::kCreation ? u"CreateDateTime" : u"ModifyDateTime";
  ClearError();
  uint32_t error = kInvalidHandle;
  try {
    const DateParts parts = ToDateParts(date);
    if (IsOpen()) error = calls_->SetTime(which, parts);
  } catch (const AutomationError&) {
    error = kInvalidParameter;  // a date of no calendar
  }
  if (error != kNone) Fail(operation, error);
}

Date CursorFile::CreateDateTime() { return Time(FileTime::kCreation); }
void CursorFile::SetCreateDateTime(Date date) { SetTime(date, FileTime::kCreation); }
Date CursorFile::ModifyDateTime() { return Time(FileTime::kModification); }
void CursorFile::SetModifyDateTime(Date date) { SetTime(date, FileTime::kModification); }

}  // namespace pylon
