#include "files/cFileRAPI.h"

#include <utility>

#include "base/AutomationError.h"
#include "files/RapiFileCalls.h"

namespace pylon {

cFileRAPI::cFileRAPI(std::shared_ptr<RapiConnection> connection, const AnsiCodePage& code_page)
    : CursorFile(std::make_unique<RapiFileCalls>(std::move(connection)), WriteMode::kEmptiesAtOpen,
                 u"\\", code_page) {}

bool cFileRAPI::Recycle(RecycleAction Action, bool) {
  if (Action == RecycleAction::kDelete) return DeleteFile();
  return CloseFile() && Fail(u"Recycle", file_error::kNotSupported);
}

void cFileRAPI::ThrowIniError(std::u16string_view source, std::u16string_view what) {
  throw AutomationError(error_number(), u"IniFile::" + std::u16string(source),
                        FullFileName() + std::u16string(what));
}

std::u16string cFileRAPI::ReadINI(std::u16string_view, std::u16string_view, std::u16string_view) {
  ThrowIniError(u"ReadIni", u" not Found");
}

std::vector<IniEntry> cFileRAPI::ReadINISection(std::u16string_view) {
  ThrowIniError(u"ReadIni", u" not Found");
}

bool cFileRAPI::WriteIni(std::u16string_view, std::u16string_view, std::u16string_view) {
  ThrowIniError(u"WriteIni", u" can't be written as an INI file");
}

bool cFileRAPI::DeleteIni(std::u16string_view, std::u16string_view) {
  ThrowIniError(u"DeleteIni", u" can't be written as an INI file");
}

bool cFileRAPI::DeleteIniAll(std::u16string_view) {
  ThrowIniError(u"DeleteIniAll", u" can't be written as an INI file");
}

std::optional<Date> cFileRAPI::DeviceTime() {
  TakeAsBytes();
  if (!OpenTempFile(u"W", {}, {})) return std::nullopt;
  const Date now = ModifyDateTime();
  if (!DeleteFile() || now == 0) return std::nullopt;
  return now;
}

}  // namespace pylon
