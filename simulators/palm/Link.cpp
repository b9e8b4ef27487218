#include "Link.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <iterator>
#include <thread>

#include "base/Text.h"

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
  file_.open(path, std::ios::app | std::ios::binary);
  if (!file_) throw SuiteError{kFailed, path.u16string() + u" can't be written"};
}

void TextLog::Write(std::u16string_view line) {
  // In one piece, so that two writers don't mix their lines.
  file_ << ToUtf8(line) + "\n" << std::flush;
  if (!file_) throw SuiteError{kFailed, u"The log can't be written"};
}

bool IsCountedFunction(std::u16string_view name) {
  return std::ranges::find(kCounted, name) != std::end(kCounted);
}

void Link::Pass(std::u16string_view function) {
  if (settings_.call_delay > 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(settings_.call_delay));
  }
  if (!lost_) {
    const auto& at = settings_.lost_at;
    lost_ = (settings_.lost_after_calls && calls_ >= *settings_.lost_after_calls) ||
            (at && at->function == function && ++calls_of_lost_at_ >= at->number);
    ++calls_;
    if (lost_) lost_told_();
  }
  if (lost_) throw SuiteError{kLinkLost, u"The connection to the handheld is lost"};
}

void Link::LogFailure(const std::u16string& line, const SuiteError& error) {
  log_.Write(line + u"error " + Hex(error.result) + u" " + error.description);
}

}  // namespace pylon::palm
