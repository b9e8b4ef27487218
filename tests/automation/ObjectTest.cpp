// The automation classes in this process: through the vtable, and late-bound as scripts call them.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "automation/ByteStreamObject.h"
#include "automation/DatabaseObject.h"
#include "automation/FileSystemObject.h"
#include "automation/UtilsObject.h"
#include "base/Text.h"
#include "hotsync/PDBFileSystemPalm.h"
#include "pdb/PDBFileSystemPC.h"
#include "tests/support/MemoryDisk.h"
#include "tests/support/MemoryHandheld.h"

namespace pylon {
namespace {

VARIANT Typed(VARTYPE type, void* target) {
  VARIANT argument;
  V_VT(&argument) = static_cast<VARTYPE>(VT_BYREF | type);
  V_BYREF(&argument) = target;
  return argument;
}
VARIANT ByReference(com::Variant& variable) { return Typed(VT_VARIANT, variable.get()); }
VARIANT Plain(double value) {
  VARIANT argument;
  V_VT(&argument) = VT_R8;
  V_R8(&argument) = value;
  return argument;
}
VARIANT Plain(int32_t value) { return com::Variant(value).Detach(); }
VARIANT Plain(const com::Bstr& value) {
  VARIANT argument;
  V_VT(&argument) = VT_BSTR;
  V_BSTR(&argument) = value.get();
  return argument;
}

struct Outcome {
  HRESULT result = S_OK;
  com::Variant value;
  com::Exception exception;
  UINT bad_argument = 99;
};

// A late-bound call as a script engine makes it; the arguments stand in the order of the source.
Outcome Call(IDispatch* object, const char16_t* member, std::vector<VARIANT> arguments,
             WORD flags = DISPATCH_METHOD | DISPATCH_PROPERTYGET) {
  Outcome outcome;
  std::u16string name = member;
  auto* names = const_cast<wchar_t*>(Wide(name));
  DISPID id = DISPID_UNKNOWN;
  outcome.result = object->GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &id);
  if (FAILED(outcome.result)) return outcome;
  std::reverse(arguments.begin(), arguments.end());
  DISPID put = DISPID_PROPERTYPUT;
  DISPPARAMS parameters = {arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
  if (flags & DISPATCH_PROPERTYPUT) {
    parameters.rgdispidNamedArgs = &put;
    parameters.cNamedArgs = 1;
  }
  outcome.result =
      object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &parameters, outcome.value.Receive(),
                     &outcome.exception, &outcome.bad_argument);
  return outcome;
}

// What a call that must succeed returns.
com::Variant Do(IDispatch* object, const char16_t* member, std::vector<VARIANT> arguments = {},
                WORD flags = DISPATCH_METHOD | DISPATCH_PROPERTYGET) {
  Outcome outcome = Call(object, member, std::move(arguments), flags);
  com::Check(outcome.result);
  return std::move(outcome.value);
}

class ObjectTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_HRESULT_SUCCEEDED(::OleInitialize(nullptr)); }
  static void TearDownTestSuite() { ::OleUninitialize(); }

  void TearDown() override { EXPECT_EQ(server_.objects(), 0) << "an object was never released"; }

  com::Ptr<::_PDBByteStream> NewStream() {
    return com::Make<ByteStreamObject>(server_).As<::_PDBByteStream>();
  }
  com::Ptr<::PDBFileSystem> NewFileSystem() {
    return com::Make<FileSystemObject>(server_, std::make_shared<PDBFileSystemPC>(
                                                    u"C:\\data", folder_.Factory(), dftWindows,
                                                    AnsiCodePage::Windows1252(), clock_, nullptr))
        .As<::PDBFileSystem>();
  }

  testing::MemoryDisk folder_;
  SystemClock clock_;
  Server server_{u"Pylon.exe", AnsiCodePage::Windows1252(), clock_, folder_.Factory()};
};

