#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/AnsiCodePage.h"
#include "files/FileCalls.h"
#include "files/IPCFile.h"

namespace pylon {

// Recycle moves the file to the recycle bin or deletes it.
enum class RecycleAction { kRecycle, kDelete };

// All of a file object that does not depend on where the file is: names, cursor, open modes,
// byte-order mark, the cut at the close, text, and the texts of failures. cFileIO is one on the
// PC's disks, cFileRAPI one on a handheld.
//
// Members that work by name (delete, move, copy, rename, replace) close an open file first.
// Messages begin with "modMain." and the operation, and name the path; numbers are the system's.
//
// Text: a file that begins with FF FE is UTF-16, every other one is in the code page. The option
// of the text members is empty for that, "A" for the code page whatever the file begins with, and
// "X" for one character (0 to 255) a byte.
class CursorFile : public IPCFile {
 public:
  ~CursorFile() override;
  CursorFile(const CursorFile&) = delete;
  CursorFile& operator=(const CursorFile&) = delete;

  void Reset() override;
  void SetCursorPos(int32_t position) override;
  int32_t CurrentPos() override;
  bool IsEOF() override;
  bool ReadErrorHandler(std::u16string& ErrorMsg, int32_t& ErrorNo) override;
  // An error, and 0, for a file of 2 GB and more: no position could reach its end.
  int32_t FileSize() override;
  std::u16string FullFileName() override;
  void SetFullFileName(std::u16string_view stFileName) override;
  std::u16string FileName() override;
  std::u16string FileNameNoExt() override;
  std::u16string FilePath() override;
  void SetFilePath(std::u16string_view folder) override;
  std::u16string FileExt() override;
  void SetFileExt(std::u16string_view extension) override;
  void ValidateDirectory(std::u16string_view sValidatePath) override;
  void ValidateFile(std::u16string_view sValidateFileName) override;
  bool IsOpen() override;
  // Creates the file, empty, in the PC's folder for temporary files; an empty prefix is "pyl".
  void SetTempFileInfo(std::u16string_view TempPrefix) override;
  bool OpenTempFile(std::u16string_view sReadWrite, std::u16string_view OverridePath,
                    std::u16string_view TempPrefix) override;
  // The cursor is at 0, or at 2 behind the byte-order mark of a readable UTF-16 file.
  bool OpenFile(std::u16string_view stFileName, std::u16string_view sReadWrite,
                std::u16string_view OverridePath) override;
  bool CloseFile() override;
  bool DeleteFile() override;
  // Moving and copying create the folder and replace a file of that name there. A moved file is
  // the object's file in its new folder; a copy leaves the object where it was.
  bool MoveFile(std::u16string_view NewPath) override;
  bool CopyFile(std::u16string_view NewPath) override;
  bool RenameFile(std::u16string_view newName) override;

  // Text of up to llgBytesToRead bytes from iOffSet; the bytes that were read come back.
  int32_t ReadData(std::u16string& Text, int32_t iOffSet, int32_t llgBytesToRead,
                   std::u16string_view ReadOption = {});
  int32_t ReadByteArray(Bytes& ByteArray, int32_t iOffSet, int32_t llgBytesToRead,
                        std::u16string_view ReadOption) override;
  // The text up to the next CR LF or LF, which is left out; the last line needs none. False at the
  // end of the file and for a failed read; ReadErrorHandler tells one from the other.
  bool InputLine(std::u16string& Line);
  std::u16string ReadAllData(std::u16string_view ReadOption = {});  // from the cursor to the end
  // Returns the bytes that were written. A character that the code page lacks becomes '?'.
  int32_t WriteData(std::u16string_view Text, int32_t iOffSet,
                    std::u16string_view WriteOption = {});
  int32_t WriteByteArray(ByteSpan ByteArray, int32_t iOffSet,
                         std::u16string_view WriteOption) override;
  // The text and CR LF, at the cursor. False when not all of it was written.
  bool PrintLine(std::u16string_view Text, std::u16string_view WriteOption = {});

  Date CreateDateTime() override;
  void SetCreateDateTime(Date date) override;
  Date ModifyDateTime() override;
  void SetModifyDateTime(Date date) override;

  bool ReplaceFile(std::u16string_view newName) override;
  bool FileExists() override;
  void TakeAsBytes() noexcept override { bytes_only_ = true; }

  bool IsUnicode() const noexcept { return unicode_; }
  // Makes an open, empty file a UTF-16 one by writing its byte-order mark. False when the file
  // holds something or the write fails.
  bool StartUnicode();

  // Ends an open, writable file at the cursor, as the close does. False when it can't be done.
  bool CutAtCursor();
  // Closes a file without cutting it.
  bool CloseUncut();

 protected:
  // A cFile... decides whether the "W" mode keeps what the file holds until it is cut.
  enum class WriteMode { kKeepsContents, kEmptiesAtOpen };

  // The folder is that of names without one. The code page outlives the object.
  CursorFile(std::unique_ptr<FileCalls> calls, WriteMode write_mode, std::u16string home,
             const AnsiCodePage& code_page);

  FileCalls& calls() noexcept { return *calls_; }
  void ClearError() noexcept;
  // Keeps the error, about the object's file unless another path is given; false.
  bool Fail(std::u16string_view operation, uint32_t error, std::u16string_view path = {});
  int32_t error_number() const noexcept { return error_number_; }

 private:
  bool NameTempFile(std::u16string_view prefix);
  bool MoveTo(std::u16string_view operation, std::u16string_view new_name,
              uint32_t (FileCalls::*move)(const std::u16string&, const std::u16string&));
  void PlaceCursor(int32_t offset);
  // Reads at the cursor without moving it; false leaves what could be read and the error.
  bool ReadAtCursor(Bytes& bytes, int64_t count, std::u16string_view operation);
  int32_t Write(ByteSpan bytes, int32_t offset, std::u16string_view operation);
  std::u16string Decode(ByteSpan bytes, std::u16string_view option) const;
  Bytes Encode(std::u16string_view text, std::u16string_view option) const;
  // The byte at the cursor and behind, through the read-ahead buffer; empty at the end.
  ByteSpan Buffered();
  Date Time(FileTime which);
  void SetTime(Date date, FileTime which);

  std::unique_ptr<FileCalls> calls_;
  const WriteMode write_mode_;
  const AnsiCodePage& code_page_;
  const std::u16string home_;
  std::u16string folder_;
  std::u16string name_;
  std::u16string error_message_;
  int32_t error_number_ = 0;
  int32_t cursor_ = 0;
  bool bytes_only_ = false;
  bool unicode_ = false;
  bool cut_at_close_ = false;
  bool writable_ = false;
  bool readable_ = false;
  Bytes ahead_;  // read-ahead of InputLine: the file's bytes from ahead_start_
  int32_t ahead_start_ = 0;
};

// UTF-16 text as bytes, low bytes first. An odd byte at the end is left out.
void AppendUtf16(std::u16string_view text, Bytes& bytes);
std::u16string DecodeUtf16(ByteSpan bytes);

// The first bytes of a UTF-16 file.
inline constexpr std::byte kByteOrderMark[] = {std::byte{0xFF}, std::byte{0xFE}};
bool BeginsWithByteOrderMark(ByteSpan bytes);

}  // namespace pylon
