#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/AnsiCodePage.h"
#include "base/Win32.h"
#include "files/IPCFile.h"

namespace pylon {

// One key of an INI section and its value.
struct IniEntry {
  std::u16string key;
  std::u16string value;
};

// What cFileIO::Recycle does with the file.
enum class RecycleAction { kRecycle, kDelete };

// A file on the PC's own disks or shares, with text and INI members beside those of IPCFile.
//
// Members that work by name (delete, move, copy, rename, replace, recycle) close an open file
// first. Messages begin with "modMain." and the operation, and name the path; numbers are
// Windows error codes.
//
// Text: a file that begins with FF FE is UTF-16, every other one is in the code page. The option
// of the text members is empty for that, "A" for the code page whatever the file begins with, and
// "X" for one character (0 to 255) a byte.
class cFileIO final : public IPCFile {
 public:
  // The folder is that of names without one. The code page outlives the object.
  cFileIO(std::u16string program_folder, const AnsiCodePage& code_page);
  ~cFileIO() override;
  cFileIO(const cFileIO&) = delete;
  cFileIO& operator=(const cFileIO&) = delete;

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
  // Creates the file, empty, in the folder for temporary files; an empty prefix is "pyl".
  void SetTempFileInfo(std::u16string_view TempPrefix) override;
  bool OpenTempFile(std::u16string_view sReadWrite, std::u16string_view OverridePath,
                    std::u16string_view TempPrefix) override;
  // The cursor is at 0, or at 2 behind the byte-order mark of a readable UTF-16 file.
  bool OpenFile(std::u16string_view stFileName, std::u16string_view sReadWrite,
                std::u16string_view OverridePath) override;
  bool CloseFile() override;
  bool DeleteFile() override;
  // To the recycle bin, or away for good; only with Confirm may the shell ask the user.
  bool Recycle(RecycleAction Action, bool Confirm);
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

  // INI members work on the file of the full file name, closed. A file that another program holds
  // is waited for, half a second at most; as long as it stays held, later calls try once.
  //
  // The value without outer blanks and one pair of outer quotes; Default when the key is missing.
  std::u16string ReadINI(std::u16string_view Section, std::u16string_view ItemName,
                         std::u16string_view Default);
  std::vector<IniEntry> ReadINISection(std::u16string_view Section);  // 32,767 characters at most
  // False when nothing was written: the file can't be, or its lines can't hold the text. A file
  // that is missing or in the code page becomes UTF-16 when the text needs it.
  bool WriteIni(std::u16string_view Section, std::u16string_view ItemName,
                std::u16string_view Value);
  bool DeleteIni(std::u16string_view Section, std::u16string_view ItemName);
  bool DeleteIniAll(std::u16string_view Section);  // the section's keys

  bool ReplaceFile(std::u16string_view newName) override;
  bool FileExists() override;

  bool IsUnicode() const noexcept { return unicode_; }
  // Makes an open, empty file a UTF-16 one by writing its byte-order mark. False when the file
  // holds something or the write fails.
  bool StartUnicode();

 private:
  enum class IniAccess { kRead, kWrite };

  void ClearError() noexcept;
  // Keeps the error, about the object's file unless another path is given; false.
  bool Fail(std::u16string_view operation, unsigned long error, std::u16string_view path = {});
  bool FailLast(std::u16string_view operation);
  bool NameTempFile(std::u16string_view prefix);
  bool ShellOperation(std::u16string_view name, unsigned function, std::u16string_view target,
                      unsigned flags);
  bool MoveTo(std::u16string_view operation, std::u16string_view new_name, unsigned long flags);
  bool Size(int64_t& size);
  bool SeekToCursor();
  void PlaceCursor(int32_t offset);
  // Reads at the cursor without moving it; false leaves what could be read and the error.
  bool ReadAtCursor(Bytes& bytes, int64_t count, std::u16string_view operation);
  int32_t Write(ByteSpan bytes, int32_t offset, std::u16string_view operation);
  std::u16string Decode(ByteSpan bytes, std::u16string_view option) const;
  Bytes Encode(std::u16string_view text, std::u16string_view option) const;
  // The byte at the cursor and behind, through the read-ahead buffer; empty at the end.
  ByteSpan Buffered();
  Date Time(bool creation);
  void SetTime(Date date, bool creation);
  // Runs an action on the closed INI file; it gets the full path and returns a Windows error code.
  // Tried again while another program holds the file. Returns the error code.
  using IniAction = std::function<unsigned long(const std::u16string& path)>;
  unsigned long OnIni(IniAccess access, const IniAction& action);

  const AnsiCodePage& code_page_;
  std::u16string program_folder_;
  std::u16string folder_;
  std::u16string name_;
  std::u16string error_message_;
  int32_t error_number_ = 0;
  FileHandle file_;
  int32_t cursor_ = 0;
  bool unicode_ = false;
  bool cut_at_close_ = false;
  bool writable_ = false;
  bool readable_ = false;
  bool ini_gave_up_ = false;  // the last wait for the INI file was in vain
  Bytes ahead_;               // read-ahead of InputLine: the file's bytes from ahead_start_
  int32_t ahead_start_ = 0;
};

}  // namespace pylon
