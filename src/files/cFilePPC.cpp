#include "files/cFilePPC.h"

#include <algorithm>
#include <utility>

#include "base/Text.h"
#include "files/FileNames.h"

namespace pylon {
namespace {

constexpr std::u16string_view kCopyCancelled = u"The user has cancelled the copy.";

// To the nearest whole number, halves to the even one; both are positive.
int32_t RoundedQuotient(int32_t dividend, int32_t divisor) noexcept {
  const int32_t quotient = dividend / divisor;
  const int32_t twice_rest = 2 * (dividend % divisor);
  const bool up = twice_rest > divisor || (twice_rest == divisor && quotient % 2 != 0);
  return up ? quotient + 1 : quotient;
}

// Shows the panel of one copy as long as it lives.
class Panel {
 public:
  Panel(DeviceProgress& progress, std::u16string_view name, int32_t size) noexcept
      : progress_(progress) {
    progress_.ShowFile(name, size);
  }
  ~Panel() { progress_.HideFile(); }
  Panel(const Panel&) = delete;
  Panel& operator=(const Panel&) = delete;

 private:
  DeviceProgress& progress_;
};

}  // namespace

int32_t CopyChunk(int32_t file_size) noexcept {
  if (file_size <= 1'000) return file_size;
  if (file_size <= 100'000) return RoundedQuotient(file_size, 2);
  if (file_size <= 1'000'000) return RoundedQuotient(file_size, 5);
  return RoundedQuotient(file_size, 20);
}

class cFilePPC::Busy {
 public:
  explicit Busy(cFilePPC& file) noexcept : file_(file) { file_.busy_ = true; }
  ~Busy() { file_.busy_ = false; }
  Busy(const Busy&) = delete;
  Busy& operator=(const Busy&) = delete;

 private:
  cFilePPC& file_;
};

cFilePPC::cFilePPC(std::unique_ptr<CursorFile> working_copy,
                   std::unique_ptr<CursorFile> device_file,
                   std::shared_ptr<DeviceProgress> progress, std::shared_ptr<LogSink> log,
                   const Clock& clock)
    : local_(std::move(working_copy)),
      device_(std::move(device_file)),
      progress_(std::move(progress)),
      log_(log ? std::move(log) : std::make_shared<NullLog>()),
      clock_(clock) {
  local_->TakeAsBytes();
  device_->TakeAsBytes();
}

cFilePPC::~cFilePPC() {
  Close();
  DropWorkingCopy();
}

void cFilePPC::ClearError() noexcept {
  error_message_.clear();
  error_number_ = 0;
}

bool cFilePPC::Fail(std::u16string_view operation, uint32_t error, std::u16string_view reason) {
  error_number_ = static_cast<int32_t>(error);
  error_message_ = u"modMain." + std::u16string(operation);
  const std::u16string name = FullFileName();
  error_message_ += operation == u"OpenFile" ? u"(" + name + u"): " : u"(): " + name + u": ";
  error_message_ += reason;
  return false;
}

bool cFilePPC::TakeError(IPCFile& file) {
  file.ReadErrorHandler(error_message_, error_number_);
  return false;
}

bool cFilePPC::IsBusy(std::u16string_view operation) {
  if (busy_) Fail(operation, file_error::kBusy, u"The file is being copied.");
  return busy_;
}

bool cFilePPC::ReadErrorHandler(std::u16string& ErrorMsg, int32_t& ErrorNo) {
  ErrorMsg = error_message_;
  ErrorNo = error_number_;
  return error_number_ != 0;
}

void cFilePPC::Log(std::u16string_view line) {
  log_->UpdateLog(u"Device file " + FullFileName() + u": " + std::u16string(line));
}

bool cFilePPC::OpenFile(std::u16string_view stFileName, std::u16string_view sReadWrite,
                        std::u16string_view OverridePath) {
  if (IsBusy(u"OpenFile")) return false;
  const Busy busy(*this);
  if (!Close()) return false;
  DropWorkingCopy();
  ClearError();

  const bool fresh = sReadWrite == u"W";
  const bool writing = fresh || sReadWrite == u"w" || sReadWrite == u"RW" || sReadWrite == u"WR" ||
                       sReadWrite.empty();
  // The end of a run saves what is still open, once more after the user has ended that.
  if (writing && stopped_up_ && progress_->IsStopped()) {
    return Fail(u"OpenFile", file_error::kCancelled, kCopyCancelled);
  }
  // Not "W", which would empty the device's file before the new contents are known.
  const std::u16string_view device_mode = EqualsIgnoringCase(sReadWrite, u"W") ? u"RW" : sReadWrite;
  if (!device_->OpenFile(stFileName, device_mode, OverridePath)) {
    failed_open_ = clock_.Now();
    return TakeError(*device_);
  }
  read_only_ = !writing;
  cut_short_.clear();
  modified_ = fresh;  // closing a fresh file empties it even if nothing is written
  created_ = device_->CreateDateTime();
  if (!fresh) {
    known_name_ = FullFileName();
    known_created_ = created_;
  }
  if (!local_->OpenTempFile({}, {}, u"PDB")) {
    TakeError(*local_);
    device_->CloseUncut();
    return false;
  }
  has_copy_ = true;
  if (fresh) return true;
  if (!CopyDown()) {
    local_->CloseUncut();
    device_->CloseUncut();
    DropWorkingCopy();
    return false;
  }
  local_->Reset();
  return true;
}

bool cFilePPC::OpenAside() {
  if (IsBusy(u"OpenFile")) return false;
  const Busy busy(*this);
  if (IsOpen()) return Fail(u"OpenFile", file_error::kBusy, u"The file is open.");
  DropWorkingCopy();
  aside_message_ = error_message_;
  aside_number_ = error_number_;
  if (!local_->OpenTempFile({}, {}, u"PDB")) {
    TakeError(*local_);
    LoseWorkingCopy(error_message_);
    error_message_ = aside_message_;
    error_number_ = aside_number_;
    return false;
  }
  has_copy_ = aside_ = true;
  read_only_ = modified_ = false;
  cut_short_.clear();
  return true;
}

bool cFilePPC::CopyDown() {
  const int32_t size = device_->FileSize();
  if (std::u16string message; device_->ReadErrorHandler(message, error_number_)) {
    return TakeError(*device_);
  }
  const int32_t chunk = CopyChunk(size);
  const Panel panel(*progress_, FileName(), size);
  Bytes bytes;
  for (int32_t offset = 0; offset < size;) {
    const int32_t count = std::min(chunk, size - offset);
    if (device_->ReadByteArray(bytes, offset, count, {}) != count) {
      TakeError(*device_);
      return error_number_ == 0
                 ? Fail(u"ReadData", file_error::kEndOfFile, u"The file has become shorter.")
                 : false;
    }
    if (local_->WriteByteArray(bytes, offset, {}) != count) return TakeError(*local_);
    offset += count;
    progress_->Advance(offset);
    if (progress_->IsStopped()) {
      return Fail(u"OpenFile", file_error::kCancelled, kCopyCancelled);
    }
  }
  return true;
}

bool cFilePPC::CloseFile() {
  if (IsBusy(u"CloseFile")) return false;
  const Busy busy(*this);
  return Close();
}

bool cFilePPC::Close() {
  if (!local_->IsOpen()) return true;
  ClearError();
  if (aside_) return CloseAside();
  if (!modified_) {
    local_->CloseUncut();
    device_->CloseUncut();
    DropWorkingCopy();
    return true;
  }
  modified_ = false;
  if (!cut_short_.empty()) {
    const std::u16string reason = std::exchange(cut_short_, {});
    local_->CloseUncut();
    device_->CloseUncut();
    LoseWorkingCopy(reason);
    error_message_ = reason;
    error_number_ = cut_number_;
    return false;
  }
  const bool copied = local_->CutAtCursor() ? CopyUp() : TakeError(*local_);
  const bool done = copied && (device_->CloseFile() || TakeError(*device_));
  device_->CloseUncut();
  local_->CloseUncut();
  if (!done) KeepWorkingCopy(u"it could not be copied to the device");
  return done;
}

bool cFilePPC::CloseAside() {
  aside_ = modified_ = false;
  if (!local_->CloseFile() && cut_short_.empty()) {
    TakeError(*local_);
    cut_short_ = error_message_;
  }
  const bool whole = cut_short_.empty();
  if (!whole) LoseWorkingCopy(std::exchange(cut_short_, {}));
  error_message_ = aside_message_;
  error_number_ = aside_number_;
  if (whole) KeepWorkingCopy(u"it could not be opened on the device");
  return false;
}

bool cFilePPC::CopyUp() {
  const int32_t size = local_->FileSize();
  const int32_t chunk = CopyChunk(size);
  const Panel panel(*progress_, NameWithoutSuffix(FileName()), size);
  const bool stopped_before = progress_->IsStopped();
  device_->Reset();
  Bytes bytes;
  for (int32_t offset = 0; offset < size;) {
    const int32_t count = std::min(chunk, size - offset);
    if (local_->ReadByteArray(bytes, offset, count, {}) != count) return TakeError(*local_);
    if (device_->WriteByteArray(bytes, offset, {}) != count) return TakeError(*device_);
    offset += count;
    progress_->Advance(offset);
    if (offset < size && !stopped_before && progress_->IsStopped()) {
      stopped_up_ = true;
      return Fail(u"CloseFile", file_error::kCancelled, kCopyCancelled);
    }
  }
  if (created_ != 0) device_->SetCreateDateTime(created_);
  std::u16string message;
  int32_t number = 0;
  if (device_->ReadErrorHandler(message, number)) {
    Log(u"the date of its creation could not be restored (" + message + u")");
  }
  return true;
}

void cFilePPC::DropWorkingCopy() {
  if (std::exchange(has_copy_, false)) DeleteOnPc(u"its working copy");
}

void cFilePPC::DeleteOnPc(std::u16string_view what) {
  if (local_->DeleteFile()) return;
  std::u16string message;
  int32_t number = 0;
  local_->ReadErrorHandler(message, number);
  Log(std::u16string(what) + u" could not be deleted (" + message + u")");
}

// There is no room for it on the PC.
void cFilePPC::LoseWorkingCopy(std::u16string_view reason) {
  Log(u"what was to be saved could not be kept on the PC (" + std::u16string(reason) + u")");
  DropWorkingCopy();
}

void cFilePPC::KeepWorkingCopy(std::u16string_view what_failed) {
  has_copy_ = false;
  const std::u16string path = local_->FullFileName();
  Log(std::u16string(what_failed) + u" (" + error_message_ +
      u"). What was to be saved is kept in " + path);
  // The one that an earlier try has left is older.
  if (!kept_.empty()) {
    local_->SetFullFileName(kept_);
    if (local_->FileExists()) DeleteOnPc(u"the copy that was kept before, " + kept_ + u",");
  }
  kept_ = path;
}

// The device's file as a whole.

template <class Operation>
bool cFilePPC::OnClosedDeviceFile(std::u16string_view name, Operation&& operation) {
  if (IsBusy(name)) return false;
  const Busy busy(*this);
  if (!Close()) return false;
  DropWorkingCopy();
  ClearError();
  return operation() || TakeError(*device_);
}

void cFilePPC::ValidateDirectory(std::u16string_view sValidatePath) {
  device_->ValidateDirectory(sValidatePath);
  TakeError(*device_);
}

void cFilePPC::ValidateFile(std::u16string_view sValidateFileName) {
  OnClosedDeviceFile(u"ValidateFile", [&] {
    device_->ValidateFile(sValidateFileName);
    return false;  // takes the error, if there is one
  });
}

void cFilePPC::SetTempFileInfo(std::u16string_view TempPrefix) {
  OnClosedDeviceFile(u"SetTempFileInfo", [&] {
    device_->SetTempFileInfo(TempPrefix);
    return false;
  });
}

bool cFilePPC::OpenTempFile(std::u16string_view sReadWrite, std::u16string_view OverridePath,
                            std::u16string_view TempPrefix) {
  const bool created = OnClosedDeviceFile(u"OpenFile", [&] {
    return device_->OpenTempFile(u"RW", OverridePath, TempPrefix) && device_->CloseUncut();
  });
  return created && OpenFile({}, sReadWrite, {});
}

bool cFilePPC::DeleteFile() {
  if (IsBusy(u"DeleteFile")) return false;
  modified_ = false;  // its content no longer matters
  return OnClosedDeviceFile(u"DeleteFile", [&] { return device_->DeleteFile(); });
}

bool cFilePPC::MoveFile(std::u16string_view NewPath) {
  return OnClosedDeviceFile(u"MoveFile", [&] { return device_->MoveFile(NewPath); });
}

bool cFilePPC::CopyFile(std::u16string_view NewPath) {
  return OnClosedDeviceFile(u"CopyFile", [&] { return device_->CopyFile(NewPath); });
}

bool cFilePPC::RenameFile(std::u16string_view newName) {
  return OnClosedDeviceFile(u"RenameFile", [&] {
    const bool known = FullFileName() == known_name_;
    if (!device_->RenameFile(newName)) return false;
    if (known) known_name_ = FullFileName();
    return true;
  });
}

bool cFilePPC::ReplaceFile(std::u16string_view newName) {
  if (IsBusy(u"ReplaceFile")) return false;
  const Busy busy(*this);
  if (!Close()) return false;
  ClearError();
  if (known_created_ != 0 && known_name_ == JoinFullName(FilePath(), newName) &&
      device_->OpenFile({}, u"RW", {})) {
    device_->SetCreateDateTime(known_created_);
    device_->CloseUncut();
  }
  if (device_->ReplaceFile(newName)) {
    DropWorkingCopy();
    if (!kept_.empty()) {
      Log(u"it is saved now. The copy that was kept in " + kept_ + u" is no longer needed");
      kept_.clear();
    }
    return true;
  }
  TakeError(*device_);
  if (has_copy_) KeepWorkingCopy(u"it could not take the place of the old file");
  return false;
}

// Bytes and times.

int32_t cFilePPC::ReadByteArray(Bytes& ByteArray, int32_t iOffSet, int32_t llgBytesToRead,
                                std::u16string_view ReadOption) {
  const int32_t read = local_->ReadByteArray(ByteArray, iOffSet, llgBytesToRead, ReadOption);
  TakeError(*local_);
  return read;
}

int32_t cFilePPC::WriteByteArray(ByteSpan ByteArray, int32_t iOffSet,
                                 std::u16string_view WriteOption) {
  if (IsBusy(u"WriteData")) return 0;
  if (read_only_ && IsOpen()) {
    Fail(u"WriteData", file_error::kAccessDenied, u"The file is open for reading.");
    return 0;
  }
  const int32_t written = local_->WriteByteArray(ByteArray, iOffSet, WriteOption);
  TakeError(*local_);
  modified_ = modified_ || written > 0;
  if (written != static_cast<int32_t>(ByteArray.size())) {
    cut_short_ = error_message_;
    cut_number_ = error_number_;
  }
  return written;
}

void cFilePPC::SetCreateDateTime(Date date) {
  device_->SetCreateDateTime(date);
  TakeError(*device_);
  if (error_number_ == 0) created_ = date;
}

void cFilePPC::SetModifyDateTime(Date date) {
  device_->SetModifyDateTime(date);
  TakeError(*device_);
}

}  // namespace pylon
