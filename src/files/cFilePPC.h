#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/Date.h"
#include "base/LogSink.h"
#include "files/CursorFile.h"
#include "files/DeviceProgress.h"
#include "files/IPCFile.h"

namespace pylon {

// The bytes that one step of a copy carries, for a file of so many: about as many steps as a
// progress bar shows, so that each round trip carries much and Cancel is seen soon.
int32_t CopyChunk(int32_t file_size) noexcept;

// A file on a handheld with a working copy on the PC: opening copies the device's file down,
// closing a changed one copies it up, and all reads and writes in between are local. Names, times
// and whole files are the device's.
//
//   OpenFile ──> device file open, copied down (not for "W") ──> CloseFile ──> copied up if changed
//
// Both files are open meanwhile, so that nobody on the device changes the one that will be written
// over. The file ends at the cursor of the working copy, as the contract says; one that was only
// read is not copied up, wherever the cursor is.
//
// Nothing is lost: a copy that doesn't reach the device is a false CloseFile or ReplaceFile, the
// working copy then stays in the PC's folder for temporary files, and the log says where. So does
// a file that can't even be created on the device; see OpenAside. A copy that has reached it stays
// until ReplaceFile has put the device's file in its place, or until the next operation shows that
// it won't.
//
// Copies report to `progress`, which pumps messages after each step; members that are called during
// a copy fail. Cancel ends a copy down whenever it is pending, a copy up only when it comes during
// it: what a component saves after Cancel is saved.
class cFilePPC final : public IPCFile {
 public:
  // Owns both file objects, on the PC and on the device. `log` may be null; the clock outlives the
  // object.
  cFilePPC(std::unique_ptr<CursorFile> working_copy, std::unique_ptr<CursorFile> device_file,
           std::shared_ptr<DeviceProgress> progress, std::shared_ptr<LogSink> log,
           const Clock& clock);
  ~cFilePPC() override;
  cFilePPC(const cFilePPC&) = delete;
  cFilePPC& operator=(const cFilePPC&) = delete;

  void Reset() override { local_->Reset(); }
  void SetCursorPos(int32_t position) override { local_->SetCursorPos(position); }
  int32_t CurrentPos() override { return local_->CurrentPos(); }
  bool IsEOF() override { return local_->IsEOF(); }
  int32_t FileSize() override { return local_->FileSize(); }

  std::u16string FullFileName() override { return device_->FullFileName(); }
  void SetFullFileName(std::u16string_view stFileName) override {
    device_->SetFullFileName(stFileName);
  }
  std::u16string FileName() override { return device_->FileName(); }
  std::u16string FileNameNoExt() override { return device_->FileNameNoExt(); }
  std::u16string FilePath() override { return device_->FilePath(); }
  void SetFilePath(std::u16string_view folder) override { device_->SetFilePath(folder); }
  std::u16string FileExt() override { return device_->FileExt(); }
  void SetFileExt(std::u16string_view extension) override { device_->SetFileExt(extension); }
  void ValidateDirectory(std::u16string_view sValidatePath) override;
  void ValidateFile(std::u16string_view sValidateFileName) override;

  bool IsOpen() override { return local_->IsOpen(); }
  void SetTempFileInfo(std::u16string_view TempPrefix) override;
  bool OpenTempFile(std::u16string_view sReadWrite, std::u16string_view OverridePath,
                    std::u16string_view TempPrefix) override;
  bool OpenFile(std::u16string_view stFileName, std::u16string_view sReadWrite,
                std::u16string_view OverridePath) override;
  bool CloseFile() override;
  bool DeleteFile() override;
  bool MoveFile(std::u16string_view NewPath) override;
  bool CopyFile(std::u16string_view NewPath) override;
  bool RenameFile(std::u16string_view newName) override;

  int32_t ReadByteArray(Bytes& ByteArray, int32_t iOffSet, int32_t llgBytesToRead,
                        std::u16string_view ReadOption) override;
  int32_t WriteByteArray(ByteSpan ByteArray, int32_t iOffSet,
                         std::u16string_view WriteOption) override;

  Date CreateDateTime() override { return device_->CreateDateTime(); }
  void SetCreateDateTime(Date date) override;
  Date ModifyDateTime() override { return device_->ModifyDateTime(); }
  void SetModifyDateTime(Date date) override;

  bool ReadErrorHandler(std::u16string& ErrorMsg, int32_t& ErrorNo) override;
  // The replacing file also takes over when the replaced one was created, if that was open before.
  bool ReplaceFile(std::u16string_view newName) override;
  bool FileExists() override { return device_->FileExists(); }
  void TakeAsBytes() noexcept override {}  // it always is
  bool OpenAside() override;               // a working copy without a device's file

  Date LastFailedOpen() const noexcept { return failed_open_; }  // 0: there was none

 private:
  class Busy;

  void ClearError() noexcept;
  bool Fail(std::u16string_view operation, uint32_t error, std::u16string_view reason);
  bool TakeError(IPCFile& file);  // false
  bool IsBusy(std::u16string_view operation);
  template <class Operation>
  bool OnClosedDeviceFile(std::u16string_view name, Operation&& operation);

  bool Close();
  bool CloseAside();
  void LoseWorkingCopy(std::u16string_view reason);
  bool CopyDown();
  bool CopyUp();
  void DropWorkingCopy();
  void DeleteOnPc(std::u16string_view what);
  void KeepWorkingCopy(std::u16string_view what_failed);
  void Log(std::u16string_view line);

  std::unique_ptr<CursorFile> local_;   // the working copy, under a name of its own
  std::unique_ptr<CursorFile> device_;  // open while local_ is
  std::shared_ptr<DeviceProgress> progress_;
  std::shared_ptr<LogSink> log_;  // not null
  const Clock& clock_;

  std::u16string error_message_;
  int32_t error_number_ = 0;
  bool busy_ = false;  // within an operation that may process messages
  bool read_only_ = false;
  bool modified_ = false;
  std::u16string cut_short_;  // why a write to the working copy failed, which is not whole then
  int32_t cut_number_ = 0;
  bool has_copy_ = false;  // whether the file that local_ names is there and nobody's but ours
  bool aside_ = false;     // open without the device's file
  std::u16string aside_message_;  // the failure that led to it
  int32_t aside_number_ = 0;
  bool stopped_up_ = false;  // whether Cancel has ended a copy up
  Date created_ = 0;         // of the device's file, at its opening
  Date failed_open_ = 0;
  // The file that was last opened with what it holds, and when it was created.
  std::u16string known_name_;
  Date known_created_ = 0;
  std::u16string kept_;  // path of the working copy that was kept last
};

}  // namespace pylon
