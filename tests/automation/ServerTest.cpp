// Pylon.exe as COM's server for other processes: registration, early-bound calls through
// marshalling, scripts, and its end.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "automation/DatabaseObject.h"
#include "base/AutomationError.h"
#include "base/Com.h"
#include "base/Text.h"
#include "tests/automation/Processes.h"
#include "tests/automation/ServerFixture.h"
#include "tests/support/MemoryDisk.h"

namespace pylon {
namespace {

using testing::CreateOutside;
using testing::kLibraryKey;
using testing::Process;
using testing::Program;
using testing::Quoted;
using testing::RunProgram;
using testing::ServerTest;
using testing::TemporaryFolder;

bool KeyExists(const wchar_t* path, REGSAM view = 0) {
  RegistryKey key;
  return ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ | view, key.Receive()) ==
         ERROR_SUCCESS;
}

TEST_F(ServerTest, RegistrationIsMadeRenewedAndRemoved) {
  const std::wstring classes = L"Software\\Classes\\";
  const std::wstring server =
      classes + L"CLSID\\{af1e45f8-f5df-483f-b359-5c0ec42df03b}\\LocalServer32";
  const struct {
    std::wstring key;
    REGSAM view = 0;
  } keys[] = {
      {server},
      {server, KEY_WOW64_32KEY},  // 32-bit clients look there
      {classes + L"Pylon.PDBByteStream\\CLSID"},
      {classes + L"Interface\\{51911ed3-dbe5-442f-b5a6-596e0af35932}"},
      {kLibraryKey},
      {std::wstring(kLibraryKey) + L"\\1.0\\0\\win32"},  // 32-bit clients marshal by it
  };
  const auto expect_keys = [&](bool there) {
    for (const auto& [key, view] : keys) EXPECT_EQ(KeyExists(key.c_str(), view), there) << key;
  };
  expect_keys(true);
  // The switches win over whatever else stands in the command line.
  EXPECT_EQ(RunProgram(u"-AppId X -Database 4 -UnRegServer"), 0U);
  expect_keys(false);
  EXPECT_EQ(RunProgram(u"/unregserver"), 0U) << "nothing there is no error";
  EXPECT_EQ(RunProgram(u"/regserver"), 0U);
  EXPECT_EQ(RunProgram(u"/REGSERVER"), 0U);
  expect_keys(true);
}

TEST_F(ServerTest, ACopyRemovesNothingOfAnother) {
  const auto copy = folder().path() / "Pylon.exe";
  std::filesystem::copy_file(Program(), copy);
  const auto run = [&](const char16_t* arguments) {
    return Process(Quoted(copy) + arguments).Wait().value_or(99);
  };
  ASSERT_EQ(run(u" /regserver"), 0U);
  EXPECT_EQ(RunProgram(u"/unregserver"), 0U);
  com::Ptr<ITypeLib> library;
  EXPECT_HRESULT_SUCCEEDED(::LoadRegTypeLib(LIBID_Pylon, 1, 0, 0, library.Receive()));
  library = nullptr;
  long length = -1;
  EXPECT_HRESULT_SUCCEEDED(CreateOutside<::_PDBUtils>(CLSID_PDBUtils)->UTF8Length(nullptr, &length))
      << "the copy serves";
  EXPECT_TRUE(testing::WaitUntil([&] { return testing::ProcessesOf(copy).empty(); }));
  EXPECT_EQ(run(u" /unregserver"), 0U);
  EXPECT_EQ(::LoadRegTypeLib(LIBID_Pylon, 1, 0, 0, library.Receive()), TYPE_E_LIBNOTREGISTERED);
  ASSERT_EQ(RunProgram(u"/regserver"), 0U);
}

// The database can do nothing with a stream of another process but read and write its array.
TEST_F(ServerTest, BlocksAndRecordsPassThroughStreamsOfAnotherProcess) {
  testing::MemoryDisk memory;
  const SystemClock clock;
  Server server(u"Pylon.exe", AnsiCodePage::Windows1252(), clock, memory.Factory());
  const auto database = com::Make<DatabaseObject>(server).As<::PDBDatabase>();
  const com::Bstr path(u"C:\\Blocks.pdb");
  const com::Bstr name(u"Blocks");
  VARIANT_BOOL done = VARIANT_FALSE;
  database->put_PDBFilePath(path.get());
  database->put_PDBDatabaseName(name.get());
  ASSERT_HRESULT_SUCCEEDED(database->CreateDatabase(&done));

  auto stream = CreateOutside<::_PDBByteStream>(CLSID_PDBByteStream);
  ASSERT_HRESULT_SUCCEEDED(database->ReadAppInfoBlock(stream.InOut())) << "empty ones travel too";
  long offset = 0;
  const com::Bstr text(u"ab");
  ASSERT_HRESULT_SUCCEEDED(stream->StringToByte(text.get(), &offset));
  for (int round = 0; round < 3; ++round) {
    ASSERT_HRESULT_SUCCEEDED(database->WriteAppInfoBlock(stream.InOut()));
    stream = CreateOutside<::_PDBByteStream>(CLSID_PDBByteStream);
    ASSERT_HRESULT_SUCCEEDED(database->ReadAppInfoBlock(stream.InOut()));
    long length = 0;
    stream->get_length(&length);
    EXPECT_EQ(length, 3);
  }
  long index = 0;
  long id = 0;
  short category = 0;
  ::eRecordAttribute attributes = {};
  auto given = stream;
  ASSERT_HRESULT_SUCCEEDED(database->Update(0, &id, &category, &attributes, given.InOut()));
  given = stream;
  ASSERT_HRESULT_SUCCEEDED(stream->Clear());
  ASSERT_HRESULT_SUCCEEDED(
      database->ReadNext(&index, &id, &category, &attributes, given.InOut(), &done));
  EXPECT_EQ(given.get(), stream.get());
  com::Variant array;
  ASSERT_HRESULT_SUCCEEDED(stream->get_ByteArray(array.Receive()));
  EXPECT_EQ(com::ToBytes(*array.get()).bytes, (Bytes{std::byte{'a'}, std::byte{'b'}, {}, {}}))
      << "three bytes and the spare one";
  database->CloseDatabase();
}

TEST_F(ServerTest, EarlyBoundCallsCrossTheProcesses) {
  const auto utils = CreateOutside<::_PDBUtils>(CLSID_PDBUtils);
  double number = 4294967295.0;
  long converted = 0;
  ASSERT_HRESULT_SUCCEEDED(utils->UnsignedToLong(&number, &converted));
  EXPECT_EQ(converted, -1);
  number = 4294967296.0;
  EXPECT_EQ(utils->UnsignedToLong(&number, &converted), static_cast<HRESULT>(0x800A0006));

  const auto database = CreateOutside<::_PDBDatabasePC>(CLSID_PDBDatabasePC);
  const com::Bstr path((folder().path() / u"\u0416.pdb").u16string());
  const com::Bstr name(u"Notes");
  VARIANT_BOOL done = VARIANT_FALSE;
  ASSERT_HRESULT_SUCCEEDED(database->put_PDBFilePath(path.get()));
  ASSERT_HRESULT_SUCCEEDED(database->put_DatabaseFor(::dftWindows));
  ASSERT_HRESULT_SUCCEEDED(database->put_PDBDatabaseName(name.get()));
  ASSERT_HRESULT_SUCCEEDED(database->CreateDatabase(&done));
  ASSERT_EQ(done, VARIANT_TRUE);

  const auto stream = CreateOutside<::_PDBByteStream>(CLSID_PDBByteStream);
  long offset = 0;
  const com::Bstr text(u"Gr\u00FC\u00DFe");
  ASSERT_HRESULT_SUCCEEDED(stream->StringToByte(text.get(), &offset));
  EXPECT_EQ(offset, 8);
  com::Variant array;
  ASSERT_HRESULT_SUCCEEDED(stream->get_ByteArray(array.Receive()));
  EXPECT_EQ(com::ToBytes(*array.get()).bytes.size(), 9U);
  long id = 0;
  short category = 1;
  ::eRecordAttribute attributes = ::eDirty;
  // The call owns what it is passed, in and out, so a pointer that stays here is shared first.
  auto argument = stream;
  ASSERT_HRESULT_SUCCEEDED(database->Update(0, &id, &category, &attributes, argument.InOut()));
  EXPECT_EQ(id, 1);
  ASSERT_HRESULT_SUCCEEDED(database->CloseDatabase());
  category = 0;
  attributes = {};

  ASSERT_HRESULT_SUCCEEDED(database->OpenDatabase(&done));
  ASSERT_EQ(done, VARIANT_TRUE);
  long index = 0;
  com::Ptr<::_PDBByteStream> read;
  ASSERT_HRESULT_SUCCEEDED(
      database->ReadNext(&index, &id, &category, &attributes, read.InOut(), &done));
  EXPECT_EQ(done, VARIANT_TRUE);
  ASSERT_TRUE(read);
  com::Bstr back;
  offset = 0;
  ASSERT_HRESULT_SUCCEEDED(read->ByteToString(back.Receive(), &offset));
  EXPECT_EQ(com::Text(back.get()), u"Gr\u00FC\u00DFe");
  EXPECT_EQ(category, 1);
  EXPECT_EQ(attributes, ::eDirty);
  ASSERT_HRESULT_SUCCEEDED(database->CloseDatabase());
}

TEST_F(ServerTest, AVisualBasicScriptKeepsADatabaseAndItsKeys) {
  const std::string output = RunScript("notes.vbs", R"(
Dim db, other, index, s, i, id, c, a, r, t, o, n, v
Set db = CreateObject("Pylon.PDBDatabasePC")
db.PDBFilePath = WScript.Arguments(0) & "\script.pdb"
db.DatabaseFor = 4
db.PDBDatabaseName = "Script"
db.CreatorId = "test"
WScript.Echo "created " & db.CreateDatabase
For n = 1 To 3
  Set s = CreateObject("Pylon.PDBByteStream")
  s.UTF8Strings = False
  o = 0
  s.StringToByte "record " & n, o
  id = 0 : c = n : a = 64
  db.Update 0, id, c, a, s
  WScript.Echo "id " & id & " offset " & o
Next
Set index = db.SyncIndex
index.Add "A-100", 1
index.UniqueId("B-200") = 2
index.Add "gone", 3
index.Remove "gone"
If index Is db.SyncIndex Then WScript.Echo "same"
WScript.Echo index.SyncIndexExists & " " & index.Changed
db.CloseDatabase
WScript.Echo index.SyncIndexExists & " " & index.Changed
WScript.Echo "opened " & db.OpenDatabase
Do While db.ReadNext(i, id, c, a, r)
  r.UTF8Strings = False
  o = 0
  r.ByteToString t, o
  WScript.Echo i & " " & id & " " & c & " " & a & " " & t & " " & db.EOF
Loop
db.CloseDatabase
Set other = CreateObject("Pylon.PDBDatabasePC")
other.PDBFilePath = WScript.Arguments(0) & "\script.pdb"
other.DatabaseFor = 4
other.OpenDatabase
Set index = other.SyncIndex
WScript.Echo index.UniqueId("A-100") & index.UniqueId("B-200") & index.UniqueId("gone")
On Error Resume Next
s.ByteToLong v, 1000
WScript.Echo "error " & (Err.Number And 65535) & " " & Err.Source & ": " & Err.Description
index.Add "", 1
WScript.Echo "error " & (Err.Number And 65535) & " " & Err.Source & ": " & Err.Description
index.Clear
index.CloseIndex
WScript.Echo index.UniqueId("A-100")
)");
  EXPECT_EQ(output,
            "created True\r\n"
            "id 1 offset 9\r\nid 2 offset 9\r\nid 3 offset 9\r\n"
            "same\r\nFalse True\r\nTrue False\r\nopened True\r\n"
            "1 1 1 64 record 1 False\r\n2 2 2 64 record 2 False\r\n3 3 3 64 record 3 True\r\n"
            "120\r\nerror 9 Pylon.PDBByteStream: Subscript out of range\r\n"
            "error 1001 Pylon.CSyncIndex: Invalid key\r\n0\r\n");
}

TEST_F(ServerTest, AJScriptPassesPlainValues) {
  const std::string output = RunScript("notes.js", R"(
var u = new ActiveXObject("Pylon.PDBUtils");
WScript.Echo(u.UnsignedToLong(4294967295) + " " + u.PalmIDtoLong("DATA") + " " + u.PalmLongtoId(1145132097));
var db = new ActiveXObject("Pylon.PDBDatabasePC");
db.PDBFilePath = WScript.Arguments(0) + "\\jscript.pdb";
db.DatabaseFor = 4;
db.PDBDatabaseName = "JScript";
db.CreateDatabase();
var s = new ActiveXObject("Pylon.PDBByteStream");
s.StringToByte("hello", 0);
db.Update(0, 0, 0, 64, s);
db.CloseDatabase();
db.OpenDatabase();
var r = new ActiveXObject("Pylon.PDBByteStream");
WScript.Echo(db.ReadNextByIndex(1, 0, 0, 0, r) + " " + r.length + " " + db.RecordCount + " " + db.EOF());
try { u.UnsignedToInteger(65536); } catch (e) { WScript.Echo("error " + (e.number & 65535) + " " + e.description); }
)");
  EXPECT_EQ(output, "-1 1145132097 DATA\r\ntrue 6 1 false\r\nerror 6 Overflow\r\n");
}

TEST_F(ServerTest, TheServerOpensNoWindowAndEndsWithItsLastClient) {
  const auto ended = [] { return testing::ProcessesOf(Program()).empty(); };
  ASSERT_TRUE(testing::WaitUntil(ended)) << "a server outlives the tests before";
  auto utils = CreateOutside<::_PDBUtils>(CLSID_PDBUtils);
  auto stream = CreateOutside<::_PDBByteStream>(CLSID_PDBByteStream);
  const auto servers = testing::ProcessesOf(Program());
  ASSERT_EQ(servers.size(), 1U) << "one process serves every class";
  for (const wchar_t* window_class : {L"#32770", L"Pylon.frmSetup", L"Pylon.frmStatus"}) {
    EXPECT_EQ(testing::FindWindowOf(servers[0], window_class), nullptr);
  }
  utils = nullptr;
  long length = -1;
  EXPECT_HRESULT_SUCCEEDED(stream->get_length(&length)) << "one client is still there";
  stream = nullptr;
  EXPECT_TRUE(testing::WaitUntil(ended));
  // A client that comes while the process waits, is about to end or has ended is served all the
  // same.
  for (const int pause_ms : {100, 750, 1500, 0}) {
    const auto again = CreateOutside<::_PDBUtils>(CLSID_PDBUtils);
    short value = -1;
    long result = 0;
    EXPECT_HRESULT_SUCCEEDED(again->IntegerToUnsigned(&value, &result));
    EXPECT_EQ(result, 65535);
    ::Sleep(static_cast<DWORD>(pause_ms));
  }
}

}  // namespace
}  // namespace pylon
