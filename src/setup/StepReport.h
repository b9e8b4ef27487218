#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <vector>

namespace pylon {

// The result of a step of the setup. Comments name the details that its text needs.
enum class Notice : uint8_t {
  kNoAppId,
  kUnknownAppId,    // application id
  kSettingsUnread,  // the reason, a whole text
  kNoActiveSync,
  kNotInActiveSync,
  kNotOutOfActiveSync,
  kNotGivenToManager,
  kGuestModeNotSet,
  kCannotConnect,
  kCannotStore,
  kNoHotSync,
  kNoCreatorId,
  kComponentNotAsked,      // the reason, a whole text
  kShadowed,               // application id of the first conduit, creator id
  kBadCreatorId,           // creator id; empty when it can't be shown
  kTaken,                  // creator id, title of the holder or empty
  kTakenAndLeft,           // the same
  kLibrariesOfOtherWidth,  // folder
  kLibraryNotLoaded,       // path, reason, system's error number
  kFunctionMissing,        // path, function
  kConduitsNotListed,      // failure
  kNameTooLong,            // name
  kNameNotAnsi,            // name
  kNotInHotSync,           // failure
  kNotTakenBack,           // failure
  kFormerNotRemoved,       // creator id, failure
  kNotOutOfHotSync,        // failure
  kHotSyncNotTold,         // cause, a whole sentence
  kUsersNotListed,         // failure
  kNoUsers,
  kSeveralUsers,  // their names
  kNoSuchUser,    // name, the users' names
  kPathTooLong,   // file
  kFileMissing,   // file
  kPathNotAnsi,   // file
  kNoFiles,
  kFileRefused,  // file, user, failure
};

struct Remark {
  Notice notice;
  std::vector<std::u16string> details;

  bool operator==(const Remark&) const = default;
};

// A sentence or two for the user.
std::u16string TextOf(const Remark& remark);

// How a step ended, and what the user must know about it; often nothing.
class StepReport {
 public:
  StepReport() = default;  // done
  static StepReport Failed(Notice notice, std::vector<std::u16string> details = {});

  bool done() const noexcept { return done_; }
  const std::vector<Remark>& remarks() const noexcept { return remarks_; }
  // Whether the remark at this index is a paragraph of its own, or the first of one.
  bool StartsParagraph(size_t index) const;

  StepReport& Add(Remark remark);  // not twice
  // Of another step that belongs to this one: done only when both are. Its remarks begin a
  // paragraph.
  StepReport& Add(const StepReport& other);
  StepReport& SetFailed() noexcept;

 private:
  bool done_ = true;
  std::vector<Remark> remarks_;
  std::vector<size_t> step_starts_;  // where the remarks of added reports begin, ascending
};

// The remarks as paragraphs. One that continues the remark before it, from the same step, is in the
// same paragraph.
std::u16string TextOf(const StepReport& report);

// Ends a step, or a question to a system, that can't be done.
class StepFailure : public std::exception {
 public:
  explicit StepFailure(StepReport report) : report_(std::move(report)) {}
  StepFailure(Notice notice, std::vector<std::u16string> details = {})
      : report_(StepReport::Failed(notice, std::move(details))) {}

  const StepReport& report() const noexcept { return report_; }
  const char* what() const noexcept override { return "a step of the setup failed"; }

 private:
  StepReport report_;
};

// The report of a step that may end in a StepFailure.
template <class Step>
StepReport ReportOf(Step&& step) {
  try {
    return step();
  } catch (const StepFailure& failure) {
    return failure.report();
  }
}

}  // namespace pylon
