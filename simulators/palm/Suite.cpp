#include "Suite.h"

#include <algorithm>
#include <atomic>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "Dispatch.h"
#include "base/SystemMessage.h"
#include "base/Text.h"
#include "pdb/ByteOrder.h"

namespace pylon::palm {
namespace {

constexpr WORD kMethod = DISPATCH_METHOD;
constexpr WORD kGet = DISPATCH_PROPERTYGET;
constexpr WORD kGetAndPut = DISPATCH_PROPERTYGET | DISPATCH_PROPERTYPUT;

constexpr std::u16string_view kAdapterProgId = u"PDDirect.PDRecordAdapter";
constexpr size_t kIdBytes = 4;

std::u16string Quoted(std::u16string_view text) { return u"\"" + std::u16string(text) + u"\""; }

void AppendNumber(std::u16string& line, std::u16string_view name, int64_t value) {
  line.append(u" ").append(name).append(u"=").append(ToText(value));
}

SuiteError NoSuchDatabase(std::u16string_view name) {
  return {kNotFound, u"There is no database " + std::u16string(name)};
}

class UserInfo final : public Dispatch<UserInfo> {
 public:
  static constexpr wchar_t kName[] = L"PDDirect.PDUserInfo";
  static const Member<UserInfo> kMembers[2];

  explicit UserInfo(std::shared_ptr<Session> session) : session_(std::move(session)) {}
  com::Variant UserName(Arguments&) { return FromText(session_->settings().user_name); }
  com::Variant UserId(Arguments&) { return com::Variant(session_->settings().user_id); }

 private:
  const std::shared_ptr<Session> session_;
};

const Member<UserInfo> UserInfo::kMembers[] = {
    {L"UserName", 1, kGet, 0, 0, &UserInfo::UserName},
    {L"UserId", 2, kGet, 0, 0, &UserInfo::UserId},
};

// What the conduit that runs is told. As it was when the object was asked for.
class HotSyncInfo final : public Dispatch<HotSyncInfo> {
 public:
  static constexpr wchar_t kName[] = L"PDDirect.PDHotSyncInfo";
  static const Member<HotSyncInfo> kMembers[5];

  explicit HotSyncInfo(Session& session)
      : run_(session.run), sync_type_(session.settings().sync_type) {
    for (const std::u16string& name : session.handheld().Names()) {
      if (session.handheld().Find(name)->creator() == run_.creator) names_.push_back(name);
    }
  }
  com::Variant SyncType(Arguments&) { return com::Variant(sync_type_); }
  com::Variant PathName(Arguments&) { return FromText(run_.path); }
  com::Variant CreatorId(Arguments&) {
    if (!run_.tells_creator) {
      throw SuiteError{static_cast<uint32_t>(DISP_E_MEMBERNOTFOUND), u"There is no CreatorId"};
    }
    return com::Variant(static_cast<int32_t>(run_.creator));
  }
  com::Variant NameList(Arguments& arguments) {
    const int32_t index = arguments.Long(0);
    if (index < 0 || static_cast<size_t>(index) >= names_.size()) throw SubscriptOutOfRange();
    return FromText(names_[static_cast<size_t>(index)]);
  }
  com::Variant NameCount(Arguments&) { return com::Variant(static_cast<int32_t>(names_.size())); }

 private:
  const ConduitRun run_;
  const int32_t sync_type_;
  std::vector<std::u16string> names_;
};

const Member<HotSyncInfo> HotSyncInfo::kMembers[] = {
    {L"SyncType", 1, kGet, 0, 0, &HotSyncInfo::SyncType},
    {L"PathName", 2, kGet, 0, 0, &HotSyncInfo::PathName},
    {L"CreatorId", 3, kGet, 0, 0, &HotSyncInfo::CreatorId},
    {L"NameList", 4, kGet, 1, 1, &HotSyncInfo::NameList},
    {L"NameCount", 5, kGet, 0, 0, &HotSyncInfo::NameCount},
};

class SystemAdapter final : public Dispatch<SystemAdapter> {
 public:
  static constexpr wchar_t kName[] = L"PDDirect.PDSystemAdapter";
  static const Member<SystemAdapter> kMembers[4];