// A component that leaks an object must not keep a server process that HotSync has left.
TEST_F(ObjectTest, OnlyWhatLeavesTheProcessCountsAsAClient) {
  int idle = 0;
  server_.SetOnIdle([&idle] { ++idle; });
  const auto stream = NewStream();
  const auto other = NewStream();
  EXPECT_EQ(server_.clients(), 0);
  const auto leave = [](IUnknown* object) {
    com::Ptr<IStream> packet;
    EXPECT_HRESULT_SUCCEEDED(
        ::CoMarshalInterThreadInterfaceInStream(IID_IDispatch, object, packet.Receive()));
    return packet;
  };
  const auto come_back = [](IStream* packet) {
    EXPECT_HRESULT_SUCCEEDED(packet->Seek({}, STREAM_SEEK_SET, nullptr));
    EXPECT_HRESULT_SUCCEEDED(::CoReleaseMarshalData(packet));
  };
  const auto first = leave(stream.get());
  const auto again = leave(stream.get());
  const auto second = leave(other.get());
  EXPECT_EQ(server_.clients(), 2);
  come_back(first.get());
  come_back(again.get());
  EXPECT_EQ(server_.clients(), 1);
  EXPECT_EQ(idle, 0);
  come_back(second.get());
  EXPECT_EQ(server_.clients(), 0);
  EXPECT_EQ(idle, 1);
  EXPECT_EQ(server_.objects(), 2);
}

TEST_F(ObjectTest, LateBoundArgumentsAreConvertedAndWrittenBack) {
  const auto stream = NewStream();
  com::Variant offset(0);
  Do(stream.get(), u"LongToByte", {Plain(0x01020304), ByReference(offset)});
  EXPECT_EQ(V_I4(offset.get()), 4);
  EXPECT_EQ(V_I4(Do(stream.get(), u"length").get()), 4);

  // A script's fresh variable is empty and its numbers are doubles: both convert.
  com::Variant value;
  com::Variant from;
  *from.get() = Plain(0.0);
  Do(stream.get(), u"ByteToLong", {ByReference(value), ByReference(from)});
  EXPECT_EQ(V_VT(value.get()), VT_I4);
  EXPECT_EQ(V_I4(value.get()), 0x01020304);
  EXPECT_EQ(V_VT(from.get()), VT_I4);
  EXPECT_EQ(V_I4(from.get()), 4);

  // Plain values go where nothing is to be written back.
  Do(stream.get(), u"IntegerToByte", {Plain(258.0), Plain(0), Plain(-1)});
  value = com::Variant();
  Do(stream.get(), u"ByteToInteger", {ByReference(value), Plain(0.0), Plain(1)});
  EXPECT_EQ(V_I2(value.get()), 258);
  short narrow = 0;
  Do(stream.get(), u"SetByte", {Plain(7), Typed(VT_I2, &narrow)});
  EXPECT_EQ(narrow, 1);

  VARIANT money;
  V_VT(&money) = VT_CY;
  V_CY(&money).int64 = 1'234'567;
  DECIMAL wide = {};
  Do(stream.get(), u"CurrencyToByte", {money, Typed(VT_DECIMAL, &wide)});
  EXPECT_EQ(wide.Lo64, 8U);
  Do(stream.get(), u"ByteToCurrency", {ByReference(value), Plain(0)});
  ASSERT_EQ(V_VT(value.get()), VT_CY);
  EXPECT_EQ(V_CY(value.get()).int64, 1'234'567);

  // Reading a double leaves the caller's byte order inverted when the stream swaps.
  stream->put_GlobalByteSwap(VARIANT_TRUE);
  Do(stream.get(), u"DoubleToByte", {Plain(1.5), Plain(0), Plain(0)});
  VARIANT_BOOL swap = VARIANT_FALSE;
  Do(stream.get(), u"ByteToDouble", {ByReference(value), Plain(0), Typed(VT_BOOL, &swap)});
  EXPECT_EQ(V_R8(value.get()), 1.5);
  EXPECT_EQ(swap, VARIANT_TRUE);
}

