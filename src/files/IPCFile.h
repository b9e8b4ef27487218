#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "base/Bytes.h"
#include "base/Date.h"

namespace pylon {

// A cursor over one named file, wherever it is: on the PC's disks, on a handheld, in memory.
//
// Positions and sizes are in bytes, 32-bit signed; an offset of -1 means the current cursor. Reads
// and writes advance the cursor by what they moved. Nothing here throws for an ordinary failure:
// the result says so (false, or fewer bytes than asked for), and ReadErrorHandler has the reason
// until the next operation. An object is used by one thread; it closes its file when destroyed.
//
// The first thirty members are in the order of their slots.
class IPCFile {
 public:
  virtual ~IPCFile() = default;

  virtual void Reset() = 0;                         // cursor to 0
  virtual void SetCursorPos(int32_t position) = 0;  // taken as it is, past the end too
  virtual int32_t CurrentPos() = 0;
  virtual bool IsEOF() = 0;        // cursor at or past the size
  virtual int32_t FileSize() = 0;  // of the open file; 0 when none is open

  // Folder and name joined by a backslash. Setting one without a folder keeps the folder.
  virtual std::u16string FullFileName() = 0;
  virtual void SetFullFileName(std::u16string_view stFileName) = 0;
  virtual std::u16string FileName() = 0;  // with extension, no folder
  virtual std::u16string FileNameNoExt() = 0;
  virtual std::u16string FilePath() = 0;  // the folder
  virtual void SetFilePath(std::u16string_view folder) = 0;
  virtual std::u16string FileExt() = 0;  // without the point
  virtual void SetFileExt(std::u16string_view extension) = 0;

  // Makes sure that the folder exists, every missing level of it; empty: the file's own folder.
  virtual void ValidateDirectory(std::u16string_view sValidatePath) = 0;
  // Makes sure that the file exists; an existing one keeps its bytes.
  virtual void ValidateFile(std::u16string_view sValidateFileName) = 0;

  virtual bool IsOpen() = 0;
  virtual void SetTempFileInfo(std::u16string_view TempPrefix) = 0;
  virtual bool OpenTempFile(std::u16string_view sReadWrite, std::u16string_view OverridePath,
                            std::u16string_view TempPrefix) = 0;
  // sReadWrite: "R" reads an existing file, "W" writes, "RW", "WR" or empty do both; the writing
  // modes create a missing file. Nobody else can open the file meanwhile.
  virtual bool OpenFile(std::u16string_view stFileName, std::u16string_view sReadWrite,
                        std::u16string_view OverridePath) = 0;
  // Flushes and closes. A file open for writing ends at the cursor, so a writer leaves the cursor
  // behind the last byte that shall stay. False when bytes could not be made durable; the file is
  // closed all the same.
  virtual bool CloseFile() = 0;
  virtual bool DeleteFile() = 0;
  virtual bool MoveFile(std::u16string_view NewPath) = 0;  // to another folder
  virtual bool CopyFile(std::u16string_view NewPath) = 0;  // to another folder
  // Within the folder; false when that name is taken. The object takes the new name.
  virtual bool RenameFile(std::u16string_view newName) = 0;

  // Reads up to llgBytesToRead bytes, cut at the file's end; ByteArray holds what was read, and
  // the count comes back. ReadOption and WriteOption are for text files and empty for bytes.
  virtual int32_t ReadByteArray(Bytes& ByteArray, int32_t iOffSet, int32_t llgBytesToRead,
                                std::u16string_view ReadOption) = 0;
  // Returns the bytes that were written: fewer than given is a failed write.
  virtual int32_t WriteByteArray(ByteSpan ByteArray, int32_t iOffSet,
                                 std::u16string_view WriteOption) = 0;

  // Times of the open file, local time; 0 when they are not available.
  virtual Date CreateDateTime() = 0;
  virtual void SetCreateDateTime(Date date) = 0;
  virtual Date ModifyDateTime() = 0;
  virtual void SetModifyDateTime(Date date) = 0;

  // Beyond the thirty: what a database needs to report a failure and to save without a moment in
  // which only half a file exists.

  // True and the last failure's message and number when one is pending, else false and empty.
  virtual bool ReadErrorHandler(std::u16string& ErrorMsg, int32_t& ErrorNo) = 0;
  // Like RenameFile, but takes the place of a file that has the name. On local disks that is one
  // step: a reader finds the old file or the new one.
  virtual bool ReplaceFile(std::u16string_view newName) = 0;
  // From the next open on the file is bytes and not text: offset 0 is the file's first byte even
  // if that looks like the beginning of a text file.
  virtual void TakeAsBytes() noexcept = 0;
  // Whether the named file is there (closed files too).
  virtual bool FileExists() = 0;
  // Opens, empty and for writing, a place of its own for what can't be written where it belongs, if
  // files of this kind have one. CloseFile keeps what was written whole, logs where, and
  // is false: the named file is not what was opened. The failure that led here stays the pending
  // one then.
  virtual bool OpenAside() { return false; }
};

// Makes file objects of one kind; see PDBFileSystemPC.
using FileFactory = std::function<std::unique_ptr<IPCFile>()>;

}  // namespace pylon
