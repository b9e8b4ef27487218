#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "Handheld.h"
#include "Link.h"
#include "Settings.h"

namespace pylon::palm {

// The numbers of EAccessModes in the library that is registered.
struct AccessModes {
  int32_t read = 0x80;
  int32_t write = 0x40;
  int32_t show_secret = 0x10;
};

// What the conduit that runs is told about itself.
struct ConduitRun {
  uint32_t creator = 0;
  std::u16string path;        // the conduit's folder for this user, with a trailing backslash
  bool tells_creator = true;  // the second library has no member for it
};

// One HotSync session: the handheld, the link to it, and both logs. The suite's objects share it;
// they outlive it at times, and fail then.
class Session {
 public:
  // Raises SuiteError when the folder or the logs are not available.
  Session(Settings settings, AccessModes modes);
  // Writes what End did not come to.
  ~Session() { SaveAll(); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  const Settings& settings() const { return settings_; }
  const AccessModes& modes() const { return modes_; }
  Handheld& handheld() { return handheld_; }
  Date Now() const;

  // A line in the log of the session.
  void AddLogLine(std::u16string_view line);

  ConduitRun run;

  // A call over the link; see Link. Before it, the databases that are open must be so still.
  template <class Body>
  auto Call(std::u16string_view function, std::u16string_view arguments, Body&& body) {
    if (ended_) throw SuiteError{kNoSession, u"The HotSync session has ended"};
    return link_.Call(function, arguments, std::forward<Body>(body));
  }
  bool IsLost() const { return link_.IsLost(); }

  void Opened(std::u16string_view name) { ++open_[std::u16string(name)]; }
  bool IsOpen(std::u16string_view name) const { return open_.contains(name); }
  // Writes the database's file.
  void Close(std::u16string_view name) noexcept;

  // Raise SuiteError when a fault that the settings ask for forbids it.
  void CheckRecord(std::u16string_view database, uint32_t id) const;
  void CheckAllRecords(std::u16string_view database) const;
  void CheckWrite(std::u16string_view database, size_t bytes);

  // What has reached the handheld is written.
  void End();

 private:
  void SaveAll() noexcept;

  const Settings settings_;
  const AccessModes modes_;
  TextLog call_log_;
  TextLog session_log_;
  const bool logs_open_;
  Handheld handheld_;
  Link link_;
  std::map<std::u16string, int, std::less<>> open_;
  uint64_t written_ = 0;
  bool ended_ = false;
};

}  // namespace pylon::palm