TEST_F(ObjectTest, AnArrayIsTakenWholeWhateverItsElements) {
  const auto stream = NewStream();
  const auto utils = com::Make<UtilsObject>(server_).As<::_PDBUtils>();
  com::Variant typed = com::FromBytes(Bytes{std::byte{0xC3}, std::byte{0xBC}});
  const VARIANT argument = Typed(VT_ARRAY | VT_UI1, &V_ARRAY(typed.get()));
  EXPECT_EQ(V_I4(Do(utils.get(), u"ToUTF16", {argument}).get()), 0xFC);
  Do(stream.get(), u"ByteArray", {argument}, DISPATCH_PROPERTYPUT);

  SAFEARRAYBOUND bound = {3, 0};
  com::Variant array;
  V_VT(array.get()) = VT_ARRAY | VT_VARIANT;
  V_ARRAY(array.get()) = ::SafeArrayCreate(VT_VARIANT, 1, &bound);
  for (LONG i = 0; i < 3; ++i) {
    const com::Variant element(i * 100);
    ::SafeArrayPutElement(V_ARRAY(array.get()), &i, const_cast<VARIANT*>(element.get()));
  }
  Do(stream.get(), u"ByteArray", {*array.get()}, DISPATCH_PROPERTYPUT);
  EXPECT_EQ(V_I4(Do(stream.get(), u"length").get()), 2);
  const com::Variant read = Do(stream.get(), u"ByteArray");
  ASSERT_EQ(V_VT(read.get()), VT_ARRAY | VT_UI1);
  EXPECT_EQ(com::ToBytes(*read.get()).bytes, (Bytes{{}, std::byte{100}, std::byte{200}}));

  const Outcome wrong = Call(stream.get(), u"ByteArray", {Plain(5)}, DISPATCH_PROPERTYPUT);
  EXPECT_EQ(wrong.exception.scode, static_cast<HRESULT>(0x800A000D));
}

TEST_F(ObjectTest, ArgumentsMayBeNamedAndTheResultMayGoIntoOne) {
  const auto stream = NewStream();
  std::u16string texts[] = {u"IntegerToByte", u"SwapByte", u"iOffSet", u"value"};
  wchar_t* names[std::size(texts)];
  std::transform(std::begin(texts), std::end(texts), names,
                 [](auto& text) { return const_cast<wchar_t*>(Wide(text)); });
  DISPID ids[std::size(texts)] = {};
  ASSERT_HRESULT_SUCCEEDED(stream->GetIDsOfNames(IID_NULL, names, 4, LOCALE_USER_DEFAULT, ids));
  com::Variant offset(0);
  VARIANT values[] = {Plain(-1), ByReference(offset), Plain(0x0102)};
  DISPPARAMS parameters = {values, ids + 1, 3, 3};
  const auto invoke = [&](IDispatch* object, DISPID id, VARIANT* result, UINT* bad_argument) {
    return object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, result,
                          nullptr, bad_argument);
  };
  ASSERT_HRESULT_SUCCEEDED(invoke(stream.get(), ids[0], nullptr, nullptr));
  EXPECT_EQ(V_I4(offset.get()), 2);
  uint8_t first = 0;
  long start = 0;
  stream->GetByte(&first, &start);
  EXPECT_EQ(first, 1);

  UINT bad_argument = 99;
  const com::Bstr text(u"no number");
  values[1] = Plain(text);
  EXPECT_EQ(invoke(stream.get(), ids[0], nullptr, &bad_argument), DISP_E_TYPEMISMATCH);
  EXPECT_EQ(bad_argument, 1U) << "the place in the array, whatever the name";
  ids[2] = ids[3];
  EXPECT_EQ(invoke(stream.get(), ids[0], nullptr, &bad_argument), DISP_E_PARAMNOTFOUND);

  const auto utils = com::Make<UtilsObject>(server_).As<::_PDBUtils>();
  com::Variant value(-1);
  values[0] = ByReference(value);
  parameters = {values, nullptr, 1, 0};
  ASSERT_HRESULT_SUCCEEDED(invoke(utils.get(), 2, value.get(), nullptr));  // LongToUnsigned
  EXPECT_EQ(V_R8(value.get()), 4294967295.0);
}

