#include "setup/StepReport.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace pylon {
namespace {

// In the order of Notice. "%1" to "%3" stand for the details.
constexpr struct {
  Notice notice;
  std::u16string_view text;
} kTexts[] = {
    {Notice::kNoAppId,
     u"No Application ID Supplied.\r\n"
     u"Pylon -AppId {application id} -install\r\n"
     u"Pylon -AppId {application id} -uninstall"},
    {Notice::kUnknownAppId, u"This Application '%1' is not registered with Pyln."},
    {Notice::kSettingsUnread, u"%1"},
    {Notice::kNoActiveSync, u"ActiveSync is not Installed."},
    {Notice::kNotInActiveSync,
     u"Unable to Install Conduit for ActiveSync.  Verify you write permissions to the registery "
     u"for HKEY_LOCAL_MACHINE"},
    {Notice::kNotOutOfActiveSync,
     u"The conduit could not be removed from ActiveSync. That takes the right to write to "
     u"HKEY_LOCAL_MACHINE: run Pylon as an administrator."},
    {Notice::kNotGivenToManager, u"Unable to install Pocket PC Application"},
    {Notice::kGuestModeNotSet,
     u"Guest mode could not be changed. That takes the right to write to HKEY_LOCAL_MACHINE."},
    {Notice::kCannotConnect,
     u"ActiveSync can't start this conduit by its application id, which holds a double quote or "
     u"two blanks side by side, or has a word that begins with '-' or '/'. Change the name of its "
     u"section in the settings file."},
    {Notice::kCannotStore,
     u"ActiveSync can't start this conduit: its application id, or the name of the folder that "
     u"Pylon is in, has characters that the code page of this PC lacks."},
    {Notice::kNoHotSync, u"HotSync is not Installed."},
    {Notice::kNoCreatorId, u"HotSync can't call this conduit: its component names no creator id."},
    {Notice::kComponentNotAsked,
     u"HotSync can't call this conduit: its component can't be asked for its creator id: %1"},
    {Notice::kShadowed,
     u"HotSync can't call this conduit: '%1' comes before it in the settings file and has the same "
     u"creator id '%2'."},
    {Notice::kBadCreatorId,
     u"The conduit's creator id '%1' is none: it must be four characters that handhelds know."},
    {Notice::kTaken,
     u"The creator id '%1' belongs to another conduit of HotSync's, %2. Pylon's conduit can be "
     u"installed when that one is removed."},
    {Notice::kTakenAndLeft,
     u"The creator id '%1' belongs to another conduit of HotSync's, %2. Pylon's conduit can be "
     u"installed when that one is removed. It was left as it is."},
    {Notice::kLibrariesOfOtherWidth,
     sizeof(void*) == 8
         ? u"HotSync's libraries in \"%1\" are not for 64-bit programs, as this Pylon is one. Use "
           u"the 32-bit Pylon.exe to install and remove conduits for HotSync."
         : u"HotSync's libraries in \"%1\" are not for 32-bit programs, as this Pylon is one."},
    {Notice::kLibraryNotLoaded, u"HotSync's library \"%1\" can't be loaded: %2 (%3)."},
    {Notice::kFunctionMissing, u"HotSync's library \"%1\" lacks the function %2."},
    {Notice::kConduitsNotListed, u"HotSync's conduits can't be listed: %1"},
    {Notice::kNameTooLong, u"HotSync can't take the name '%1', which is too long."},
    {Notice::kNameNotAnsi,
     u"HotSync can't take the name '%1', which has characters that the code page of this PC "
     u"lacks."},
    {Notice::kNotInHotSync, u"The conduit could not be registered with HotSync: %1"},
    {Notice::kNotTakenBack, u"What was registered could not be removed either: %1"},
    {Notice::kFormerNotRemoved,
     u"The conduit's earlier registration for the creator id '%1' could not be removed: %2"},
    {Notice::kNotOutOfHotSync, u"The conduit could not be removed from HotSync: %1"},
    {Notice::kHotSyncNotTold,
     u"HotSync could not be notified of the change. If it is running, exit and start it again. %1"},
    {Notice::kUsersNotListed, u"HotSync's users can't be listed: %1"},
    {Notice::kNoUsers,
     u"HotSync has no user yet, so the application can't be installed. Synchronize the handheld "
     u"with this PC once, then install again."},
    {Notice::kSeveralUsers,
     u"The application was put on no handheld, as HotSync has several users: %1. Open Pylon's "
     u"setup window to choose one of them."},
    {Notice::kNoSuchUser, u"HotSync has no user '%1'. Its users are %2."},
    {Notice::kPathTooLong, u"HotSync can't take the file \"%1\", whose path is too long."},
    {Notice::kFileMissing,
     u"The file \"%1\", which is to be installed on the handheld, is missing."},
    {Notice::kPathNotAnsi,
     u"HotSync can't take the file \"%1\", whose name has characters that the code page of this PC "
     u"lacks."},
    {Notice::kNoFiles, u"The settings name no file to install on the handheld."},
    {Notice::kFileRefused, u"HotSync does not take the file \"%1\" for the user '%2': %3"},
};
static_assert([] {
  for (size_t i = 0; i < std::size(kTexts); ++i) {
    if (static_cast<size_t>(kTexts[i].notice) != i) return false;
  }
  return std::size(kTexts) == static_cast<size_t>(Notice::kFileRefused) + 1;
}());

// Says more about the change that the remark before it reports.
bool Continues(Notice notice) noexcept {
  return notice == Notice::kNotTakenBack || notice == Notice::kFormerNotRemoved ||
         notice == Notice::kHotSyncNotTold;
}

}  // namespace

std::u16string TextOf(const Remark& remark) {
  const std::u16string_view text = kTexts[static_cast<size_t>(remark.notice)].text;
  std::u16string filled;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != u'%') {
      filled += text[i];
      continue;
    }
    const auto number = static_cast<size_t>(text[++i] - u'1');
    if (number < remark.details.size()) filled += remark.details[number];
  }
  return filled;
}

StepReport StepReport::Failed(Notice notice, std::vector<std::u16string> details) {
  StepReport report;
  report.done_ = false;
  report.remarks_.push_back({notice, std::move(details)});
  return report;
}

StepReport& StepReport::Add(Remark remark) {
  if (std::ranges::find(remarks_, remark) == remarks_.end()) remarks_.push_back(std::move(remark));
  return *this;
}

StepReport& StepReport::Add(const StepReport& other) {
  bool starts = true;
  for (size_t i = 0; i < other.remarks_.size(); ++i) {
    starts = starts || std::ranges::binary_search(other.step_starts_, i);
    const size_t before = remarks_.size();
    Add(other.remarks_[i]);
    if (remarks_.size() == before) continue;
    if (starts) step_starts_.push_back(before);
    starts = false;
  }
  done_ = done_ && other.done_;
  return *this;
}

bool StepReport::StartsParagraph(size_t index) const {
  return index == 0 || !Continues(remarks_[index].notice) ||
         std::ranges::binary_search(step_starts_, index);
}

StepReport& StepReport::SetFailed() noexcept {
  done_ = false;
  return *this;
}

std::u16string TextOf(const StepReport& report) {
  std::u16string text;
  for (size_t i = 0; i < report.remarks().size(); ++i) {
    if (i != 0) text += report.StartsParagraph(i) ? u"\r\n\r\n" : u" ";
    text += TextOf(report.remarks()[i]);
  }
  return text;
}

}  // namespace pylon
