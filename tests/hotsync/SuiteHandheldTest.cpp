// The handheld behind the suite's objects: what is called, what comes back, what errors become.

#include "hotsync/SuiteHandheld.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/Implements.h"
#include "base/Text.h"
#include "tests/support/Errors.h"

namespace pylon {
namespace {

// An object whose members are functions by name; it counts what it is asked.
class FakeObject final : public com::WithoutDispatch<com::Implements<IDispatch>> {
 public:
  // Arguments in the order of the parameters, by-reference ones not yet followed.
  using Member = std::function<HRESULT(std::vector<VARIANT*> arguments, VARIANT* result)>;

  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR* names, UINT, LCID, DISPID* id) noexcept override {
    ++names_asked;
    const auto found = members.find(names[0]);
    if (found == members.end()) return DISP_E_UNKNOWNNAME;
    *id = static_cast<DISPID>(std::distance(members.begin(), found));
    return S_OK;
  }
  STDMETHODIMP Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* given, VARIANT* result,
                      EXCEPINFO* exception, UINT*) noexcept override {
    const auto& [name, member] = *std::next(members.begin(), id);
    const bool is_put = flags & DISPATCH_PROPERTYPUT;
    calls.push_back((is_put ? "put " : "") + ToUtf8(FromWide(name)));
    if (is_put && (given->cNamedArgs != 1 || *given->rgdispidNamedArgs != DISPID_PROPERTYPUT)) {
      return DISP_E_PARAMNOTFOUND;
    }
    std::vector<VARIANT*> arguments;
    for (UINT i = given->cArgs; i > 0; --i) arguments.push_back(&given->rgvarg[i - 1]);
    const HRESULT outcome = member(arguments, result);
    if (SUCCEEDED(outcome)) return outcome;
    exception->scode = outcome;
    exception->bstrSource = ::SysAllocString(L"Suite");
    exception->bstrDescription = ::SysAllocString(L"its words");
    return DISP_E_EXCEPTION;
  }

  std::map<std::wstring, Member> members;
  std::vector<std::string> calls;
  int names_asked = 0;
};

using Fake = com::Ptr<FakeObject>;

// One that can be given again and again.
struct Value : com::Variant {
  Value() = default;
  Value(com::Variant value) : Variant(std::move(value)) {}
  Value(const Value& other) : Variant() { other.CopyTo(get()); }
  HRESULT CopyTo(VARIANT* target) const {
    return ::VariantCopy(target, const_cast<VARIANT*>(get()));
  }
};

FakeObject::Member Answer(HRESULT result) {
  return [result](std::vector<VARIANT*>, VARIANT*) { return result; };
}
FakeObject::Member Answer(const Value& value) {
  return [value](std::vector<VARIANT*>, VARIANT* result) { return value.CopyTo(result); };
}
Value ObjectValue(const Fake& object) {
  Value value;
  V_VT(value.get()) = VT_DISPATCH;
  V_DISPATCH(value.get()) = com::Ptr<FakeObject>::Share(object.get()).Detach();
  return value;
}
Value Long(int32_t value) { return com::Variant(value); }
Value TextValue(std::u16string_view text) {
  Value value;
  V_VT(value.get()) = VT_BSTR;
  V_BSTR(value.get()) = com::Bstr(text).Detach();
  return value;
}
Value Array(std::vector<uint8_t> values) {
  return com::FromBytes(std::as_bytes(std::span(values)));
}
Value Names(VARTYPE type, std::vector<std::u16string> names) {
  Value value;
  V_VT(value.get()) = static_cast<VARTYPE>(VT_ARRAY | type);
  V_ARRAY(value.get()) = ::SafeArrayCreateVector(type, 0, static_cast<ULONG>(names.size()));
  for (LONG i = 0; i < static_cast<LONG>(names.size()); ++i) {
    Value name = TextValue(names[static_cast<size_t>(i)]);
    void* const element = type == VT_BSTR ? static_cast<void*>(V_BSTR(name.get())) : name.get();
    ::SafeArrayPutElement(V_ARRAY(value.get()), &i, element);
  }
  return value;
}

