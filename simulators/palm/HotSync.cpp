#include "HotSync.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "ClientNotify.h"
#include "ConduitRegistry.h"
#include "Registration.h"
#include "Session.h"
#include "Suite.h"
#include "SuiteError.h"
#include "base/Text.h"
#include "base/Win32.h"

namespace pylon::palm {
namespace {

// While a session runs, and while a process refuses objects for want of one.
constexpr wchar_t kSessionName[] = L"Local\\PalmSimulator.Session";
constexpr wchar_t kRefusingName[] = L"Local\\PalmSimulator.Refusing";
constexpr DWORD kRefuseFor = 5'000;
constexpr DWORD kLookEvery = 50;

bool Exists(const wchar_t* name) {
  return static_cast<bool>(KernelHandle(::OpenEventW(SYNCHRONIZE, FALSE, name)));
}

// COM gives objects to whoever offers their classes, so those who refuse them must go first.
void WaitForRefusing() {
  for (DWORD waited = 0; Exists(kRefusingName) && waited < 2 * kRefuseFor; waited += kLookEvery) {
    ::Sleep(kLookEvery);
  }
}

void PumpMessages() {
  MSG message;
  while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    ::TranslateMessage(&message);
    ::DispatchMessageW(&message);
  }
}

Conduit RequireConduit(uint32_t creator) {
  auto conduit = FindConduit(creator);
  if (!conduit) {
    throw SuiteError{kNotFound,
                     u"No conduit is registered for the creator " + CreatorText(creator)};
  }
  return *std::move(conduit);
}

std::u16string UserFolder(const Settings& settings) {
  const std::u16string folder = HotSyncFolder();
  const std::filesystem::path home =
      folder.empty() ? settings.ini.parent_path() : std::filesystem::path(folder);
  return (home / std::filesystem::path(settings.user_name)).u16string();
}

// The folder that the conduit keeps its files in; made as HotSync makes it.
std::u16string ConduitFolder(const Settings& settings, const Conduit& conduit) {
  const std::filesystem::path folder =
      std::filesystem::path(UserFolder(settings)) /
      std::filesystem::path(conduit.directory.empty() ? CreatorText(conduit.creator)
                                                      : conduit.directory);
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  return folder.u16string() + u"\\";
}

// Why it failed; empty when it did not.
std::u16string RunConduit(const Conduit& conduit) try {
  ClientNotify client(conduit.com_client);
  return client.BeginProcess() ? u"" : u"it says so itself";
} catch (const SuiteError& error) {
  return error.description + u" (" + Hex(error.result) + u")";
}

void RegisterLibrary(const Settings& settings) {
  if (!settings.second_library) return;
  const std::optional<bool> second = RegisteredSecond();
  if (second && *second != *settings.second_library) Register(*settings.second_library);
}

}  // namespace

bool IsSessionRunning() { return Exists(kSessionName); }

bool PlayHotSync(const Settings& settings, const PrintLine& print) {
  const KernelHandle running(::CreateEventW(nullptr, TRUE, FALSE, kSessionName));
  if (!running || ::GetLastError() == ERROR_ALREADY_EXISTS) {
    throw SuiteError{kRefused, u"Another session runs on this PC"};
  }
  RegisterLibrary(settings);
  const bool tells_creator = !RegisteredSecond().value_or(false);
  const auto session = std::make_shared<Session>(settings, RegisteredAccessModes());
  const auto say = [&](const std::u16string& line) {
    session->AddLogLine(line);
    print(line);
  };
  say(u"HotSync of " + settings.user_name + u" begins " + FormatDate(session->Now()));
  if (!settings.answers) {
    say(u"The handheld does not answer");
    return false;
  }
  WaitForRefusing();
  bool all_well = true;
  {
    const SuiteServer server(session);
    for (const Conduit& conduit : RegisteredConduits()) {
      const auto& chosen = settings.conduits;
      if (!chosen.empty() && std::ranges::find(chosen, conduit.creator) == chosen.end()) continue;
      const std::u16string label = conduit.Label();
      if (conduit.com_client.empty()) {
        say(label + u": passed over, it is no COM conduit");
        continue;
      }
      if (session->IsLost()) {
        say(label + u": not run, the connection is lost");
        all_well = false;
        continue;
      }
      print(label + u" ...");
      session->run = {conduit.creator, ConduitFolder(settings, conduit), tells_creator};
      const std::u16string failure = RunConduit(conduit);
      PumpMessages();
      if (failure.empty()) {
        say(u"OK " + label);
      } else {
        say(label + u": failed, " + failure);
        all_well = false;
      }
    }
  }
  session->End();
  if (session->IsLost()) all_well = false;
  say(session->IsLost() ? u"The connection to the handheld was lost"
      : all_well        ? u"HotSync is complete"
                        : u"HotSync is complete, with failures");
  return all_well;
}

void ConfigureConduit(uint32_t creator, const Settings& settings, const PrintLine& print) {
  const Conduit conduit = RequireConduit(creator);
  ClientNotify client(conduit.com_client);
  const int32_t preference = client.ConfigureConduit(ConduitFolder(settings, conduit), {},
                                                     settings.sync_type, settings.sync_type);
  print(u"Preference " + ToText(preference));
}

void CfgConduit(uint32_t creator, const Settings& settings, const PrintLine& print) {
  const Conduit conduit = RequireConduit(creator);
  ClientNotify client(conduit.com_client);
  const auto chosen = client.CfgConduit(creator, settings.user_id, settings.user_name,
                                        ConduitFolder(settings, conduit), settings.sync_type);
  print(u"Temporary " + ToText(chosen.temporary) + u", new " + ToText(chosen.next) +
        u", preference " + ToText(chosen.preference));
}

void ShowConduitInfo(uint32_t creator, const Settings& settings, const PrintLine& print) {
  const Conduit conduit = RequireConduit(creator);
  ClientNotify client(conduit.com_client);
  const ConduitInfoTypes types = RegisteredConduitInfoTypes();
  const std::pair<const char16_t*, int32_t> questions[] = {
      {u"Name", types.name},
      {u"MFC version", types.mfc_version},
      {u"Default action", types.default_action},
      {u"Version", types.version}};
  for (const auto& [title, type] : questions) {
    const std::u16string line = std::u16string(title) + u": ";
    try {
      com::Variant info =
          client.GetConduitInfo(type, creator, settings.user_id, settings.user_name);
      com::Variant text;
      com::Check(::VariantChangeTypeEx(text.get(), info.get(), LOCALE_INVARIANT, 0, VT_BSTR));
      print(line + com::Text(V_BSTR(text.get())));
    } catch (const SuiteError& error) {
      print(line + u"no answer, " + error.description);
    }
  }
}

void RefuseObjects() {
  const KernelHandle refusing(::CreateEventW(nullptr, TRUE, FALSE, kRefusingName));
  if (IsSessionRunning()) return;
  const SuiteServer server(nullptr);
  // A refused program may go on with the next class at once.
  DWORD left = kRefuseFor;
  for (size_t refused = 0; left > 0 && !IsSessionRunning(); left -= kLookEvery) {
    ::MsgWaitForMultipleObjects(0, nullptr, FALSE, kLookEvery, QS_ALLINPUT);
    PumpMessages();
    if (std::exchange(refused, RefusedObjects()) != RefusedObjects()) left = 1'000;
  }
}

}  // namespace pylon::palm
