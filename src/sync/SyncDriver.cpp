#include "sync/SyncDriver.h"

#include <exception>
#include <utility>

#include "base/AutomationError.h"
#include "pdb/CSyncIndex.h"

namespace pylon {
namespace {

constexpr char16_t kSyncFailed[] = u"Sync Failed: ";
constexpr char16_t kNotSaved[] = u"what was changed could not be saved.";

Failures Refusal(std::u16string text) { return {{FailureKind::kRefused, std::move(text)}}; }

// Not ToFailure: whatever its kind, the component has let it pass.
Failure ComponentFailure(const AutomationError& error) {
  return {FailureKind::kConduit, error.description(), error.number(), error.source()};
}

}  // namespace

SyncDriver::SyncDriver(SyncSurroundings surroundings)
    : with_(std::move(surroundings)), info_(std::make_shared<oSyncInfo>(with_.view, *with_.log)) {}

SyncOutcome SyncDriver::Run(RunConduit conduit) noexcept {
  conduit_ = std::move(conduit);
  if (Begin()) {
    Finish();
  } else if (info_->CancelSync()) {
    // Read now: a component may start a phase, which clears it, even while it is released.
    outcome_.SetCancelled();
  }
  Stop();
  return std::move(outcome_);
}

bool SyncDriver::Begin() noexcept {
  try {
    if (Failures refusals = Prepare(); !refusals.empty()) {
      outcome_.Add(std::move(refusals));
      return false;
    }
    component_->BeginSynchronize(info_);
    return true;
  } catch (const std::exception&) {
    AddComponentError(CurrentError());
  }
  return false;
}

Failures SyncDriver::Prepare() {
  if (conduit_.refusal) return {*conduit_.refusal};
  if (Failures refusals = CreateComponent(); !refusals.empty()) return refusals;
  Describe();
  with_.view.ShowFilePanel(false);
  if (!with_.target) return Refusal(with_.no_target);
  if (Failures refusals = ConnectTarget(); !refusals.empty()) return refusals;

  device_->SetAppId(conduit_.app_id);
  device_->SetFolder(conduit_.pc_folder);
  conduit_info_ = std::make_shared<CConduitInfo>(with_.stores, with_.log);
  conduit_info_->SetAppId(conduit_.app_id);
  conduit_info_->SetAppFolder(conduit_.pc_folder);
  info_->SetFileSystem(file_system_);
  info_->SetDevice(device_);
  info_->SetConduitInfo(conduit_info_);
  return {};
}

Failures SyncDriver::CreateComponent() {
  ComponentFactory::Result created = with_.components.Create(conduit_.class_id);
  switch (created.failure) {
    case ComponentFactory::Failure::kNotCreated:
      return Refusal(
          u"Unable to load the Active DLL/EXE.  Make sure it is install and registered "
          u"correctly.\r\n" +
          conduit_.class_id);
    case ComponentFactory::Failure::kNoInterface:
      return Refusal(u"Active DLL/EXE missing ISyncNotify Implementation.\r\n" + conduit_.class_id);
    case ComponentFactory::Failure::kNone:
      break;
  }
  component_ = std::move(created.component);
  return {};
}

void SyncDriver::Describe() {
  StatusHeading heading;
  heading.application_name = component_->GetConduitInfo(ctApplicationName);
  heading.title = heading.application_name;
  if (with_.target) heading.title += with_.target->TitleNote();
  heading.author = component_->GetConduitInfo(ctAuthor);
  heading.version = component_->GetConduitInfo(ctVersion);
  conduit_.creator_id = component_->GetConduitInfo(ctCreatorID);
  heading.icon = conduit_.icon;
  with_.view.SetHeading(heading);
}

Failures SyncDriver::ConnectTarget() {
  const SyncTarget::Run run = RunOfTarget();
  const SyncTarget::Device device = with_.target->Connect(run);
  device_ = std::make_shared<CDevice>(with_.stores, with_.pc.clock, with_.log);
  device_->SetDeviceType(device.type);
  device_->SetDeviceName(device.name);
  device_->SetDeviceDateTime(device.now);
  // Before the first line, which would have no file to go to.
  SetLogFile(device.name);
  with_.log->SetShowLog(conduit_.show_log);

  // Kept in the conduit's folder, wherever the databases are.
  const SyncIndexFactory indexes =
      [surroundings = CSyncIndex::Surroundings{with_.pc.files, with_.pc.code_page, with_.pc.clock,
                                               with_.log, info_, conduit_.pc_folder, device.name}] {
        return std::make_shared<CSyncIndex>(surroundings);
      };
  Failures failures;
  file_system_ = with_.target->Open(run, indexes, failures);
  if (file_system_) return {};
  if (with_.target->IsLost()) {
    const std::u16string lost(with_.target->LostText());
    with_.log->UpdateLog(lost);
    failures.push_back({FailureKind::kLinkLost, lost});
  }
  return failures;
}

void SyncDriver::Finish() noexcept {
  try {
    component_->SynchronizeClose();
  } catch (const std::exception&) {
    with_.log->UpdateLog(u"SynchronizeClose: " + TextOf(ComponentFailure(CurrentError())));
  }
  Failures unsaved;
  const bool saved = file_system_->CloseDatabases(unsaved);
  if (!saved && unsaved.empty()) {
    unsaved.push_back({FailureKind::kUnsaved, u"What was changed could not be saved."});
  }
  outcome_.Add(std::move(unsaved));
  // The component may not have noticed a lost link; its next sync must not start from today.
  const bool lost = with_.target->IsLost();
  if (!saved || lost) {
    with_.log->UpdateLog(kSyncFailed +
                         (saved ? std::u16string(with_.target->LostText()) : kNotSaved));
    return;
  }
  with_.log->UpdateLog(u"Sync Finished");
  const Date now = with_.pc.clock.Now();
  if (!device_->SetSyncDateTime(now)) {
    with_.log->UpdateLog(u"The date of this sync could not be kept for the device.");
  }
  if (!conduit_info_->SetSyncDateTime(now)) {
    with_.log->UpdateLog(u"The date of this sync could not be kept for the application.");
  }
}

void SyncDriver::Stop() noexcept {
  // A component may call back while it is released, so everything that it can reach is still there.
  component_.reset();
  info_->Detach();
  if (file_system_) {
    Failures unsaved;
    file_system_->End(unsaved);
    outcome_.Add(std::move(unsaved));
  }
  AddLostLink();
  LogRefusal();
  if (with_.target) with_.target->End();
  with_.log->Close();
  file_system_.reset();
  device_.reset();
  conduit_info_.reset();
}

SyncTarget::Run SyncDriver::RunOfTarget() const { return {conduit_, with_.view, info_, with_.log}; }

void SyncDriver::SetLogFile(const std::u16string& device_name) {
  with_.log->SetFile(conduit_.app_id, device_name);
  log_has_file_ = true;
}

void SyncDriver::AddComponentError(const AutomationError& error) {
  const Failure failure = ComponentFailure(error);
  with_.log->UpdateLog(kSyncFailed + TextOf(failure));
  outcome_.Add(failure);
  if (!with_.target || !with_.target->IsLost()) return;
  const std::u16string_view lost = with_.target->LostText();
  if (failure.text.find(lost) == failure.text.npos) with_.log->UpdateLog(lost);
}

// After the databases that could not be saved, whose reasons name it already.
void SyncDriver::AddLostLink() {
  if (!with_.target || !with_.target->IsLost() || outcome_.Has(FailureKind::kLinkLost)) return;
  outcome_.Add({FailureKind::kLinkLost, std::u16string(with_.target->LostText())});
}

// The log of a run that nobody watches names every failure. An error of the component that came
// after the log had its file is there already.
void SyncDriver::LogRefusal() {
  if (with_.attended || !with_.target) return;
  const bool refused = outcome_.Has(FailureKind::kRefused);
  if (!refused && (log_has_file_ || !outcome_.Has(FailureKind::kConduit))) return;
  if (!log_has_file_) {
    const SyncTarget::Device device = with_.target->Connect(RunOfTarget());
    if (with_.target->IsLost()) return;  // and with it the name of the file
    SetLogFile(device.name);
  }
  with_.log->UpdateLog(kSyncFailed + TextOf(outcome_));
}

}  // namespace pylon
