#pragma once

#include <functional>
#include <memory>
#include <string>

#include "automation/HotSyncHost.h"
#include "automation/TypeLibrary.h"
#include "base/AnsiCodePage.h"
#include "base/Date.h"
#include "base/LogSink.h"
#include "files/IPCFile.h"
#include "sync/oSyncInfo.h"

namespace pylon {

// Shared by every automation object of the process: the type library, the surroundings of new
// objects, and the count of its clients, with whose last one a server process ends.
//
// The program makes one and passes it to each object, which keeps a reference to it; it outlives
// them all. Used by the one STA thread.
class Server {
 public:
  Server(std::u16string type_library_path, const AnsiCodePage& code_page, const Clock& clock,
         FileFactory files);

  // Called when the last client is gone; it may be empty.
  void SetOnIdle(std::function<void()> on_idle) { on_idle_ = std::move(on_idle); }

  TypeLibrary& types() noexcept { return types_; }
  const AnsiCodePage& code_page() const noexcept { return *code_page_; }
  const Clock& clock() const noexcept { return *clock_; }
  const FileFactory& files() const noexcept { return files_; }

  // The running sync and its log; null when there is none.
  const std::shared_ptr<oSyncInfo>& run() const noexcept { return run_; }
  const std::shared_ptr<LogSink>& run_log() const noexcept { return run_log_; }
  void SetRun(std::shared_ptr<oSyncInfo> run, std::shared_ptr<LogSink> log) noexcept {
    run_ = std::move(run);
    run_log_ = std::move(log);
  }

  // Runs the syncs that HotSync asks for; null in a process that isn't a server. Borrowed.
  HotSyncHost* hot_sync() const noexcept { return hot_sync_; }
  void SetHotSync(HotSyncHost* host) noexcept { hot_sync_ = host; }

  // Counts what keeps a server process alive: objects that other processes hold, and locks.
  void AddClient() noexcept { ++clients_; }
  void RemoveClient() noexcept;
  long clients() const noexcept { return clients_; }

  // Counts all objects. A component in this process that never lets go of one keeps nothing alive.
  void AddObject() noexcept { ++objects_; }
  void RemoveObject() noexcept { --objects_; }
  long objects() const noexcept { return objects_; }

 private:
  TypeLibrary types_;
  const AnsiCodePage* code_page_;
  const Clock* clock_;
  FileFactory files_;
  std::function<void()> on_idle_;
  std::shared_ptr<oSyncInfo> run_;
  std::shared_ptr<LogSink> run_log_;
  HotSyncHost* hot_sync_ = nullptr;
  long clients_ = 0;
  long objects_ = 0;
};

}  // namespace pylon