class SuiteHandheldTest : public ::testing::Test {
 protected:
  SuiteHandheldTest() {
    query_->members[L"OpenRecordDatabase"] = Answer(ObjectValue(adapter_));
    query_->members[L"ReadDbNameList"] = Answer(Names(VT_BSTR, {u"Memos", u"There"}));
  }

  // A record that a read gives; nothing filled without an id.
  void Reads(const wchar_t* member, std::optional<Value> id, const Value& data) {
    adapter_->members[member] = [=](std::vector<VARIANT*> arguments, VARIANT* result) {
      const bool by_id = std::wstring_view(member) == L"ReadById";
      if (id) {
        *V_I4REF(arguments[by_id ? 1 : 0]) = 5;
        id->CopyTo(V_VARIANTREF(arguments[by_id ? 0 : 1]));
        *V_I4REF(arguments[2]) = 0x1F;
        *V_I4REF(arguments[3]) = 0xD3;
      }
      return data.CopyTo(result);
    };
  }
  std::unique_ptr<HandheldDatabase> Open() { return handheld_.OpenDatabase(u"Memos"); }

  Fake query_ = com::Make<FakeObject>();
  Fake system_ = com::Make<FakeObject>();
  Fake adapter_ = com::Make<FakeObject>();
  SuiteHandheld handheld_{query_, system_, AnsiCodePage::Windows1252()};
};

TEST_F(SuiteHandheldTest, FailuresBecomeTheHandheldsErrors) {
  const struct {
    HRESULT result;
    int32_t number;
    bool lost;
  } cases[] = {
      {E_ACCESSDENIED, 70, false},
      {E_OUTOFMEMORY, 7, false},
      {E_FAIL, 51, false},
      {static_cast<HRESULT>(0x80041234), 51, false},
      {static_cast<HRESULT>(0x800A0046), 70, false},
      {RPC_E_CALL_REJECTED, 51, false},
      {RPC_E_CANTCALLOUT_ININPUTSYNCCALL, 51, false},
      {HRESULT_FROM_WIN32(ERROR_CONNECTION_ABORTED), 57, true},
      {RPC_E_SERVER_DIED, 57, true},
      {RPC_E_DISCONNECTED, 57, true},
      {HRESULT_FROM_WIN32(RPC_S_SERVER_UNAVAILABLE), 57, true},
      {HRESULT_FROM_WIN32(RPC_S_CALL_FAILED), 57, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.result);
    adapter_->members[L"RemoveSet"] = Answer(c.result);
    adapter_->members[L"RecordCount"] = Answer(Long(3));
    SuiteHandheld handheld(query_, system_, AnsiCodePage::Windows1252());
    const auto database = handheld.OpenDatabase(u"Memos");
    const std::string error = testing::ErrorTextOf([&] { database->RemoveAll(); });
    EXPECT_TRUE(error.starts_with(std::to_string(c.number) + " "));
    EXPECT_NE(error.find("its words"), std::string::npos);
    EXPECT_EQ(handheld.IsLost(), c.lost);
    if (!c.lost) {
      EXPECT_EQ(database->RecordCount(), 3);
      continue;
    }
    adapter_->calls.clear();
    query_->calls.clear();
    EXPECT_THROW(database->RecordCount(), AutomationError);
    EXPECT_THROW(handheld.DatabaseNames(), AutomationError);
    EXPECT_TRUE(adapter_->calls.empty() && query_->calls.empty()) << "nothing goes out";
  }
}

