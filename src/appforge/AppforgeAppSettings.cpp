#include "appforge/AppforgeAppSettings.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "appforge/PDBAppforgeDefinition.h"
#include "appforge/PDBAppforgeRecord.h"
#include "base/AutomationError.h"
#include "base/Text.h"
#include "pdb/PDBByteStream.h"
#include "pdb/PDBDatabase.h"
#include "pdb/PDBFileSystem.h"

namespace pylon {
namespace {

constexpr std::u16string_view kDatabaseSuffix = u"-Settings";
constexpr const char16_t* kFields[] = {u"f0", u"f1", u"f2"};
// Positions in a record. The position of the section is not a field and so always empty: handhelds
// hold settings that were made to be found without one.
constexpr int16_t kSection = 0;
constexpr int16_t kKey = 1;
constexpr int16_t kValue = 2;

AutomationError BadArgument(std::u16string description) {
  return AutomationError(ErrorNumber::kInvalidArgument, std::move(description));
}

bool HasNul(std::u16string_view text) { return text.find(u'\0') != text.npos; }

// Whether no name between backslashes is empty.
bool IsPath(std::u16string_view text) {
  return !text.empty() && text.front() != u'\\' && text.back() != u'\\' &&
         text.find(u"\\\\") == text.npos && !HasNul(text);
}

bool CanName(std::u16string_view app_name, std::u16string_view section, std::u16string_view key) {
  return IsPath(app_name) && IsPath(section) && !key.empty() && !HasNul(key);
}

void RequireNames(std::u16string_view app_name, std::u16string_view section,
                  std::u16string_view key) {
  if (CanName(app_name, section, key)) return;
  throw BadArgument(u"No setting can have the application '" + std::u16string(app_name) +
                    u"', the section '" + std::u16string(section) + u"' and the key '" +
                    std::u16string(key) + u"'.");
}

// A database with the cursor that its user left in it.
struct InUse {
  std::shared_ptr<PDBDatabase> database;
  int32_t cursor;
};

std::vector<InUse> OpenDatabases(const PDBFileSystem& files) {
  std::vector<InUse> open;
  for (int32_t i = 1; i <= files.DatabaseCount(); ++i) {
    const std::shared_ptr<PDBDatabase> database = files.Database(i);
    if (database->IsOpen()) open.push_back({database, database->IterationIndex()});
  }
  return open;
}

// Leaves a database as it was found: with its old cursor when it was open, else closed.
class Visit {
 public:
  // The cursor of one that was open.
  Visit(PDBDatabase& database, std::optional<int32_t> cursor)
      : database_(database), cursor_(cursor) {}
  ~Visit() {
    if (left_) return;
    try {
      Leave();
    } catch (const std::exception&) {
      // Another error is on its way to the caller. What could not be saved is still open, and the
      // end of the file system tries again.
    }
  }
  Visit(const Visit&) = delete;
  Visit& operator=(const Visit&) = delete;

  // Keeps the cursor on its record when one before it goes.
  void Remove(int32_t index, int32_t unique_id) {
    database_.Remove(unique_id);
    if (cursor_ && index < *cursor_) --*cursor_;
  }
  void Leave() {
    left_ = true;
    if (cursor_) {
      database_.SetIterationIndex(*cursor_);
    } else {
      database_.CloseDatabase();
    }
  }

 private:
  PDBDatabase& database_;
  std::optional<int32_t> cursor_;
  bool left_ = false;
};

}  // namespace

// The settings table of an application in an open database, and the record that was found in it.
class AppforgeAppSettings::Table {
 public:
  Table(PDBDatabase& database, std::optional<int32_t> cursor, std::u16string name,
        const AnsiCodePage& code_page)
      : database_(database),
        visit_(database, cursor),
        name_(std::move(name)),
        code_page_(code_page),
        stream_(code_page),
        definition_(std::make_shared<PDBAppforgeDefinition>(code_page)),
        record_(code_page) {}

  void ReadDefinition() {
    stream_.Fill(database_.ReadAppInfoBlock());
    // Without a table no record holds a setting; Find reports one that is there all the same.
    definition_->IsAppforgeData(stream_);
  }
  void WriteDefinition() {
    for (const char16_t* field : kFields) definition_->AddFieldName(field, eStringField);
    try {
      database_.WriteAppInfoBlock(definition_->AppInfoBlock().BlockBytes());
    } catch (const AutomationError&) {
      // A database without them would be taken for an empty table ever after.
      RemoveWhatWasMade();
      throw;
    }
  }

  bool Find(std::u16string_view section, std::u16string_view key) {
    record_.SetAppforgeDefinition(definition_);
    database_.SetIterationIndex(1);
    while (const std::optional<Record> record = database_.Next()) {
      // All that a handheld keeps of a record that the user has deleted.
      if ((record->attributes & eDelete) && record->data.bytes().empty()) continue;
      stream_.Fill(record->data);
      index_ = record->index;
      unique_id_ = record->id;
      category_ = record->category;
      attributes_ = record->attributes;
      const bool found = OfRecord([&] {
        record_.Decode(stream_);
        return record_.StringValue(kKey) == key && record_.StringValue(kSection) == section;
      });
      if (found) return true;
    }
    return false;
  }

