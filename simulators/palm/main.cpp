// PalmSimulator.exe: the simulated handheld, the suite through which conduits reach it, and a
// HotSync manager that runs them. README.md tells how to use it.

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ConduitRegistry.h"
#include "Handheld.h"
#include "HotSync.h"
#include "Registration.h"
#include "Settings.h"
#include "SuiteError.h"
#include "base/AnsiCodePage.h"
#include "base/AutomationError.h"
#include "base/Com.h"
#include "base/Text.h"

namespace pylon::palm {
namespace {

constexpr int kAllWell = 0;
constexpr int kSomeFailed = 1;
constexpr int kNotBegun = 2;

constexpr char16_t kUsage[] =
    uR"(PalmSimulator COMMAND [/ini FILE]   without a FILE: handheld.ini beside the program

  /regserver [/second]            register as the HotSync suite; its second order of members
  /unregserver                    take that away
  /sync [FILE] [/only CREATOR]    a HotSync session: run every registered conduit, or that one
  /conduits                       list them
  /addconduit CREATOR PROGID [TITLE [DIRECTORY]]
  /removeconduit CREATOR
  /configure CREATOR              the conduit's own configuration
  /cfg CREATOR                    its dialog for what the next sync does
  /info CREATOR                   its name and version

What the handheld's user does:
  /list                           databases
  /show DATABASE                  records, as texts
  /create DATABASE CREATOR TYPE   a new one, empty
  /add DATABASE TEXT              a record with the text; \n is a line end
  /change DATABASE ID TEXT
  /delete DATABASE ID [/archive]
)";

void Print(std::u16string_view text) {
  const std::string utf8 = ToUtf8(text) + "\n";
  std::fwrite(utf8.data(), 1, utf8.size(), stdout);
  std::fflush(stdout);
}

// Wrong use of the program.
struct UsageError {
  std::u16string what;
};

class CommandLine {
 public:
  explicit CommandLine(std::vector<std::u16string> arguments) : arguments_(std::move(arguments)) {}

  // Takes the switch out, with the text behind it when it has one.
  bool TakeSwitch(std::u16string_view name) {
    const auto found = Find(name);
    if (found == arguments_.end()) return false;
    arguments_.erase(found);
    return true;
  }
  std::u16string TakeValue(std::u16string_view name) {
    const auto found = Find(name);
    if (found == arguments_.end()) return {};
    if (std::next(found) == arguments_.end()) throw UsageError{std::u16string(name) + u" of what?"};
    std::u16string value = *std::next(found);
    arguments_.erase(found, found + 2);
    return value;
  }
  std::u16string Take(const char16_t* what) {
    if (arguments_.empty()) throw UsageError{std::u16string(what) + u" is missing"};
    std::u16string first = arguments_.front();
    arguments_.erase(arguments_.begin());
    return first;
  }
  std::u16string TakeOptional() { return arguments_.empty() ? u"" : Take(u""); }
  void RequireEnd() const {
    if (!arguments_.empty()) throw UsageError{u"What is " + arguments_.front() + u"?"};
  }
  bool IsEmpty() const { return arguments_.empty(); }

 private:
  std::vector<std::u16string>::iterator Find(std::u16string_view name) {
    return std::ranges::find_if(
        arguments_, [&](const auto& argument) { return EqualsIgnoringCase(argument, name); });
  }