TEST_F(ObjectTest, BadCallsAreRefused) {
  const auto stream = NewStream();
  const com::Bstr text(u"no number");
  const com::Bstr good(u"12");
  VARIANT omitted;
  V_VT(&omitted) = VT_ERROR;
  V_ERROR(&omitted) = DISP_E_PARAMNOTFOUND;
  const struct {
    const char16_t* member;
    std::vector<VARIANT> arguments;
    HRESULT result;
    UINT bad_argument = 99;  // untouched
    WORD flags = DISPATCH_METHOD | DISPATCH_PROPERTYGET;
  } cases[] = {
      {u"NoSuchMember", {}, DISP_E_UNKNOWNNAME},
      {u"Resize", {}, DISP_E_PARAMNOTOPTIONAL},
      {u"Resize", {omitted}, DISP_E_PARAMNOTOPTIONAL, 0},
      {u"Clear", {Plain(1)}, DISP_E_BADPARAMCOUNT},
      {u"Resize", {Plain(1e12)}, DISP_E_OVERFLOW, 0},
      {u"LongToByte", {Plain(text), Plain(0)}, DISP_E_TYPEMISMATCH, 1},  // from the last argument
      {u"Resize", {Plain(good)}, S_OK},
      {u"length", {Plain(1)}, DISP_E_MEMBERNOTFOUND, 99, DISPATCH_PROPERTYPUT},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(ToUtf8(c.member));
    const Outcome outcome = Call(stream.get(), c.member, c.arguments, c.flags);
    EXPECT_EQ(outcome.result, c.result);
    EXPECT_EQ(outcome.bad_argument, c.bad_argument);
  }
}

TEST_F(ObjectTest, ErrorsCarryBasicsNumberTheClassAndASentence) {
  const auto stream = NewStream();
  com::Variant value;
  const Outcome outcome = Call(stream.get(), u"ByteToLong", {ByReference(value), Plain(0)});
  ASSERT_EQ(outcome.result, DISP_E_EXCEPTION);
  EXPECT_EQ(outcome.exception.scode, static_cast<HRESULT>(0x800A0009));
  EXPECT_EQ(com::Text(outcome.exception.bstrSource), u"Pylon.PDBByteStream");
  EXPECT_EQ(com::Text(outcome.exception.bstrDescription), u"Subscript out of range");

  long offset = 0;
  const HRESULT early = stream->Int24ToByte(0x008000, &offset, VARIANT_FALSE);
  EXPECT_EQ(early, static_cast<HRESULT>(0x800A0006));
  try {
    com::Check(early, stream.get(), IID__PDBByteStream);
    FAIL();
  } catch (const AutomationError& error) {
    EXPECT_EQ(error.number(), 6);
    EXPECT_EQ(error.source(), u"Pylon.PDBByteStream");
    EXPECT_EQ(error.description(), u"Overflow");
  }

  // An error without a text must not be told in the words of the one before.
  EXPECT_EQ(stream->Int24ToByte(0x008000, &offset, VARIANT_FALSE), early);
  EXPECT_EQ(stream->get_length(nullptr), E_POINTER);
  com::Ptr<IErrorInfo> stale;
  EXPECT_EQ(::GetErrorInfo(0, stale.Receive()), S_FALSE);

  // Every class answers for the errors of its interfaces.
  const std::pair<IID, com::Ptr<ISupportErrorInfo>> objects[] = {
      {IID__PDBByteStream, NewStream().As<ISupportErrorInfo>()},
      {IID__PDBUtils, com::Make<UtilsObject>(server_).As<ISupportErrorInfo>()},
      {IID_PDBDatabase, com::Make<DatabaseObject>(server_).As<ISupportErrorInfo>()},
      {IID_PDBFileSystem, NewFileSystem().As<ISupportErrorInfo>()},
      {IID__CSyncIndex, com::Make<SyncIndexObject>(server_, nullptr).As<ISupportErrorInfo>()}};
  for (const auto& [id, object] : objects) {
    ASSERT_TRUE(object);
    EXPECT_EQ(object->InterfaceSupportsErrorInfo(id), S_OK);
    EXPECT_EQ(object->InterfaceSupportsErrorInfo(__uuidof(NativeStream)), S_FALSE);
  }
}