TEST_F(SuiteHandheldTest, ARecordIsOneCallAndANameIsAskedForOnce) {
  Reads(L"ReadByIndex", Long(0x00ABCDEF), Array({1, 2, 3}));
  const auto database = Open();
  for (int i = 1; i <= 1000; ++i) {
    const auto record = database->ReadByIndex(i);
    ASSERT_TRUE(record);
    ASSERT_EQ(record->index, i);
  }
  EXPECT_EQ(adapter_->calls.size(), 1000U);
  EXPECT_EQ(adapter_->names_asked, 1);
  const auto record = database->ReadByIndex(1);
  EXPECT_EQ(record->id, 0x00ABCDEF);
  EXPECT_EQ(record->category, 0x0F);
  EXPECT_EQ(record->attributes, 0xD0);
  EXPECT_EQ(record->data.bytes().size(), 3U);
}

TEST_F(SuiteHandheldTest, AUniqueIdGoesBackInTheFormInWhichItCame) {
  const struct {
    const char* name;
    Value id;
    int32_t value;
  } cases[] = {{"a Long", Long(0x010203), 0x010203},
               {"four bytes", Array({0, 1, 2, 3}), 0x010203},
               {"three bytes", Array({0xFF, 2, 3}), 0xFF0203},
               {"a text", TextValue(u"77"), 77}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    // No read before: the form is that of any record.
    Reads(L"ReadByIndex", c.id, Array({1}));
    Value removed;
    adapter_->members[L"Remove"] = [&](std::vector<VARIANT*> arguments, VARIANT*) {
      return ::VariantCopy(removed.get(), arguments[0]);
    };
    EXPECT_TRUE(Open()->Remove(c.value));
    ASSERT_EQ(V_VT(removed.get()), V_VT(c.id.get()));
    if (V_VT(removed.get()) & VT_ARRAY) {
      EXPECT_EQ(com::ToBytes(*removed.get()).bytes, com::ToBytes(*c.id.get()).bytes);
    } else {
      EXPECT_EQ(::VarCmp(removed.get(), const_cast<VARIANT*>(c.id.get()), 0, 0), VARCMP_EQ);
    }
  }
}

TEST_F(SuiteHandheldTest, NoDataIsTheEndOrARecordWithoutAny) {
  const struct {
    const char* name;
    bool filled, end, found;
  } cases[] = {{"nothing filled", false, false, false},
               {"stale fields at the end", true, true, false},
               {"a deleted record", true, false, true}};
  for (const wchar_t* member : {L"ReadByIndex", L"ReadById", L"ReadNextModified"}) {
    for (const auto& c : cases) {
      SCOPED_TRACE(c.name);
      Reads(L"ReadByIndex", Long(1), Array({1}));
      adapter_->members[L"IterationIndex"] = Answer(S_OK);
      adapter_->members[L"EOF"] = Answer(Long(c.end ? -1 : 0));
      const auto database = Open();
      (void)database->ReadByIndex(1);  // the form of ids
      Reads(member, c.filled ? std::optional(Long(9)) : std::nullopt, {});
      const std::wstring_view name(member);
      const auto record = name == L"ReadById"      ? database->ReadById(9)
                          : name == L"ReadByIndex" ? database->ReadByIndex(2)
                                                   : database->ReadNextModified(2);
      EXPECT_EQ(record.has_value(), c.found);
      EXPECT_TRUE(!record || record->data.bytes().empty());
    }
  }
}

TEST_F(SuiteHandheldTest, WalkingModifiedRecordsSetsThePositionOnce) {
  for (const auto* member : {L"ReadNextModified", L"ReadByIndex"}) {
    Reads(member, Long(1), Array({1}));
  }
  adapter_->members[L"IterationIndex"] = Answer(S_OK);
  const auto database = Open();
  EXPECT_EQ(database->ReadNextModified(1)->index, 6);
  EXPECT_EQ(database->ReadNextModified(7)->index, 6);
  (void)database->ReadByIndex(1);
  (void)database->ReadNextModified(7);
  EXPECT_EQ(adapter_->calls,
            (std::vector<std::string>{"put IterationIndex", "ReadNextModified", "ReadNextModified",
                                      "ReadByIndex", "put IterationIndex", "ReadNextModified"}));
}

