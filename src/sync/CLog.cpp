#include "sync/CLog.h"

#include "base/Win32.h"

#include <oleauto.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

#include "base/AutomationError.h"
#include "conduits/AwaitedFile.h"
#include "files/FileNames.h"

namespace pylon {
namespace {

constexpr int64_t kLargestFile = std::numeric_limits<int32_t>::max();

struct BstrDeleter {
  void operator()(wchar_t* text) const noexcept { ::SysFreeString(text); }
};

// Nothing for a file that is missing.
std::optional<int64_t> SizeOnDisk(const std::u16string& path) noexcept {
  WIN32_FILE_ATTRIBUTE_DATA data = {};
  if (!::GetFileAttributesExW(Wide(path), GetFileExInfoStandard, &data)) return std::nullopt;
  return int64_t{data.nFileSizeHigh} << 32 | data.nFileSizeLow;
}

// As the system writes a date in general: a time of midnight is left out.
std::u16string GeneralDate(Date date) {
  BSTR text = nullptr;
  if (FAILED(::VarBstrFromDate(date, LOCALE_USER_DEFAULT, 0, &text))) return FormatDate(date);
  const std::unique_ptr<wchar_t, BstrDeleter> owner(text);
  return FromWide({text, ::SysStringLen(text)});
}

}  // namespace

CLog::CLog(std::u16string program_folder, const AnsiCodePage& code_page, const Clock& clock,
           LogView* view)
    : program_folder_(std::move(program_folder)),
      code_page_(code_page),
      clock_(clock),
      view_(view),
      file_(program_folder_, code_page) {}

void CLog::SetAppId(std::u16string_view app_id) {
  file_.CloseFile();
  app_id_ = app_id;
  const std::u16string name = FolderName(app_id);
  file_.SetFilePath(program_folder_ + u"\\" + name + u"\\" + FolderName(device_name_));
  file_.SetFullFileName(name + u".log");
  waited_ = false;
}

void CLog::SetShowLog(bool show) {
  show_log_ = false;
  if (!view_) return;
  try {
    view_->ShowLog(show);
    show_log_ = show;
  } catch (...) {
    UpdateLog(u"The log window can't be shown: " + CurrentError().description());
  }
}

void CLog::Clear() noexcept {
  try {
    file_.CloseFile();
    if (!app_id_.empty()) file_.DeleteFile();
  } catch (const std::exception&) {  // out of memory: the log stays
  }
}

void CLog::UpdateLog(std::u16string_view Value) noexcept {
  try {
    const std::u16string line = GeneralDate(clock_.Now()) + u"\t" + std::u16string(Value);
    if (!file_.IsOpen() && !Open(line)) return;
    file_.PrintLine(line);
    if (show_log_) view_->AddLine(line);
  } catch (const std::exception&) {  // a line that can't be written is lost, the sync is not
  }
}

void CLog::Close() noexcept {
  show_log_ = false;
  view_ = nullptr;
  try {
    file_.CloseFile();
  } catch (const std::exception&) {  // out of memory for a message that nobody reads
  }
}

bool CLog::Open(std::u16string_view first_line) {
  if (app_id_.empty()) return false;
  file_.ValidateDirectory({});
  // Before it is open for writing: closing cuts the file at the cursor, which reaches no further.
  const int64_t size = SizeOnDisk(file_.FullFileName()).value_or(0);
  if (size > kLargestFile) return false;
  const bool opened = OpenAwaited(file_, u"RW", waited_ ? WhenHeld::kFail : WhenHeld::kWait);
  waited_ = !opened;
  if (!opened) return false;

  // The cursor must stand at the end even if the size of the open file is not available.
  file_.SetCursorPos(static_cast<int32_t>(size));
  if (const int32_t end = file_.FileSize(); end > size) file_.SetCursorPos(end);
  if (file_.CurrentPos() == 0 && !code_page_.Holds(first_line)) file_.StartUnicode();
  return true;
}

}  // namespace pylon