  std::vector<std::u16string> arguments_;
};

uint32_t CreatorOf(const std::u16string& text) {
  const auto creator = ParseCreator(text);
  if (!creator) throw UsageError{u"A creator has four characters, not " + text};
  return *creator;
}

uint32_t TakeCreator(CommandLine& line) { return CreatorOf(line.Take(u"The creator")); }

SuiteError NotRegistered(uint32_t creator) {
  return {kNotFound, u"No conduit is registered for the creator " + CreatorText(creator)};
}

uint32_t TakeId(CommandLine& line) {
  const std::u16string text = line.Take(u"The record's id");
  uint32_t id = 0;
  for (const char16_t c : text) {
    if (c < u'0' || c > u'9' || id > kMaxUniqueId) throw UsageError{text + u" is no id"};
    id = 10 * id + static_cast<uint32_t>(c - u'0');
  }
  return id;
}

// One byte a character, \n as a line end, a zero behind: what memo databases hold.
Bytes TakeText(CommandLine& line) {
  std::u16string text = line.Take(u"The text");
  for (size_t at = 0; (at = text.find(u"\\n", at)) != text.npos; ++at) text.replace(at, 2, u"\n");
  Bytes bytes = AnsiCodePage::Windows1252().Encode(text);
  bytes.push_back(std::byte{0});
  return bytes;
}

Settings UsableSettings(const std::u16string& ini) {
  Settings settings = ReadSettings(ini);
  if (settings.mistakes.empty()) return settings;
  std::u16string all = u"The settings are wrong:";
  for (const std::u16string& mistake : settings.mistakes) all += u"\n  " + mistake;
  throw SuiteError{kBadArgument, all};
}

Database& RequireDatabase(Handheld& handheld, const std::u16string& name) {
  Database* const database = handheld.Find(name);
  if (!database) throw SuiteError{kNotFound, u"There is no database " + name};
  // Its resources were not read, so a file written from it would lack them.
  if (database->IsResources()) throw SuiteError{kRefused, u"It holds resources, not records"};
  return *database;
}

void List(Handheld& handheld) {
  for (const std::u16string& name : handheld.Names()) {
    const Database& database = *handheld.Find(name);
    Print(name + u": type " + CreatorText(database.type()) + u", creator " +
          CreatorText(database.creator()) + u", " + ToText(database.count()) +
          u" records, modified " + FormatDate(database.modified()));
  }
}

std::u16string AttributeNames(int32_t attributes) {
  constexpr std::pair<int32_t, const char16_t*> kNames[] = {{eDelete, u", deleted"},
                                                            {eArchive, u", archived"},
                                                            {eDirty, u", dirty"},
                                                            {kBusy, u", busy"},
                                                            {eSecret, u", secret"}};
  std::u16string text;
  for (const auto& [bit, name] : kNames) {
    if (attributes & bit) text += name;
  }
  return text;
}

void Show(const Database& database) {
  for (int32_t index = 0; const auto record = database.At(index); ++index) {
    const auto end = std::ranges::find(record->data, std::byte{0});
    const ByteSpan text(record->data.begin(), end);
    Print(u"id " + ToText(record->id) + u", category " + ToText(record->category) +
          AttributeNames(record->attributes) + u": " + AnsiCodePage::Windows1252().Decode(text));
  }
}

int EditHandheld(const std::u16string& command, CommandLine& line, const Settings& settings) {
  if (IsSessionRunning()) throw SuiteError{kRefused, u"A session runs on this PC"};
  const Date now = settings.clock.value_or(SystemClock().Now());
  Handheld handheld(settings.folder, Print);
  if (command == u"/list") {
    line.RequireEnd();
    List(handheld);
    return kAllWell;
  }
  const std::u16string name = line.Take(u"The database");
  if (command == u"/create") {
    const uint32_t creator = TakeCreator(line);
    const uint32_t type = TakeCreator(line);
    line.RequireEnd();
    handheld.Add(Database::Make(name, creator, type, now));
    handheld.Save(name);
    return kAllWell;
  }
  Database& database = RequireDatabase(handheld, name);
  const auto require_record = [&](uint32_t id) {
    const auto record = database.Find(id);
    if (!record) throw SuiteError{kNotFound, u"There is no record " + ToText(id)};
    return *record;
  };
  if (command == u"/show") {
    line.RequireEnd();
    Show(database);
    return kAllWell;
  }
  uint32_t id = 0;
  if (command == u"/add") {
    const Bytes text = TakeText(line);
    line.RequireEnd();
    id = database.Write(0, 0, eDirty, text, now);
  } else if (command == u"/change") {
    id = TakeId(line);
    const Bytes text = TakeText(line);
    line.RequireEnd();
    const Record record = require_record(id);
    database.Write(id, record.category, record.attributes | eDirty, text, now);
  } else {
    const bool archive = line.TakeSwitch(u"/archive");
    id = TakeId(line);
    line.RequireEnd();
    require_record(id);
    database.MarkDeleted(id, archive, now);
  }
  handheld.Save(name);
  Print(u"Record " + ToText(id));
  return kAllWell;
}

class Apartment {
 public:
  Apartment() { com::Check(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)); }
  ~Apartment() { ::CoUninitialize(); }
  Apartment(const Apartment&) = delete;
  Apartment& operator=(const Apartment&) = delete;
};