  explicit SystemAdapter(std::shared_ptr<Session> session) : session_(std::move(session)) {}

  com::Variant DateTime(Arguments&) {
    return FromDate(session_->Call(u"DateTime", {}, [&](std::u16string& result) {
      const Date now = session_->Now();
      result += u" " + FormatDate(now);
      return now;
    }));
  }
  com::Variant PDHotSyncInfo(Arguments&) { return FromObject(com::Make<HotSyncInfo>(*session_)); }
  com::Variant PDUserInfo(Arguments&) { return FromObject(com::Make<UserInfo>(session_)); }
  com::Variant AddLogEntry(Arguments& arguments) {
    const std::u16string text = arguments.Text(0);
    session_->Call(u"AddLogEntry", Quoted(text),
                   [&](std::u16string&) { session_->AddLogLine(text); });
    return {};
  }

 private:
  const std::shared_ptr<Session> session_;
};

const Member<SystemAdapter> SystemAdapter::kMembers[] = {
    {L"DateTime", 1, kGet, 0, 0, &SystemAdapter::DateTime},
    {L"PDHotSyncInfo", 2, kGet, 0, 0, &SystemAdapter::PDHotSyncInfo},
    {L"PDUserInfo", 3, kGet, 0, 0, &SystemAdapter::PDUserInfo},
    {L"AddLogEntry", 4, kMethod, 1, 1, &SystemAdapter::AddLogEntry},
};

// One open database. Closed when the last reference goes.
class RecordAdapter final : public Dispatch<RecordAdapter> {
 public:
  static constexpr wchar_t kName[] = L"PDDirect.PDRecordAdapter";
  static const Member<RecordAdapter> kMembers[15];

  // Without a database, as made by name: every member fails.
  explicit RecordAdapter(std::shared_ptr<Session> session) : session_(std::move(session)) {}
  RecordAdapter(std::shared_ptr<Session> session, std::u16string database, int32_t mode)
      : session_(std::move(session)), database_(std::move(database)), mode_(mode) {
    session_->Opened(database_);
  }
  ~RecordAdapter() {
    if (!database_.empty()) session_->Close(database_);
  }

  com::Variant RecordCount(Arguments&) {
    return com::Variant(Call(u"RecordCount", {}, [&](Database& database, std::u16string& result) {
      AppendNumber(result, u"count", database.count());
      return database.count();
    }));
  }
  // The position is the PC's business: nothing goes over the link.
  com::Variant IterationIndex(Arguments& arguments) {
    if (!arguments.IsPut()) return com::Variant(position_);
    const int32_t position = arguments.Long(0);
    if (position < 0) throw SuiteError{kBadArgument, u"IterationIndex is 0 or more"};
    position_ = position;
    end_ = false;
    return {};
  }
  com::Variant End(Arguments&) { return FromBool(end_); }

  com::Variant ReadNext(Arguments& arguments) {
    return ReadOn(u"ReadNext", arguments, {.secret = ShowsSecret(), .modified = false});
  }
  com::Variant ReadNextModified(Arguments& arguments) {
    return ReadOn(u"ReadNextModified", arguments, {.secret = ShowsSecret(), .modified = true});
  }
  com::Variant ReadByIndex(Arguments& arguments) {
    const int32_t index = arguments.Long(0);
    return Read(u"ReadByIndex", u"index=" + ToText(index), arguments, 0,
                [&](const Database& database) { return database.At(index); });
  }
  com::Variant ReadById(Arguments& arguments) {
    const uint32_t id = IdOf(arguments, 0);
    return Read(u"ReadById", u"id=" + ToText(id), arguments, 1,
                [&](const Database& database) { return database.Find(id); });
  }