TEST_F(SuiteHandheldTest, ANewRecordGetsItsId) {
  Value data;
  adapter_->members[L"Write"] = [&](std::vector<VARIANT*> arguments, VARIANT*) {
    VARIANT* const id = V_VARIANTREF(arguments[0]);
    EXPECT_EQ(V_VT(id), VT_EMPTY);
    *id = Array({0, 0, 1, 2}).Detach();
    EXPECT_EQ(V_I4(arguments[1]), 3);
    EXPECT_EQ(V_I4(arguments[2]), 0x40);
    return ::VariantCopy(data.get(), arguments[3]);
  };
  EXPECT_EQ(Open()->Write(0, 3, 0x40, Bytes(300)), 0x102);
  EXPECT_EQ(com::ToBytes(*data.get()).bytes.size(), 300U);
}

TEST_F(SuiteHandheldTest, TheListTellsWhatAFailureMeant) {
  for (const auto* member : {L"OpenRecordDatabase", L"RemoveDatabase", L"CreateRecordDatabase"}) {
    query_->members[member] = Answer(static_cast<HRESULT>(0x80041234));
  }
  EXPECT_EQ(handheld_.OpenDatabase(u"Gone"), nullptr);
  EXPECT_FALSE(handheld_.DeleteDatabase(u"Gone"));
  EXPECT_THROW(handheld_.OpenDatabase(u"There"), AutomationError);
  EXPECT_THROW(handheld_.DeleteDatabase(u"There"), AutomationError);
  const auto create = [&](const char16_t* name) {
    return testing::ErrorOf([&] { handheld_.CreateDatabase(name, u"memo", u"DATA"); });
  };
  EXPECT_EQ(create(u"There"), 58);
  EXPECT_EQ(create(u"Gone"), 51);
}

TEST_F(SuiteHandheldTest, WhatTheSuiteTellsIsReadInAnyOfItsForms) {
  query_->members[L"ReadDbNameList"] = Answer(Names(VT_VARIANT, {u"A", u"B"}));
  EXPECT_EQ(handheld_.DatabaseNames(), (std::vector<std::u16string>{u"A", u"B"}));
  EXPECT_TRUE(handheld_.DatabaseInfo(u"A")) << "listed, without words";
  EXPECT_FALSE(handheld_.DatabaseInfo(u"C"));

  const Fake info = com::Make<FakeObject>();
  info->members[L"CreatorId"] = Answer(Long(0x6D656D6F));
  Value date;
  V_VT(date.get()) = VT_DATE;
  V_DATE(date.get()) = 36526.5;
  info->members[L"CreateDate"] = Answer(date);
  system_->members[L"PDHotSyncInfo"] = Answer(ObjectValue(info));
  SuiteHandheld handheld(query_, system_, AnsiCodePage::Windows1252());
  EXPECT_EQ(handheld.RunningConduit().creator, 0x6D656D6F);
  EXPECT_EQ(handheld.RunningConduit().path, u"") << "no word for it";
  query_->members[L"ReadDbInfoByName"] = Answer(ObjectValue(info));
  const auto told = SuiteHandheld(query_, system_, AnsiCodePage::Windows1252()).DatabaseInfo(u"A");
  ASSERT_TRUE(told);
  EXPECT_EQ(told->creator, u"memo");
  EXPECT_EQ(told->type, u"");
  EXPECT_EQ(told->created, 36526.5);

  info->members.erase(L"CreatorId");
  system_->members[L"DateTime"] = Answer(Names(VT_BSTR, {}));
  info->members[L"PathName"] = Answer(TextValue(u"C:\\User\\Memos\\"));
  const auto running = SuiteHandheld(query_, system_, AnsiCodePage::Windows1252()).RunningConduit();
  EXPECT_EQ(running.creator, std::nullopt);
  EXPECT_EQ(running.path, u"C:\\User\\Memos\\");
  EXPECT_THROW(handheld.DateTime(), AutomationError) << "no date";
}

}  // namespace
}  // namespace pylon
