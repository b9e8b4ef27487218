// The classes of the AppForge data layer as clients use them: early bound in this process, bound to
// objects of another one, and from scripts.

#include <gtest/gtest.h>

#include <cmath>

#include "automation/ByteStreamObject.h"
#include "automation/DefinitionObject.h"
#include "automation/RecordObject.h"
#include "automation/SignatureObject.h"
#include "base/Text.h"
#include "tests/automation/ServerFixture.h"
#include "tests/support/MemoryDisk.h"
#include "tests/toolkit/Desktop.h"

namespace pylon {
namespace {

using testing::CreateOutside;
using testing::ServerTest;

constexpr HRESULT Basic(int number) { return static_cast<HRESULT>(0x800A0000 + number); }

class AppforgeObjects : public ServerTest {
 protected:
  void TearDown() override { EXPECT_EQ(server_.objects(), 0) << "an object was never released"; }

  com::Ptr<::_PDBAppforgeDefinition> NewDefinition() {
    auto definition = com::Make<DefinitionObject>(server_).As<::_PDBAppforgeDefinition>();
    AddFields(definition.get());
    return definition;
  }
  com::Ptr<::_PDBAppforgeRecord> NewRecord(::_PDBAppforgeDefinition* definition = nullptr) {
    auto record = com::Make<RecordObject>(server_).As<::_PDBAppforgeRecord>();
    if (definition) com::Check(record->putref_AppforgeDefinition(definition));
    return record;
  }
  // One field of each type, named by its number.
  static void AddFields(::_PDBAppforgeDefinition* definition) {
    for (int type = ::eByteField; type <= ::eSignatureField; ++type) {
      const com::Bstr name(u"f" + ToText(type));
      EXPECT_HRESULT_SUCCEEDED(
          definition->AddFieldName(name.get(), static_cast<::eFieldTypes>(type)));
    }
  }