  com::Variant Write(Arguments& arguments) {
    const uint32_t id = IdOf(arguments, 0);
    const int32_t category = arguments.Long(1);
    const int32_t attributes = arguments.Long(2);
    const Bytes data = arguments.ByteArray(3);
    std::u16string text = u"id=" + ToText(id);
    AppendNumber(text, u"category", category);
    AppendNumber(text, u"attributes", attributes);
    AppendNumber(text, u"bytes", static_cast<int64_t>(data.size()));
    const uint32_t written = Call(u"Write", text, [&](Database& database, std::u16string& result) {
      session_->CheckRecord(database_, id);
      RequireWrite(data.size());
      const uint32_t now_id = database.Write(id, category, attributes, data, session_->Now());
      AppendNumber(result, u"id", now_id);
      return now_id;
    });
    arguments.Set(0, FromId(written));
    return {};
  }
  com::Variant Remove(Arguments& arguments) {
    const uint32_t id = IdOf(arguments, 0);
    Call(u"Remove", u"id=" + ToText(id), [&](Database& database, std::u16string&) {
      RequireWrite(0);
      session_->CheckRecord(database_, id);
      if (!database.Remove(id, session_->Now())) {
        throw SuiteError{kNotFound, u"There is no such record"};
      }
    });
    return {};
  }
  com::Variant RemoveSet(Arguments& arguments) {
    const int32_t which = arguments.Long(0);
    Call(u"RemoveSet", u"which=" + ToText(which), [&](Database& database, std::u16string&) {
      if (which != 0 && which != 1) throw SuiteError{kBadArgument, u"There is no such set"};
      RequireWrite(0);
      session_->CheckAllRecords(database_);
      which == 0 ? database.RemoveAll(session_->Now()) : database.RemoveDeleted(session_->Now());
    });
    return {};
  }
  com::Variant ResetAllModifiedFlags(Arguments&) {
    Call(u"ResetAllModifiedFlags", {}, [&](Database& database, std::u16string&) {
      RequireWrite(0);
      database.ResetModified(session_->Now());
    });
    return {};
  }

  com::Variant ReadAppInfoBlock(Arguments&) {
    return ReadBlock(u"ReadAppInfoBlock", &Database::app_info);
  }
  com::Variant WriteAppInfoBlock(Arguments& arguments) {
    return WriteBlock(u"WriteAppInfoBlock", arguments, &Database::SetAppInfo);
  }
  com::Variant ReadSortInfoBlock(Arguments&) {
    return ReadBlock(u"ReadSortInfoBlock", &Database::sort_info);
  }
  com::Variant WriteSortInfoBlock(Arguments& arguments) {
    return WriteBlock(u"WriteSortInfoBlock", arguments, &Database::SetSortInfo);
  }

 private:
  // Calls body(database, result) over the link.
  template <class Body>
  std::invoke_result_t<Body&, Database&, std::u16string&> Call(std::u16string_view function,
                                                               const std::u16string& text,
                                                               Body&& body) {
    if (database_.empty()) {
      throw SuiteError{kUnexpected, u"No database is open: OpenRecordDatabase gives the adapter"};
    }
    return session_->Call(function, Quoted(database_) + (text.empty() ? u"" : u" ") + text,
                          [&](std::u16string& result) {
                            Database* const database = session_->handheld().Find(database_);
                            if (!database) throw NoSuchDatabase(database_);
                            return body(*database, result);
                          });
  }

  bool ShowsSecret() const { return (mode_ & session_->modes().show_secret) != 0; }
  void RequireWrite(size_t bytes) {
    if (!(mode_ & session_->modes().write)) {
      throw SuiteError{kRefused, u"The database was not opened for writing"};
    }
    session_->CheckWrite(database_, bytes);
  }

