#include "startup/HandheldRuns.h"

#include <utility>

#include "base/AutomationError.h"
#include "base/ScopeExit.h"
#include "base/Text.h"
#include "files/FileNames.h"
#include "files/WindowsFile.h"

namespace pylon {
namespace {

constexpr char16_t kPylon[] = u"Pylon";

// Takes the flag for a block, or raises an error when it is taken.
auto TakeTurn(bool& busy) {
  if (busy) {
    throw AutomationError(ErrorNumber::kInvalidArgument,
                          u"Another sync or configuration is running.");
  }
  busy = true;
  return ScopeExit([&busy] { busy = false; });
}

// A line of the handheld's log: our messages may have several.
std::u16string LogLine(std::u16string_view name, std::u16string_view text) {
  std::u16string line(name.empty() ? kPylon : name);
  line += u": ";
  for (const char16_t c : text) {
    if (c == u'\n') continue;
    line.push_back(c == u'\r' || c == u'\t' ? u' ' : c);
  }
  return line;
}

void AddLine(Handheld& handheld, std::u16string_view name, std::u16string_view text) noexcept {
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

HandheldRuns::HandheldRuns(Server& server, PcSide pc, HandheldTarget::Link link)
    : utils_(pc.code_page),
      components_(server),
      program_{server, std::move(pc), components_},
      link_(std::move(link)) {}

SyncResult HandheldRuns::Sync(const std::shared_ptr<Handheld>& handheld, const Conduit& wanted) {
  try {
    const auto turn = TakeTurn(busy_);
    return RunOne(handheld, wanted);
  } catch (const std::exception&) {
    Report(*handheld, CurrentError().description());
  }
  return SyncResult::kFailed;
}

SyncResult HandheldRuns::RunOne(const std::shared_ptr<Handheld>& handheld, const Conduit& wanted) {
  const std::shared_ptr<cConduitList> conduits = Conduits();
  const int16_t index = Find(*conduits, wanted);
  if (index == 0) {
    Report(*handheld, NoAppIdText(link_.name) + u" " + Unknown(*conduits, wanted));
    return SyncResult::kFailed;
  }
  const bool described = conduits->Failure(index).empty();
  const std::u16string name = described ? conduits->ApplicationName(index) : conduits->AppId(index);
  SyncRequest request;
  request.app_id = conduits->AppId(index);
  request.target = std::make_unique<HandheldTarget>(program_.pc, handheld, link_);
  request.attended = false;
  const SyncOutcome outcome = RunSync(program_, *conduits, std::move(request));
  switch (outcome.result()) {
    case SyncResult::kDone:
      AddLine(*handheld, name, u"Sync Finished");
      break;
    case SyncResult::kCancelled:
      AddLine(*handheld, name, u"Sync cancelled by the user.");
      break;
    case SyncResult::kFailed:
      AddLine(*handheld, name, u"Sync Failed: " + TextOf(outcome));
      break;
  }
  return outcome.result();
}

void HandheldRuns::Configure(const Conduit& wanted) {
  const auto turn = TakeTurn(busy_);
  const std::shared_ptr<cConduitList> conduits = Conduits();
  const std::u16string& class_id = conduits->ClassId(Require(*conduits, wanted));
  const ComponentFactory::Result created = components_.Create(class_id);
  if (!created.component) {
    throw AutomationError(ErrorNumber::kCannotCreateObject, class_id + u": " + created.reason);
  }
  created.component->ConfigureConduit();
}

HotSyncHost::Conduit HandheldRuns::Describe(const Conduit& wanted) {
  const std::shared_ptr<cConduitList> conduits = Conduits();
  const int16_t index = Require(*conduits, wanted);
  return {conduits->ApplicationName(index), conduits->Version(index)};
}

void HandheldRuns::Report(Handheld& handheld, std::u16string_view line) noexcept {
  AddLine(handheld, kPylon, line);
}

std::shared_ptr<cConduitList> HandheldRuns::Conduits() {
  const PcSide& pc = program_.pc;
  // Before the file is read: a change meanwhile gives it a later time.
  const uint64_t written = win::WriteTime(JoinFullName(pc.program_folder, cConduitList::kFileName));
  if (conduits_ && written == conduits_written_) return conduits_;
  auto conduits = std::make_shared<cConduitList>(pc.program_folder, components_, pc.code_page);
  if (!conduits->LoadError().empty()) {
    throw AutomationError(ErrorNumber::kPathFileAccess, conduits->LoadError());
  }
  conduits_written_ = written;
  return conduits_ = std::move(conduits);
}

int16_t HandheldRuns::Find(const cConduitList& conduits, const Conduit& wanted) const {
  if (wanted.creator) {
    const int16_t index = conduits.FindAppIdFromCreatorId(utils_.PalmLongtoId(*wanted.creator));
    if (index != 0) return index;
  }
  const std::u16string_view folder = LastName(wanted.path);
  if (folder.empty()) return 0;
  for (int16_t index = 1; index <= conduits.Count(); ++index) {
    if (EqualsIgnoringCase(FolderName(conduits.AppId(index)), folder)) return index;
  }
  return 0;
}

int16_t HandheldRuns::Require(const cConduitList& conduits, const Conduit& wanted) const {
  const int16_t index = Find(conduits, wanted);
  if (index == 0) throw AutomationError(ErrorNumber::kInvalidArgument, Unknown(conduits, wanted));
  return index;
}

std::u16string HandheldRuns::Unknown(const cConduitList& conduits, const Conduit& wanted) const {
  if (!wanted.creator) return link_.name + u" does not say which conduit it means.";
  std::u16string text = u"No conduit is registered for the creator id '" +
                        utils_.PalmLongtoId(*wanted.creator) + u"'.";
  for (int16_t index = 1; index <= conduits.Count(); ++index) {
    const std::u16string& failure = conduits.Failure(index);
    if (failure.empty()) continue;
    text += u" '" + conduits.AppId(index) + u"' can't be asked for its own: " + failure;
  }
  return text;
}

}  // namespace pylon