TEST_F(ObjectTest, TheSameDatabaseIsTheSamePointer) {
  const auto files = NewFileSystem();
  const com::Bstr name(u"Notes");
  com::Ptr<::PDBDatabase> first;
  com::Ptr<::PDBDatabase> second;
  VARIANT_BOOL done = VARIANT_FALSE;
  ASSERT_HRESULT_SUCCEEDED(files->CreateDatabase(Plain(name), first.InOut(), &done));
  EXPECT_EQ(done, VARIANT_TRUE);
  ASSERT_HRESULT_SUCCEEDED(files->OpenDatabase(name.get(), second.InOut(), &done));
  EXPECT_EQ(first.get(), second.get());
  ASSERT_HRESULT_SUCCEEDED(files->Database(1, second.Receive()));
  EXPECT_EQ(first.get(), second.get());
  long count = 0;
  files->DatabaseCount(&count);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(files->Database(2, second.Receive()), static_cast<HRESULT>(0x800A0009));
  com::Variant late;
  EXPECT_EQ(V_BOOL(Do(files.get(), u"OpenDatabase", {Plain(name), ByReference(late)}).get()),
            VARIANT_TRUE);
  ASSERT_EQ(V_VT(late.get()), VT_DISPATCH);
  // A member of the class that the interface lacks.
  EXPECT_EQ(com::Text(V_BSTR(Do(V_DISPATCH(late.get()), u"DatabaseType").get())), u"DATA");
}

TEST_F(ObjectTest, ADatabaseWhoseOpeningRaisesIsHandedOutAllTheSame) {
  const auto handheld = std::make_shared<testing::MemoryHandheld>();
  const auto files =
      com::Make<FileSystemObject>(server_, std::make_shared<PDBFileSystemPalm>(
                                               handheld, AnsiCodePage::Windows1252(), nullptr))
          .As<::PDBFileSystem>();
  handheld->calls_to_live = 0;
  const com::Bstr name(u"Notes");
  com::Ptr<::PDBDatabase> database;
  com::Ptr<::PDBDatabase> listed;
  VARIANT_BOOL opened = VARIANT_FALSE;
  EXPECT_EQ(files->OpenDatabase(name.get(), database.InOut(), &opened),
            static_cast<HRESULT>(0x800A0039));
  ASSERT_HRESULT_SUCCEEDED(files->Database(1, listed.Receive()));
  ASSERT_TRUE(database);
  EXPECT_EQ(database.get(), listed.get());

  // A closed one refuses what it can't do.
  const auto closed = com::Make<DatabaseObject>(server_).As<::_PDBDatabasePC>();
  ::_CSyncIndex* index = nullptr;
  EXPECT_EQ(closed->get_SyncIndex(&index), static_cast<HRESULT>(0x800A0005));
  long count = -1;
  EXPECT_EQ(closed->get_RecordCount(&count), static_cast<HRESULT>(0x800A0005));
  EXPECT_EQ(count, 0);
  EXPECT_EQ(closed->Remove(1), static_cast<HRESULT>(0x800A0005));
}

TEST(ErrorNumber, OfAnHresultIsTheOneThatBasicShows) {
  constexpr std::pair<HRESULT, int32_t> kCases[] = {
      {static_cast<HRESULT>(0x800A0005), 5},
      {static_cast<HRESULT>(0x800A03E9), 1001},
      {DISP_E_TYPEMISMATCH, 13},
      {DISP_E_OVERFLOW, 6},
      {DISP_E_BADINDEX, 9},
      {E_INVALIDARG, 5},
      {E_OUTOFMEMORY, 7},
      {E_NOTIMPL, 445},
      {E_NOINTERFACE, 430},
      {DISP_E_MEMBERNOTFOUND, 438},
      {DISP_E_PARAMNOTOPTIONAL, 449},
      {DISP_E_BADPARAMCOUNT, 450},
      {E_FAIL, -2147467259},
      {static_cast<HRESULT>(0x80041234), -2147216844},
  };
  for (const auto& [result, number] : kCases) {
    EXPECT_EQ(com::ErrorNumberOf(result), number) << std::hex << result;
  }
}

}  // namespace
}  // namespace pylon