  // An id as a caller passes it: a Long, 4 bytes, or nothing for a record that has none yet.
  uint32_t IdOf(Arguments& arguments, size_t i) const {
    const VARIANT& value = arguments.Value(i);
    if (V_VT(&value) == VT_EMPTY || V_VT(&value) == VT_NULL) return 0;
    uint32_t id = 0;
    if (V_VT(&value) & VT_ARRAY) {
      const Bytes bytes = arguments.ByteArray(i);
      if (bytes.empty()) return 0;
      if (bytes.size() != kIdBytes) throw SuiteError{kBadArgument, u"An id is 4 bytes"};
      id = static_cast<uint32_t>(LoadUnsigned(ByteSpan(bytes).first<kIdBytes>(), ByteOrder::kBig));
    } else {
      id = static_cast<uint32_t>(arguments.Long(i));
    }
    if (id > kMaxUniqueId) throw SuiteError{kBadArgument, u"An id has 24 bits"};
    return id;
  }
  com::Variant FromId(uint32_t id) const {
    if (session_->settings().ids_as_long) return com::Variant(static_cast<int32_t>(id));
    std::byte bytes[kIdBytes];
    StoreUnsigned(id, std::span<std::byte, kIdBytes>(bytes), ByteOrder::kBig);
    return com::FromBytes(bytes);
  }

  // Reads at the position and moves it behind the record, also when that one is refused: a reader
  // that goes on is not stuck.
  com::Variant ReadOn(std::u16string_view function, Arguments& arguments, Wanted wanted) {
    return Read(function, u"from=" + ToText(position_), arguments, 0,
                [&](const Database& database) {
                  const std::optional<Record> record = database.Next(position_, wanted);
                  if (record) position_ = record->index + 1;
                  return record;
                });
  }

  // The four reading members differ in how they find the record, and in whether the first argument
  // is its index, which is followed by its id, or its id, followed by its index.
  template <class Find>
  com::Variant Read(std::u16string_view function, const std::u16string& text, Arguments& arguments,
                    size_t index_at, Find find) {
    return Call(function, text, [&](Database& database, std::u16string& result) {
      std::optional<Record> record = find(std::as_const(database));
      if (record && !ShowsSecret() && (record->attributes & eSecret)) record.reset();
      end_ = !record;
      if (!record) {
        result += u" none";
        return com::Variant();
      }
      session_->CheckRecord(database_, record->id);
      if (index_at == 0) arguments.Set(1, FromId(record->id));
      arguments.Set(index_at, record->index);
      arguments.Set(2, record->category);
      arguments.Set(3, record->attributes);
      AppendNumber(result, u"index", record->index);
      AppendNumber(result, u"id", record->id);
      AppendNumber(result, u"category", record->category);
      AppendNumber(result, u"attributes", record->attributes);
      AppendNumber(result, u"bytes", static_cast<int64_t>(record->data.size()));
      return com::FromBytes(record->data);
    });
  }

  com::Variant ReadBlock(std::u16string_view function, ByteSpan (Database::*block)() const) {
    return Call(function, {}, [&](Database& database, std::u16string& result) {
      const ByteSpan bytes = (database.*block)();
      AppendNumber(result, u"bytes", static_cast<int64_t>(bytes.size()));
      return com::FromBytes(bytes);
    });
  }
  com::Variant WriteBlock(std::u16string_view function, Arguments& arguments,
                          void (Database::*put)(ByteSpan, Date)) {
    const Bytes bytes = arguments.ByteArray(0);
    std::u16string text = u"bytes=" + ToText(static_cast<int64_t>(bytes.size()));
    Call(function, text, [&](Database& database, std::u16string&) {
      RequireWrite(bytes.size());
      (database.*put)(bytes, session_->Now());
    });
    return {};
  }

