#include "Link.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string>

#include "base/Text.h"
#include "base/Win32.h"

namespace pylon::palm {
namespace {

constexpr const char16_t* kCounted[] = {
    u"OpenRecordDatabase",
    u"CreateRecordDatabase",
    u"RemoveDatabase",
    u"ReadDbNameList",
    u"ReadDbInfoByName",
    u"Close",
    u"DateTime",
    u"AddLogEntry",
    u"RecordCount",
    u"ReadNext",
    u"ReadByIndex",
    u"ReadById",
    u"ReadNextModified",
    u"Write",
    u"Remove",
    u"RemoveSet",
    u"ResetAllModifiedFlags",
    u"ReadAppInfoBlock",
    u"WriteAppInfoBlock",
    u"ReadSortInfoBlock",
    u"WriteSortInfoBlock",
};

}  // namespace

std::u16string Hex(uint32_t number) {
  std::array<char, 9> text = {};
  std::snprintf(text.data(), text.size(), "%08X", static_cast<unsigned>(number));
  return FromAscii(text.data());
}

void TextLog::Open(const std::filesystem::path& path) {
  if (log_.Open(path.wstring()) != ERROR_SUCCESS) {
    throw SuiteError{kFailed, path.u16string() + u" can't be written"};
  }
}

void TextLog::Write(std::u16string_view line) {
  if (log_.Write(Wide(std::u16string(line))) != ERROR_SUCCESS) {
    throw SuiteError{kFailed, u"The log can't be written"};
  }
}

bool IsCountedFunction(std::u16string_view name) {
  return std::ranges::find(kCounted, name) != std::end(kCounted);
}

void Link::Pass(std::u16string_view function) {
  const bool was_lost = faults_.IsLost();
  if (faults_.Begin(Wide(std::u16string(function)))) return;
  if (!was_lost) on_lost_();
  throw SuiteError{kLinkLost, u"The connection to the handheld is lost"};
}

void Link::LogFailure(const std::u16string& line, const SuiteError& error) {
  log_.Write(line + u"error " + Hex(error.result) + u" " + error.description);
}

}  // namespace pylon::palm