  std::u16string Value() const {
    return OfRecord([&] { return record_.StringValue(kValue); });
  }
  void SetValue(std::u16string_view value) {
    OfRecord([&] {
      record_.SetStringValue(kValue, std::u16string(value));
      record_.Encode(stream_);
      if (!ReadsBackAs(value)) {
        throw BadArgument(
            u"The value is too long, or has a character that the handheld can't keep.");
      }
    });
    database_.Update(index_, unique_id_, category_, attributes_, stream_.RecordBytes());
  }
  void Remove() { visit_.Remove(index_, unique_id_); }
  void Leave() { visit_.Leave(); }

 private:
  void RemoveWhatWasMade() noexcept {
    try {
      database_.RemoveDatabase();
    } catch (const std::exception&) {
      // Another error is on its way to the caller.
    }
  }

  // Not every text survives the handheld's strings, and a record that can't be read would hide all
  // settings behind it.
  bool ReadsBackAs(std::u16string_view value) const {
    PDBAppforgeRecord record(code_page_);
    record.SetAppforgeDefinition(definition_);
    try {
      record.Decode(stream_);
      return record.StringValue(kValue) == value;
    } catch (const AutomationError&) {
      return false;
    }
  }

  // Adds to an error which record it is about.
  template <class Action>
  std::invoke_result_t<Action> OfRecord(Action&& action) const {
    try {
      return action();
    } catch (const AutomationError& error) {
      throw AutomationError(error.number(), error.source(),
                            u"Record " + ToText(index_) + u" of the database '" + name_ + u"': " +
                                error.description());
    }
  }

  PDBDatabase& database_;
  Visit visit_;
  std::u16string name_;
  const AnsiCodePage& code_page_;
  PDBByteStream stream_;
  std::shared_ptr<PDBAppforgeDefinition> definition_;
  PDBAppforgeRecord record_;
  int32_t index_ = 0;
  int32_t unique_id_ = 0;
  int16_t category_ = 0;
  int32_t attributes_ = 0;
};

AppforgeAppSettings::AppforgeAppSettings(std::shared_ptr<const RunningSync> sync,
                                         UserSettings& store, const AnsiCodePage& code_page)
    : sync_(std::move(sync)),
      store_(store),
      code_page_(code_page),
      device_type_(sync_ ? sync_->DeviceType() : dtPC) {}

std::u16string AppforgeAppSettings::GetSettings(std::u16string_view AppName,
                                                std::u16string_view Section,
                                                std::u16string_view Key,
                                                std::u16string_view Default) {
  std::u16string value;
  switch (device_type_) {
    case dtPC:
      if (!CanName(AppName, Section, Key)) return std::u16string(Default);
      return store_.Read(AppName, Section, Key).value_or(std::u16string(Default));
    case dtHotSync:
      OnHandheld(AppName, OpenMode::kExisting, [&](Table& table) {
        if (table.Find(Section, Key)) value = table.Value();
      });
      break;
    case dtActiveSync:
      break;
  }
  return value;
}

void AppforgeAppSettings::SaveSettings(std::u16string_view AppName, std::u16string_view Section,
                                       std::u16string_view Key, std::u16string_view Value) {
  switch (device_type_) {
    case dtPC:
      RequireNames(AppName, Section, Key);
      if (HasNul(Value)) {
        throw BadArgument(u"The value of '" + std::u16string(Key) + u"' holds a NUL character.");
      }
      store_.Write(AppName, Section, Key, Value);
      break;
    case dtHotSync:
      OnHandheld(AppName, OpenMode::kCreate, [&](Table& table) {
        if (table.Find(Section, Key)) table.SetValue(Value);
      });
      break;
    case dtActiveSync:
      break;
  }
}

void AppforgeAppSettings::DeleteSettings(std::u16string_view AppName, std::u16string_view Section,
                                         std::u16string_view Key) {
  switch (device_type_) {
    case dtPC:
      RequireNames(AppName, Section, Key);
      if (!store_.Delete(AppName, Section, Key)) {
        throw BadArgument(u"There is no setting '" + std::u16string(Key) + u"' in the section '" +
                          std::u16string(Section) + u"' of '" + std::u16string(AppName) + u"'.");
      }
      break;
    case dtHotSync:
      OnHandheld(AppName, OpenMode::kCreate, [&](Table& table) {
        if (table.Find(Section, Key)) table.Remove();
      });
      break;
    case dtActiveSync:
      break;
  }
}

void AppforgeAppSettings::OnHandheld(std::u16string_view app_name, OpenMode mode,
                                     const std::function<void(Table&)>& action) const {
  const std::shared_ptr<PDBFileSystem> files = sync_->FileSystem();
  if (!files) return;
  const std::u16string name = std::u16string(app_name) + std::u16string(kDatabaseSuffix);
  const std::vector<InUse> open = OpenDatabases(*files);
  std::shared_ptr<PDBDatabase> database;
  const bool existing = files->OpenDatabase(name, database);
  if (!existing && (mode == OpenMode::kExisting || !files->CreateDatabase(name, database))) return;

  const auto found = std::ranges::find(open, database, &InUse::database);
  Table table(*database, found == open.end() ? std::nullopt : std::optional(found->cursor), name,
              code_page_);
  if (existing) {
    table.ReadDefinition();
  } else {
    table.WriteDefinition();
  }
  action(table);
  table.Leave();
}

}  // namespace pylon