  const std::shared_ptr<Session> session_;
  const std::u16string database_;
  const int32_t mode_ = 0;
  int32_t position_ = 0;
  bool end_ = false;
};

const Member<RecordAdapter> RecordAdapter::kMembers[] = {
    {L"RecordCount", 1, kGet, 0, 0, &RecordAdapter::RecordCount},
    {L"IterationIndex", 2, kGetAndPut, 0, 0, &RecordAdapter::IterationIndex},
    {L"EOF", 3, kGet, 0, 0, &RecordAdapter::End},
    {L"ReadNext", 4, kMethod, 4, 4, &RecordAdapter::ReadNext},
    {L"ReadByIndex", 5, kMethod, 4, 4, &RecordAdapter::ReadByIndex},
    {L"ReadById", 6, kMethod, 4, 4, &RecordAdapter::ReadById},
    {L"ReadNextModified", 7, kMethod, 4, 4, &RecordAdapter::ReadNextModified},
    {L"Write", 8, kMethod, 4, 4, &RecordAdapter::Write},
    {L"Remove", 9, kMethod, 1, 1, &RecordAdapter::Remove},
    {L"RemoveSet", 10, kMethod, 1, 1, &RecordAdapter::RemoveSet},
    {L"ResetAllModifiedFlags", 11, kMethod, 0, 0, &RecordAdapter::ResetAllModifiedFlags},
    {L"ReadAppInfoBlock", 12, kMethod, 0, 0, &RecordAdapter::ReadAppInfoBlock},
    {L"WriteAppInfoBlock", 13, kMethod, 1, 1, &RecordAdapter::WriteAppInfoBlock},
    {L"ReadSortInfoBlock", 14, kMethod, 0, 0, &RecordAdapter::ReadSortInfoBlock},
    {L"WriteSortInfoBlock", 15, kMethod, 1, 1, &RecordAdapter::WriteSortInfoBlock},
};

class DatabaseInfo final : public Dispatch<DatabaseInfo> {
 public:
  static constexpr wchar_t kName[] = L"PDDirect.PDDatabaseInfo";
  static const Member<DatabaseInfo> kMembers[6];

  explicit DatabaseInfo(const Database& database)
      : creator_(static_cast<int32_t>(database.creator())),
        type_(static_cast<int32_t>(database.type())),
        created_(database.created()),
        modified_(database.modified()),
        backed_up_(database.backed_up()),
        number_(static_cast<int32_t>(database.modification_number())) {}
  com::Variant CreatorId(Arguments&) { return com::Variant(creator_); }
  com::Variant TypeId(Arguments&) { return com::Variant(type_); }
  com::Variant CreateDate(Arguments&) { return FromDate(created_); }
  com::Variant ModifyDate(Arguments&) { return FromDate(modified_); }
  com::Variant BackupDate(Arguments&) { return FromDate(backed_up_); }
  com::Variant ModificationNumber(Arguments&) { return com::Variant(number_); }

 private:
  const int32_t creator_;
  const int32_t type_;
  const Date created_;
  const Date modified_;
  const Date backed_up_;
  const int32_t number_;
};

const Member<DatabaseInfo> DatabaseInfo::kMembers[] = {
    {L"CreatorId", 1, kGet, 0, 0, &DatabaseInfo::CreatorId},
    {L"TypeId", 2, kGet, 0, 0, &DatabaseInfo::TypeId},
    {L"CreateDate", 3, kGet, 0, 0, &DatabaseInfo::CreateDate},
    {L"ModifyDate", 4, kGet, 0, 0, &DatabaseInfo::ModifyDate},
    {L"BackupDate", 5, kGet, 0, 0, &DatabaseInfo::BackupDate},
    {L"ModificationNumber", 6, kGet, 0, 0, &DatabaseInfo::ModificationNumber},
};

com::Variant TextArray(const std::vector<std::u16string>& texts, bool as_variants) {
  const VARTYPE type = as_variants ? VT_VARIANT : VT_BSTR;
  com::Variant value;
  SAFEARRAY* const array = ::SafeArrayCreateVector(type, 0, static_cast<ULONG>(texts.size()));
  if (!array) throw std::bad_alloc();
  V_VT(value.get()) = static_cast<VARTYPE>(VT_ARRAY | type);
  V_ARRAY(value.get()) = array;
  for (LONG i = 0; i < static_cast<LONG>(texts.size()); ++i) {
    com::Variant text = FromText(texts[static_cast<size_t>(i)]);
    void* const element =
        as_variants ? static_cast<void*>(text.get()) : static_cast<void*>(V_BSTR(text.get()));
    com::Check(::SafeArrayPutElement(array, &i, element));
  }
  return value;
}

class DatabaseQuery final : public Dispatch<DatabaseQuery> {
 public:
  static constexpr wchar_t kName[] = L"PDDirect.PDDatabaseQuery";
  static const Member<DatabaseQuery> kMembers[5];