  testing::MemoryDisk folder_;
  SystemClock clock_;
  Server server_{u"Pylon.exe", AnsiCodePage::Windows1252(), clock_, folder_.Factory()};
};

// A value for each field in its own type, and how it reads.
const struct {
  HRESULT (*put)(::_PDBAppforgeRecord* record, short field);
  VARTYPE type;
  bool (*holds)(const VARIANT& value);
} kValues[] = {
    {[](auto* r, short i) { return r->put_ByteValue(i, 200); }, VT_UI1,
     [](const VARIANT& v) { return V_UI1(&v) == 200; }},
    {[](auto* r, short i) { return r->put_IntegerValue(i, -300); }, VT_I2,
     [](const VARIANT& v) { return V_I2(&v) == -300; }},
    {[](auto* r, short i) { return r->put_LongValue(i, 70'000); }, VT_I4,
     [](const VARIANT& v) { return V_I4(&v) == 70'000; }},
    {[](auto* r, short i) { return r->put_SingleValue(i, 0.1F); }, VT_R4,
     [](const VARIANT& v) { return V_R4(&v) == 0.1F; }},
    {[](auto* r, short i) { return r->put_StringValue(i, com::Bstr(u"Gr\u00FC\u00DFe").get()); },
     VT_BSTR, [](const VARIANT& v) { return com::Text(V_BSTR(&v)) == u"Gr\u00FC\u00DFe"; }},
    {[](auto* r, short i) { return r->put_BooleanValue(i, VARIANT_TRUE); }, VT_BOOL,
     [](const VARIANT& v) { return V_BOOL(&v) == VARIANT_TRUE; }},
    {[](auto* r, short i) { return r->put_DateValue(i, 45'000.75); }, VT_DATE,
     [](const VARIANT& v) { return V_DATE(&v) == 45'000.75; }},
    {[](auto* r, short i) { return r->put_DoubleValue(i, 1e300); }, VT_R8,
     [](const VARIANT& v) { return V_R8(&v) == 1e300; }},
    {[](auto* r, short i) { return r->put_CurrencyValue(i, CURRENCY{.int64 = -12'345}); }, VT_CY,
     [](const VARIANT& v) { return V_CY(&v).int64 == -12'345; }},
    {[](auto* r, short i) { return r->put_StringValue(i, com::Bstr(u"AB").get()); }, VT_BSTR,
     [](const VARIANT& v) { return com::Text(V_BSTR(&v)) == u"AB"; }},
};

void SetValues(::_PDBAppforgeRecord* record) {
  for (short i = 1; const auto& value : kValues) EXPECT_HRESULT_SUCCEEDED(value.put(record, i++));
}

void ExpectValues(::_PDBAppforgeRecord* record) {
  for (short i = 1; const auto& expected : kValues) {
    SCOPED_TRACE(i);
    com::Variant value;
    ASSERT_HRESULT_SUCCEEDED(record->get_Value(i++, value.Receive()));
    EXPECT_EQ(V_VT(value.get()), expected.type);
    EXPECT_TRUE(expected.holds(*value.get()));
  }
}

TEST_F(AppforgeObjects, ARecordGoesThroughItsBytes) {
  const auto definition = NewDefinition();
  const auto record = NewRecord(definition.get());
  SetValues(record.get());
  com::Ptr<::_PDBByteStream> stream, again;
  ASSERT_HRESULT_SUCCEEDED(record->get_ByteStream(stream.Receive()));
  long length = 0;
  ASSERT_HRESULT_SUCCEEDED(stream->get_length(&length));
  EXPECT_EQ(length, 1 + 2 + 4 + 4 + 8 + 1 + 4 + 8 + 8 + 3);
  ASSERT_HRESULT_SUCCEEDED(record->Clear());
  ASSERT_HRESULT_SUCCEEDED(record->putref_ByteStream(stream.get()));
  ExpectValues(record.get());
  ASSERT_HRESULT_SUCCEEDED(record->get_ByteStream(again.Receive()));
  EXPECT_EQ(again.get(), stream.get());

  com::Ptr<::_AppforgeSignature> signature;
  ASSERT_HRESULT_SUCCEEDED(record->get_SignatureValue(10, signature.Receive()));
  ASSERT_HRESULT_SUCCEEDED(signature->put_Signature(com::Bstr(u"CD").get()));
  ASSERT_HRESULT_SUCCEEDED(record->putref_SignatureValue(5, signature.get()));
  com::Bstr text;
  ASSERT_HRESULT_SUCCEEDED(record->get_StringValue(5, text.Receive()));
  EXPECT_EQ(com::Text(text.get()), u"CD");
}

TEST_F(AppforgeObjects, ErrorsAreBasics) {
  const auto definition = NewDefinition();
  const auto record = NewRecord();
  short number = 0;
  long wide = 0;
  com::Variant value;
  EXPECT_EQ(record->get_IntegerValue(1, &number), Basic(9)) << "no definition";
  EXPECT_EQ(record->putref_ByteStream(nullptr), Basic(91));
  ASSERT_HRESULT_SUCCEEDED(record->putref_AppforgeDefinition(definition.get()));
  EXPECT_EQ(record->get_LongValue(3, &wide), Basic(13)) << "no value";
  EXPECT_EQ(record->get_Value(11, value.Receive()), Basic(9));
  EXPECT_EQ(record->get_Value(-1, value.Receive()), Basic(9));
  ASSERT_HRESULT_SUCCEEDED(record->put_StringValue(2, com::Bstr(u"70000").get()));
  EXPECT_EQ(record->get_IntegerValue(2, &number), Basic(6));
  ASSERT_HRESULT_SUCCEEDED(record->put_StringValue(2, com::Bstr(u"1,5").get()));
  EXPECT_EQ(record->get_IntegerValue(2, &number), Basic(13));
  com::Ptr<::_PDBByteStream> stream;
  EXPECT_EQ(record->get_ByteStream(stream.Receive()), Basic(13));
  ASSERT_HRESULT_SUCCEEDED(record->Clear());
  ASSERT_HRESULT_SUCCEEDED(record->put_StringValue(5, com::Bstr({u"a\0b", 3}).get()));
  EXPECT_EQ(record->get_ByteStream(stream.Receive()), Basic(5)) << "a NUL in a text";
  EXPECT_EQ(definition->get_FieldType(0, nullptr), E_POINTER);
  com::Bstr name;
  EXPECT_EQ(definition->get_FieldName(0, name.Receive()), Basic(9));
}

TEST_F(AppforgeObjects, WhatIsNoValueClearsTheField) {
  const auto definition = NewDefinition();
  const auto record = NewRecord(definition.get());
  com::Variant object;
  V_VT(object.get()) = VT_DISPATCH;
  V_DISPATCH(object.get()) = com::Ptr(definition).Detach();
  com::Variant null;
  V_VT(null.get()) = VT_NULL;
  com::Variant empty;
  com::Variant array = com::FromBytes(Bytes(3));
  for (const com::Variant* each : {&empty, &null, &object, &array}) {
    const VARIANT& nothing = *each->get();
    SCOPED_TRACE(V_VT(&nothing));
    ASSERT_HRESULT_SUCCEEDED(record->put_LongValue(3, 5));
    ASSERT_HRESULT_SUCCEEDED(record->put_Value(3, nothing));
    VARIANT_BOOL has_value = VARIANT_TRUE;
    ASSERT_HRESULT_SUCCEEDED(record->get_HasValue(3, &has_value));
    EXPECT_EQ(has_value, VARIANT_FALSE);
  }
}

// A record of this process that lives on a schema and a stream of the server's.
TEST_F(AppforgeObjects, ARecordWorksOnObjectsOfAnotherProcess) {
  const auto definition = CreateOutside<::_PDBAppforgeDefinition>(CLSID_PDBAppforgeDefinition);
  AddFields(definition.get());
  const auto stream = CreateOutside<::_PDBByteStream>(CLSID_PDBByteStream);
  ASSERT_HRESULT_SUCCEEDED(stream->put_UTF8Strings(VARIANT_FALSE));
  ASSERT_HRESULT_SUCCEEDED(stream->Resize(64));
  const auto record = NewRecord(definition.get());
  ASSERT_HRESULT_SUCCEEDED(record->putref_ByteStream(stream.get()));
  SetValues(record.get());
  com::Ptr<::_PDBByteStream> written;
  ASSERT_HRESULT_SUCCEEDED(record->get_ByteStream(written.Receive()));
  EXPECT_EQ(written.get(), stream.get());
  long length = 0;
  ASSERT_HRESULT_SUCCEEDED(stream->get_length(&length));
  EXPECT_EQ(length, 42) << "room for texts in UTF-8, but no spare byte";

  // Bound to what lives with it, it sees a field that came later.
  const auto outside = CreateOutside<::_PDBAppforgeRecord>(CLSID_PDBAppforgeRecord);
  ASSERT_HRESULT_SUCCEEDED(outside->putref_AppforgeDefinition(definition.get()));
  ASSERT_HRESULT_SUCCEEDED(outside->putref_ByteStream(stream.get()));
  com::Bstr text;
  ASSERT_HRESULT_SUCCEEDED(outside->get_StringValue(5, text.Receive()));
  EXPECT_EQ(com::Text(text.get()), u"Gr\u00FC\u00DFe");
  ASSERT_HRESULT_SUCCEEDED(definition->AddFieldName(nullptr, ::eLongField));
  for (const auto& each : {record, outside}) {
    ASSERT_HRESULT_SUCCEEDED(each->Clear());
    EXPECT_HRESULT_SUCCEEDED(each->put_LongValue(11, 1));
  }
  ASSERT_HRESULT_SUCCEEDED(definition->ClearFieldName());
  ASSERT_HRESULT_SUCCEEDED(record->Clear());
  EXPECT_HRESULT_SUCCEEDED(record->get_ByteStream(written.Receive())) << "a record of no bytes";
}

TEST_F(AppforgeObjects, ABasicScriptKeepsATable) {
  const std::string output = RunScript("table.vbs", R"(
Dim d, r, s, block, i
Set d = CreateObject("Pylon.PDBAppforgeDefinition")
d.AddFieldName "Article", 5
d.AddFieldName "Stock", 3
d.AddFieldName "Since", 7
Set block = d.AppInfoBlock
Set d = CreateObject("Pylon.PDBAppforgeDefinition")
WScript.Echo d.IsAppforgeData(block) & " " & d.FieldCount & " " & d.FieldName(2) & " " & d.FieldType(3)
Set r = CreateObject("Pylon.PDBAppforgeRecord")
Set r.AppforgeDefinition = d
r.Value(1) = "Nails"
r.Value(2) = 144
r.DateValue(3) = DateSerial(2023, 3, 15)
Set s = r.ByteStream
WScript.Echo r.DataLength & " " & s.length
r.Clear
Set r.ByteStream = s
WScript.Echo r.Value(1) & " " & r.LongValue(2) & " " & r.StringValue(3)
On Error Resume Next
i = r.LongValue(1)
WScript.Echo "error " & (Err.Number And 65535) & " " & Err.Source & ": " & Err.Description
)");
  EXPECT_EQ(output,
            "True 3 Stock 7\r\n14 14\r\nNails 144 2023-03-15 00:00:00\r\n"
            "error 13 Pylon.PDBAppforgeRecord: Type mismatch\r\n");
}

TEST_F(AppforgeObjects, AJScriptKeepsSignaturesAndSettings) {
  const std::string output = RunScript("sign.js", R"(
var d = new ActiveXObject("Pylon.PDBAppforgeDefinition");
d.AddFieldName("Signed", 10);
var r = new ActiveXObject("Pylon.PDBAppforgeRecord");
r.AppforgeDefinition = d;
var s = new ActiveXObject("Pylon.AppforgeSignature");
s.Signature = "\u000A\u0014\u001E\u0014";
r.SignatureValue(1) = s;
r.ByteStream = r.ByteStream;
WScript.Echo(r.SignatureValue(1).Signature == s.Signature);
try { s.CreateBMP(WScript.Arguments(0) + "\\sign.bmp"); } catch (e) {}
var a = new ActiveXObject("Pylon.AppforgeAppSettings");
a.SaveSettings("PylonScript", "S", "Key", "kept");
WScript.Echo(a.GetSettings("PylonScript", "S", "Key") + a.GetSettings("PylonScript", "S", "No", "-") + a.GetSettings("PylonScript", "S", "No"));
a.DeleteSettings("PylonScript", "S", "Key");
try { a.DeleteSettings("PylonScript", "S", "Key"); } catch (e) { WScript.Echo("error " + (e.number & 65535)); }
)");
  EXPECT_EQ(output, "-1\r\nkept-\r\nerror 5\r\n");
  (void)::RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\VB and VBA Program Settings\\PylonScript");
  SKIP_WITHOUT_DRAWING();
  EXPECT_EQ(testing::ReadFile(folder().path() / "sign.bmp").size(), 54U + 320U * 160U * 3U);
}

}  // namespace
}  // namespace pylon
