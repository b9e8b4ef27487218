#include "startup/HotSyncRuns.h"

#include <utility>

#include "base/AutomationError.h"
#include "base/Text.h"
#include "base/Types.h"
#include "files/FileNames.h"
#include "files/WindowsFile.h"

namespace pylon {
namespace {

constexpr char16_t kPylon[] = u"Pylon";
constexpr char16_t kBusy[] = u"Another sync or configuration is running.";

class Busy {
 public:
  explicit Busy(bool& flag) noexcept : flag_(flag) { flag_ = true; }
  ~Busy() { flag_ = false; }
  Busy(const Busy&) = delete;
  Busy& operator=(const Busy&) = delete;

 private:
  bool& flag_;
};

// A line of HotSync's log: our messages may have several.
std::u16string LogLine(std::u16string_view name, std::u16string_view text) {
  std::u16string line(name.empty() ? kPylon : name);
  line += u": ";
  for (const char16_t c : text) {
    if (c == u'\n') continue;
    line.push_back(c == u'\r' || c == u'\t' ? u' ' : c);
  }
  return line;
}

void Tell(Handheld& handheld, std::u16string_view name, std::u16string_view text) noexcept {
  try {
    handheld.AddLogEntry(LogLine(name, text));
  } catch (const std::exception&) {
    // The session is over; our own log has it.
  }
}

std::u16string_view LastName(std::u16string_view path) noexcept {
  while (path.ends_with(u'\\')) path.remove_suffix(1);
  const size_t separator = path.rfind(u'\\');
  return separator == path.npos ? path : path.substr(separator + 1);
}

}  // namespace

HotSyncRuns::HotSyncRuns(Server& server, const std::u16string& program_folder,
                         const AnsiCodePage& code_page, const Clock& clock)
    : utils_(code_page),
      components_(server),
      program_{server, program_folder, code_page, clock, components_} {}

std::shared_ptr<cConduitList> HotSyncRuns::Conduits() {
  // Before the file is read: a change meanwhile gives it a later time.
  const uint64_t written = win::WriteTime(JoinFullName(program_.folder, cConduitList::kFileName));
  if (conduits_ && written == conduits_written_) return conduits_;
  auto conduits = std::make_shared<cConduitList>(program_.folder, components_, program_.code_page);
  if (!conduits->LoadError().empty()) {
    throw AutomationError(ErrorNumber::kPathFileAccess, conduits->LoadError());
  }
  conduits_written_ = written;
  return conduits_ = std::move(conduits);
}

int16_t HotSyncRuns::Find(const cConduitList& conduits, std::optional<int32_t> creator,
                          std::u16string_view path) const {
  if (creator) {
    const int16_t index = conduits.FindAppIdFromCreatorId(utils_.PalmLongtoId(*creator));
    if (index != 0) return index;
  }
  const std::u16string_view folder = LastName(path);
  if (folder.empty()) return 0;
  for (int16_t index = 1; index <= conduits.Count(); ++index) {
    if (EqualsIgnoringCase(FolderName(conduits.AppId(index)), folder)) return index;
  }
  return 0;
}

std::u16string HotSyncRuns::Unknown(const cConduitList& conduits,
                                    std::optional<int32_t> creator) const {
  if (!creator) return u"HotSync does not say which conduit it means.";
  std::u16string text =
      u"No conduit is registered for the creator id '" + utils_.PalmLongtoId(*creator) + u"'.";
  for (int16_t index = 1; index <= conduits.Count(); ++index) {
    const std::u16string& failure = conduits.Failure(index);
    if (failure.empty()) continue;
    text += u" '" + conduits.AppId(index) + u"' can't be asked for its own: " + failure;
  }
  return text;
}

bool HotSyncRuns::Sync(std::optional<int32_t> creator) {
  if (busy_) {
    Tell(*SuiteHandheld::Connect(program_.code_page), kPylon, kBusy);
    return false;
  }
  const Busy busy(busy_);
  const auto handheld = SuiteHandheld::Connect(program_.code_page);
  try {
    return SyncWith(handheld, creator);
  } catch (const AutomationError& error) {
    Tell(*handheld, kPylon, error.description());
  } catch (const std::exception& error) {
    Tell(*handheld, kPylon, FromUtf8(error.what()));
  }
  return false;
}

bool HotSyncRuns::SyncWith(const std::shared_ptr<SuiteHandheld>& handheld,
                           std::optional<int32_t> creator) {
  const SuiteHandheld::Conduit running = handheld->RunningConduit();
  if (running.creator && *running.creator != 0) creator = running.creator;
  const std::shared_ptr<cConduitList> conduits = Conduits();
  const int16_t index = Find(*conduits, creator, running.path);
  std::u16string name = kPylon;
  if (index != 0) {
    const bool named = conduits->Failure(index).empty();
    name = named ? conduits->ApplicationName(index) : conduits->AppId(index);
  }
  SyncRequest request;
  request.database_type = dftPalmHotSync;
  request.handheld = handheld;
  if (index != 0) request.app_id = conduits->AppId(index);
  const SyncOutcome outcome = RunSync(program_, conduits, request);
  switch (outcome.result) {
    case SyncResult::kDone:
      Tell(*handheld, name, u"Sync Finished");
      return true;
    case SyncResult::kCancelled:
      Tell(*handheld, name, u"Sync cancelled by the user.");
      return false;
    case SyncResult::kFailed:
      Tell(*handheld, name,
           index == 0 ? outcome.error + u" " + Unknown(*conduits, creator)
                      : u"Sync Failed: " + outcome.error);
      return false;
  }
  return false;
}

void HotSyncRuns::Configure(std::optional<int32_t> creator, std::u16string_view path) {
  if (busy_) throw AutomationError(ErrorNumber::kInvalidArgument, kBusy);
  const Busy busy(busy_);
  const std::shared_ptr<cConduitList> conduits = Conduits();
  const int16_t index = Find(*conduits, creator, path);
  if (index == 0) throw AutomationError(ErrorNumber::kInvalidArgument, Unknown(*conduits, creator));
  const std::u16string& class_id = conduits->ClassId(index);
  const ComponentFactory::Result created = components_.Create(class_id);
  if (!created.component) {
    throw AutomationError(ErrorNumber::kCannotCreateObject, class_id + u": " + created.reason);
  }
  created.component->ConfigureConduit();
}

HotSyncHost::Conduit HotSyncRuns::Describe(std::optional<int32_t> creator) {
  const std::shared_ptr<cConduitList> conduits = Conduits();
  const int16_t index = Find(*conduits, creator);
  if (index == 0) throw AutomationError(ErrorNumber::kInvalidArgument, Unknown(*conduits, creator));
  return {conduits->ApplicationName(index), conduits->Version(index)};
}

void HotSyncRuns::Report(std::u16string_view line) noexcept {
  try {
    Tell(*SuiteHandheld::Connect(program_.code_page), kPylon, line);
  } catch (const std::exception&) {
    // No session: then there is no log either.
  }
}

}  // namespace pylon