  explicit DatabaseQuery(std::shared_ptr<Session> session) : session_(std::move(session)) {}

  com::Variant OpenRecordDatabase(Arguments& arguments) {
    const std::u16string name = arguments.Text(0);
    const int32_t mode = Mode(arguments, 2);
    const std::u16string text = Quoted(name) + u" mode=" + ToText(mode);
    return session_->Call(u"OpenRecordDatabase", text, [&](std::u16string&) {
      RequireRecordAdapter(arguments.Text(1));
      const Database* const database = session_->handheld().Find(name);
      if (!database) throw NoSuchDatabase(name);
      if (database->IsResources()) {
        throw SuiteError{kRefused, u"It holds resources, not records"};
      }
      return FromObject(com::Make<RecordAdapter>(session_, name, mode));
    });
  }
  com::Variant CreateRecordDatabase(Arguments& arguments) {
    const std::u16string name = arguments.Text(0);
    const auto creator = static_cast<uint32_t>(arguments.Long(2));
    const auto type = static_cast<uint32_t>(arguments.Long(3));
    const int32_t mode = Mode(arguments, 5);
    std::u16string text = Quoted(name);
    AppendNumber(text, u"creator", creator);
    AppendNumber(text, u"type", type);
    return session_->Call(u"CreateRecordDatabase", text, [&](std::u16string&) {
      RequireRecordAdapter(arguments.Text(1));
      if (arguments.Has(4) && arguments.Long(4) != 0) {
        throw SuiteError{kBadArgument, u"The handheld has card 0 only"};
      }
      session_->CheckWrite(name, 0);
      session_->handheld().Add(Database::Make(name, creator, type, session_->Now()));
      return FromObject(com::Make<RecordAdapter>(session_, name, mode));
    });
  }
  com::Variant RemoveDatabase(Arguments& arguments) {
    const std::u16string name = arguments.Text(0);
    session_->Call(u"RemoveDatabase", Quoted(name), [&](std::u16string&) {
      if (!session_->handheld().Find(name)) throw NoSuchDatabase(name);
      if (session_->IsOpen(name)) throw SuiteError{kRefused, u"The database is open"};
      session_->CheckWrite(name, 0);
      session_->handheld().Remove(name);
    });
    return {};
  }
  // A simulated handheld has nothing in ROM.
  com::Variant ReadDbNameList(Arguments& arguments) {
    const bool in_ram = !arguments.Has(0) || arguments.Bool(0);
    return session_->Call(u"ReadDbNameList", in_ram ? u"ram" : u"rom", [&](std::u16string& result) {
      const auto names = in_ram ? session_->handheld().Names() : std::vector<std::u16string>();
      AppendNumber(result, u"count", static_cast<int64_t>(names.size()));
      return TextArray(names, session_->settings().names_as_variants);
    });
  }
  com::Variant ReadDbInfoByName(Arguments& arguments) {
    const std::u16string name = arguments.Text(0);
    return session_->Call(u"ReadDbInfoByName", Quoted(name), [&](std::u16string&) {
      const Database* const database = session_->handheld().Find(name);
      if (!database) throw NoSuchDatabase(name);
      return FromObject(com::Make<DatabaseInfo>(*database));
    });
  }

