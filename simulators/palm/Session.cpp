#include "Session.h"

#include <utility>

#include "base/Text.h"

namespace pylon::palm {

Session::Session(Settings settings, AccessModes modes)
    : settings_(std::move(settings)),
      modes_(modes),
      logs_open_(
          (call_log_.Open(settings_.call_log), session_log_.Open(settings_.session_log), true)),
      handheld_(
          settings_.folder,
          [this](std::u16string_view line) { call_log_.Write(u"note: " + std::u16string(line)); }),
      link_(settings_, call_log_, [this] { SaveAll(); }) {
  call_log_.Write(u"note: session of " + FormatDate(SystemClock().Now()) + u" with " +
                  settings_.folder.u16string());
}

Date Session::Now() const { return settings_.clock.value_or(SystemClock().Now()); }

void Session::AddLogLine(std::u16string_view line) { session_log_.Write(line); }

void Session::Close(std::u16string_view name) noexcept try {
  const auto open = open_.find(name);
  if (open == open_.end() || --open->second > 0) return;
  open_.erase(open);
  if (ended_ || IsLost()) return;  // saved already
  Call(u"Close", u"\"" + std::u16string(name) + u"\"",
       [&](std::u16string&) { handheld_.Save(name); });
} catch (const SuiteError&) {
  // The log has it.
}

void Session::CheckRecord(std::u16string_view database, uint32_t id) const {
  const auto& busy = settings_.busy_record;
  if (busy && busy->database == database && busy->id == id) {
    throw SuiteError{kRefused, u"The record is busy"};
  }
}

void Session::CheckAllRecords(std::u16string_view database) const {
  if (settings_.busy_record && settings_.busy_record->database == database) {
    throw SuiteError{kRefused, u"A record is busy"};
  }
}

void Session::CheckWrite(std::u16string_view database, size_t bytes) {
  const Database* found = handheld_.Find(database);
  if (settings_.read_only_database == database || (found && found->IsReadOnly())) {
    throw SuiteError{kRefused, u"The database is read-only"};
  }
  if (settings_.full_after_bytes && bytes > *settings_.full_after_bytes - written_) {
    throw SuiteError{kMemoryFull, u"The handheld's memory is full"};
  }
  written_ += bytes;
}

void Session::End() {
  if (std::exchange(ended_, true)) return;
  handheld_.SaveAll();
}

void Session::SaveAll() noexcept try { handheld_.SaveAll(); } catch (const SuiteError& error) {
  try {
    call_log_.Write(u"note: " + error.description);
  } catch (const SuiteError&) {
    // There is no other place to tell it.
  }
}

}  // namespace pylon::palm