int RunCommand(const std::u16string& command, CommandLine& line) {
  const std::u16string ini = line.TakeValue(u"/ini");
  if (command == u"/regserver") {
    const bool second = line.TakeSwitch(u"/second");
    line.RequireEnd();
    Register(second);
  } else if (command == u"/unregserver") {
    line.RequireEnd();
    Unregister();
  } else if (command == u"/sync") {
    const std::u16string only = line.TakeValue(u"/only");
    const std::u16string file = line.TakeOptional();
    line.RequireEnd();
    Settings settings = UsableSettings(file.empty() ? ini : file);
    if (!only.empty()) {
      const uint32_t creator = CreatorOf(only);
      const auto registered = RegisteredConduits();
      if (std::ranges::find(registered, creator, &Conduit::creator) == registered.end()) {
        throw NotRegistered(creator);
      }
      settings.conduits = {creator};
    }
    return PlayHotSync(settings, Print) ? kAllWell : kSomeFailed;
  } else if (command == u"/conduits") {
    line.RequireEnd();
    for (const Conduit& conduit : RegisteredConduits()) {
      Print(CreatorText(conduit.creator) + u" " + conduit.Label() + u": " +
            (conduit.com_client.empty() ? u"no COM conduit" : conduit.com_client) + u", priority " +
            ToText(conduit.priority));
    }
  } else if (command == u"/addconduit") {
    Conduit conduit;
    conduit.creator = TakeCreator(line);
    conduit.com_client = line.Take(u"The ProgID");
    conduit.title = conduit.name = line.TakeOptional();
    conduit.directory = line.TakeOptional();
    line.RequireEnd();
    AddConduit(conduit);
  } else if (command == u"/removeconduit") {
    const uint32_t creator = TakeCreator(line);
    line.RequireEnd();
    if (!RemoveConduit(creator)) throw NotRegistered(creator);
  } else if (command == u"/configure" || command == u"/cfg" || command == u"/info") {
    const uint32_t creator = TakeCreator(line);
    line.RequireEnd();
    const auto action = command == u"/configure" ? ConfigureConduit
                        : command == u"/cfg"     ? CfgConduit
                                                 : ShowConduitInfo;
    action(creator, UsableSettings(ini), Print);
  } else if (command == u"/list" || command == u"/show" || command == u"/create" ||
             command == u"/add" || command == u"/change" || command == u"/delete") {
    return EditHandheld(command, line, UsableSettings(ini));
  } else {
    throw UsageError{u"There is no command " + command};
  }
  return kAllWell;
}

int Main(std::vector<std::u16string> arguments) try {
  CommandLine line(std::move(arguments));
  const Apartment apartment;
  // COM's way to start a server.
  if (line.TakeSwitch(u"-Embedding") || line.TakeSwitch(u"/Embedding")) {
    RefuseObjects();
    return kAllWell;
  }
  if (line.IsEmpty() || line.TakeSwitch(u"/?")) {
    Print(kUsage);
    return kNotBegun;
  }
  return RunCommand(ToLower(line.Take(u"The command")), line);
} catch (const UsageError& error) {
  Print(error.what + u"\n\n" + kUsage);
  return kNotBegun;
} catch (const SuiteError& error) {
  Print(u"PalmSimulator: " + error.description);
  return kNotBegun;
} catch (...) {
  Print(u"PalmSimulator: " + CurrentError().description());
  return kNotBegun;
}

}  // namespace
}  // namespace pylon::palm

int wmain(int count, wchar_t** arguments) {
  std::vector<std::u16string> texts;
  for (int i = 1; i < count; ++i) texts.push_back(pylon::FromWide(arguments[i]));
  return pylon::palm::Main(std::move(texts));
}