 private:
  // All rights, when the caller says nothing.
  int32_t Mode(const Arguments& arguments, size_t i) const {
    const AccessModes& modes = session_->modes();
    return arguments.Has(i) ? arguments.Long(i) : modes.read | modes.write | modes.show_secret;
  }
  static void RequireRecordAdapter(const std::u16string& prog_id) {
    if (EqualsIgnoringCase(prog_id, kAdapterProgId)) return;
    throw SuiteError{kBadArgument,
                     u"The simulated suite has the adapter PDDirect.PDRecordAdapter "
                     u"only, not " +
                         prog_id};
  }

  const std::shared_ptr<Session> session_;
};

const Member<DatabaseQuery> DatabaseQuery::kMembers[] = {
    {L"OpenRecordDatabase", 1, kMethod, 2, 3, &DatabaseQuery::OpenRecordDatabase},
    {L"CreateRecordDatabase", 2, kMethod, 4, 6, &DatabaseQuery::CreateRecordDatabase},
    {L"RemoveDatabase", 3, kMethod, 1, 1, &DatabaseQuery::RemoveDatabase},
    {L"ReadDbNameList", 4, kMethod, 0, 1, &DatabaseQuery::ReadDbNameList},
    {L"ReadDbInfoByName", 5, kMethod, 1, 1, &DatabaseQuery::ReadDbInfoByName},
};

template <class T>
com::Ptr<IDispatch> Create(std::shared_ptr<Session> session) {
  return com::Make<T>(std::move(session));
}

std::atomic<size_t> refused_objects = 0;

HRESULT CreateObject(const SuiteClass& suite_class, const std::shared_ptr<Session>& session,
                     REFIID id, void** object) noexcept {
  if (!session) {
    ++refused_objects;
    return static_cast<HRESULT>(kNoSession);
  }
  try {
    return suite_class.create(session)->QueryInterface(id, object);
  } catch (...) {
    return CaughtError(suite_class.prog_id, nullptr);
  }
}

}  // namespace

std::span<const SuiteClass> SuiteClasses() {
  static const SuiteClass kClasses[] = {
      {{0x7EEF96F1, 0x0BDC, 0x43D5, {0x88, 0xC5, 0x7B, 0xE1, 0xBD, 0x14, 0x03, 0x55}},
       DatabaseQuery::kName,
       Create<DatabaseQuery>},
      {{0xF1225656, 0x8253, 0x4B54, {0x9A, 0xBE, 0x5E, 0x55, 0x3A, 0xC9, 0xD9, 0x6F}},
       SystemAdapter::kName,
       Create<SystemAdapter>},
      {{0xDCB47475, 0x5D3F, 0x41A9, {0x9F, 0xE3, 0x5E, 0xDA, 0x18, 0x15, 0x1D, 0x5C}},
       RecordAdapter::kName,
       Create<RecordAdapter>},
  };
  return kClasses;
}

size_t RefusedObjects() { return refused_objects; }

SuiteServer::SuiteServer(std::shared_ptr<Session> session) {
  for (const SuiteClass& suite_class : SuiteClasses()) {
    const auto factory =
        com::MakeClassFactory([&suite_class, session](REFIID id, void** object) noexcept {
          return CreateObject(suite_class, session, id, object);
        });
    DWORD registration = 0;
    const HRESULT result = ::CoRegisterClassObject(suite_class.id, factory.get(),
                                                   CLSCTX_LOCAL_SERVER | CLSCTX_INPROC_SERVER,
                                                   REGCLS_MULTIPLEUSE, &registration);
    if (FAILED(result)) {
      for (const DWORD done : registrations_) ::CoRevokeClassObject(done);
      throw SuiteError{static_cast<uint32_t>(result),
                       u"The suite's classes can't be offered: " + SystemMessage(result)};
    }
    registrations_.push_back(registration);
    // Clients come and go all the time.
    if (reachable_.empty()) {
      reachable_.emplace_back(IID_IClassFactory, factory.get());
      reachable_.emplace_back(IID_IDispatch, suite_class.create(session).get());
    }
  }
}

SuiteServer::~SuiteServer() {
  for (const DWORD registration : registrations_) ::CoRevokeClassObject(registration);
}

}  // namespace pylon::palm
