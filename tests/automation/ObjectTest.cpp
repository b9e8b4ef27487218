// The automation classes in this process: through the vtable, and late-bound as scripts call them.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "automation/ByteStreamObject.h"
#include "automation/DatabaseObject.h"
#include "automation/FileSystemObject.h"
#include "automation/UtilsObject.h"
#include "hotsync/PDBFileSystemPalm.h"
#include "pdb/PDBFileSystemPC.h"
#include "tests/support/MemoryDisk.h"
#include "tests/support/MemoryHandheld.h"

namespace pylon {
namespace {

VARIANT ByReference(com::Variant& variable) {
  VARIANT argument;
  V_VT(&argument) = VT_BYREF | VT_VARIANT;
  V_VARIANTREF(&argument) = variable.get();
  return argument;
}
VARIANT Plain(int32_t value) {
  VARIANT argument;
  V_VT(&argument) = VT_I4;
  V_I4(&argument) = value;
  return argument;
}
VARIANT Plain(double value) {
  VARIANT argument;
  V_VT(&argument) = VT_R8;
  V_R8(&argument) = value;
  return argument;
}
VARIANT Plain(const com::Bstr& value) {
  VARIANT argument;
  V_VT(&argument) = VT_BSTR;
  V_BSTR(&argument) = value.get();
  return argument;
}
com::Variant Object(IDispatch* object) {
  com::Variant value;
  V_VT(value.get()) = VT_DISPATCH;
  V_DISPATCH(value.get()) = object;
  object->AddRef();
  return value;
}

struct Outcome {
  HRESULT result = S_OK;
  com::Variant value;
  EXCEPINFO exception = {};
  UINT bad_argument = 99;

  Outcome() = default;
  Outcome(Outcome&&) = default;
  ~Outcome() {
    ::SysFreeString(exception.bstrSource);
    ::SysFreeString(exception.bstrDescription);
  }
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
  ASSERT_HRESULT_SUCCEEDED(
      Call(stream.get(), u"LongToByte", {Plain(0x01020304), ByReference(offset)}).result);
  EXPECT_EQ(V_I4(offset.get()), 4);
  EXPECT_EQ(V_I4(Call(stream.get(), u"length", {}).value.get()), 4);

  // A script's fresh variable is empty and its numbers are doubles: both convert.
  com::Variant value;
  com::Variant from;
  V_VT(from.get()) = VT_R8;
  V_R8(from.get()) = 0.0;
  ASSERT_HRESULT_SUCCEEDED(
      Call(stream.get(), u"ByteToLong", {ByReference(value), ByReference(from)}).result);
  EXPECT_EQ(V_VT(value.get()), VT_I4);
  EXPECT_EQ(V_I4(value.get()), 0x01020304);
  EXPECT_EQ(V_VT(from.get()), VT_I4);
  EXPECT_EQ(V_I4(from.get()), 4);
}

TEST_F(ObjectTest, LateBoundCallsTakePlainValuesWhereNothingIsWrittenBack) {
  const auto stream = NewStream();
  ASSERT_HRESULT_SUCCEEDED(
      Call(stream.get(), u"IntegerToByte", {Plain(258.0), Plain(0), Plain(-1)}).result);
  com::Variant value;
  ASSERT_HRESULT_SUCCEEDED(
      Call(stream.get(), u"ByteToInteger", {ByReference(value), Plain(0.0), Plain(1)}).result);
  EXPECT_EQ(V_I2(value.get()), 258);
}

TEST_F(ObjectTest, TypedReferencesKeepTheCallersType) {
  const auto stream = NewStream();
  short narrow = 0;
  VARIANT offset;
  V_VT(&offset) = VT_BYREF | VT_I2;
  V_I2REF(&offset) = &narrow;
  ASSERT_HRESULT_SUCCEEDED(Call(stream.get(), u"SetByte", {Plain(7), offset}).result);
  EXPECT_EQ(narrow, 1);
}

TEST_F(ObjectTest, ATypedArrayGoesByReference) {
  const auto utils = com::Make<UtilsObject>(server_).As<::_PDBUtils>();
  com::Variant array = com::FromBytes(Bytes{std::byte{0xC3}, std::byte{0xBC}});
  VARIANT argument;
  V_VT(&argument) = VT_BYREF | VT_ARRAY | VT_UI1;
  V_ARRAYREF(&argument) = &V_ARRAY(array.get());
  const Outcome outcome = Call(utils.get(), u"ToUTF16", {argument});
  ASSERT_HRESULT_SUCCEEDED(outcome.result);
  EXPECT_EQ(V_I4(outcome.value.get()), 0xFC);
  EXPECT_HRESULT_SUCCEEDED(
      Call(NewStream().get(), u"ByteArray", {argument}, DISPATCH_PROPERTYPUT).result);
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

TEST_F(ObjectTest, MoneyAndWideNumbersConvert) {
  const auto stream = NewStream();
  VARIANT money;
  V_VT(&money) = VT_CY;
  V_CY(&money).int64 = 1'234'567;
  DECIMAL wide = {};
  VARIANT offset;
  V_VT(&offset) = VT_BYREF | VT_DECIMAL;
  V_DECIMALREF(&offset) = &wide;
  ASSERT_HRESULT_SUCCEEDED(Call(stream.get(), u"CurrencyToByte", {money, offset}).result);
  EXPECT_EQ(wide.Lo64, 8U);
  com::Variant read;
  ASSERT_HRESULT_SUCCEEDED(
      Call(stream.get(), u"ByteToCurrency", {ByReference(read), Plain(0)}).result);
  ASSERT_EQ(V_VT(read.get()), VT_CY);
  EXPECT_EQ(V_CY(read.get()).int64, 1'234'567);
}

TEST_F(ObjectTest, BadCallsAreRefused) {
  const auto stream = NewStream();
  const com::Bstr text(u"no number");
  const com::Bstr good(u"12");
  EXPECT_EQ(Call(stream.get(), u"NoSuchMember", {}).result, DISP_E_UNKNOWNNAME);
  const Outcome missing = Call(stream.get(), u"Resize", {});
  EXPECT_EQ(missing.result, DISP_E_PARAMNOTOPTIONAL);
  EXPECT_EQ(missing.bad_argument, 99U) << "there is none to name";
  VARIANT omitted;
  V_VT(&omitted) = VT_ERROR;
  V_ERROR(&omitted) = DISP_E_PARAMNOTFOUND;
  EXPECT_EQ(Call(stream.get(), u"Resize", {omitted}).result, DISP_E_PARAMNOTOPTIONAL);
  EXPECT_EQ(Call(stream.get(), u"Clear", {Plain(1)}).result, DISP_E_BADPARAMCOUNT);
  EXPECT_EQ(Call(stream.get(), u"Resize", {Plain(1e12)}).result, DISP_E_OVERFLOW);
  const Outcome outcome = Call(stream.get(), u"LongToByte", {Plain(text), Plain(0)});
  EXPECT_EQ(outcome.result, DISP_E_TYPEMISMATCH);
  EXPECT_EQ(outcome.bad_argument, 1U) << "counted from the last argument";
  EXPECT_HRESULT_SUCCEEDED(Call(stream.get(), u"Resize", {Plain(good)}).result);
  EXPECT_EQ(Call(stream.get(), u"length", {Plain(1)}, DISPATCH_PROPERTYPUT).result,
            DISP_E_MEMBERNOTFOUND);
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
}

TEST_F(ObjectTest, EveryClassAnswersForTheErrorsOfItsInterfaces) {
  const com::Ptr<IUnknown> objects[] = {
      com::Make<ByteStreamObject>(server_).As<IUnknown>(),
      com::Make<UtilsObject>(server_).As<IUnknown>(),
      com::Make<DatabaseObject>(server_).As<IUnknown>(), NewFileSystem().As<IUnknown>(),
      com::Make<SyncIndexObject>(server_, nullptr).As<IUnknown>()};
  const IID ids[] = {IID__PDBByteStream, IID__PDBUtils, IID_PDBDatabase, IID_PDBFileSystem,
                     IID__CSyncIndex};
  for (size_t i = 0; i < std::size(objects); ++i) {
    const auto support = objects[i].As<ISupportErrorInfo>();
    ASSERT_TRUE(support);
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(ids[i]), S_OK);
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_IPersist), S_FALSE);
  }
}

TEST_F(ObjectTest, ADoubleReadLeavesTheCallersByteOrderInvertedWhenTheStreamSwaps) {
  const auto stream = NewStream();
  stream->put_GlobalByteSwap(VARIANT_TRUE);
  long offset = 0;
  stream->DoubleToByte(1.5, &offset, VARIANT_FALSE);
  com::Variant value;
  com::Variant from(0);
  com::Variant swap;
  V_VT(swap.get()) = VT_BOOL;
  V_BOOL(swap.get()) = VARIANT_FALSE;
  ASSERT_HRESULT_SUCCEEDED(Call(stream.get(), u"ByteToDouble",
                                {ByReference(value), ByReference(from), ByReference(swap)})
                               .result);
  EXPECT_EQ(V_R8(value.get()), 1.5);
  EXPECT_EQ(V_BOOL(swap.get()), VARIANT_TRUE);
}

TEST_F(ObjectTest, AByteArrayIsTakenWholeWhateverItsElements) {
  const auto stream = NewStream();
  SAFEARRAYBOUND bound = {3, 0};
  com::Variant array;
  V_VT(array.get()) = VT_ARRAY | VT_VARIANT;
  V_ARRAY(array.get()) = ::SafeArrayCreate(VT_VARIANT, 1, &bound);
  for (LONG i = 0; i < 3; ++i) {
    const com::Variant element(i * 100);
    ::SafeArrayPutElement(V_ARRAY(array.get()), &i, const_cast<VARIANT*>(element.get()));
  }
  ASSERT_HRESULT_SUCCEEDED(
      Call(stream.get(), u"ByteArray", {*array.get()}, DISPATCH_PROPERTYPUT).result);
  EXPECT_EQ(V_I4(Call(stream.get(), u"length", {}).value.get()), 2);
  const Outcome read = Call(stream.get(), u"ByteArray", {});
  ASSERT_EQ(V_VT(read.value.get()), VT_ARRAY | VT_UI1);
  EXPECT_EQ(com::ToBytes(*read.value.get()).bytes,
            (Bytes{std::byte{0}, std::byte{100}, std::byte{200}}));

  const Outcome wrong = Call(stream.get(), u"ByteArray", {Plain(5)}, DISPATCH_PROPERTYPUT);
  EXPECT_EQ(wrong.exception.scode, static_cast<HRESULT>(0x800A000D));
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
}

TEST_F(ObjectTest, AScriptWritesAndReadsARecord) {
  const auto files = NewFileSystem();
  const com::Bstr name(u"Notes");
  com::Variant database;
  com::Variant result =
      Call(files.get(), u"CreateDatabase", {Plain(name), ByReference(database)}).value;
  ASSERT_EQ(V_VT(database.get()), VT_DISPATCH);
  EXPECT_EQ(V_BOOL(result.get()), VARIANT_TRUE);
  IDispatch* const notes = V_DISPATCH(database.get());

  const auto stream = NewStream();
  const com::Bstr text(u"Gr\u00FC\u00DFe");
  Call(stream.get(), u"StringToByte", {Plain(text), Plain(0)});
  com::Variant id(0);
  com::Variant category(3);
  com::Variant attributes(64);
  com::Variant data = Object(stream.get());
  ASSERT_HRESULT_SUCCEEDED(Call(notes, u"Update",
                                {Plain(0), ByReference(id), ByReference(category),
                                 ByReference(attributes), ByReference(data)})
                               .result);
  EXPECT_EQ(V_I4(id.get()), 1);

  // Nothing in the variable for the stream: the caller gets a new one.
  com::Variant index;
  com::Variant read;
  const Outcome found = Call(notes, u"ReadNext",
                             {ByReference(index), ByReference(id), ByReference(category),
                              ByReference(attributes), ByReference(read)});
  ASSERT_HRESULT_SUCCEEDED(found.result);
  EXPECT_EQ(V_BOOL(found.value.get()), VARIANT_TRUE);
  EXPECT_EQ(V_I4(index.get()), 1);
  EXPECT_EQ(V_I2(category.get()), 3);
  EXPECT_EQ(V_I4(attributes.get()), 64);
  ASSERT_EQ(V_VT(read.get()), VT_DISPATCH);
  com::Variant copy;
  ASSERT_HRESULT_SUCCEEDED(
      Call(V_DISPATCH(read.get()), u"ByteToString", {ByReference(copy), Plain(0)}).result);
  EXPECT_EQ(com::Text(V_BSTR(copy.get())), u"Gr\u00FC\u00DFe");
  // Members of the class that the interface lacks, and a method read as a property.
  EXPECT_EQ(com::Text(V_BSTR(Call(notes, u"DatabaseType", {}).value.get())), u"DATA");
  EXPECT_EQ(V_BOOL(Call(notes, u"EOF", {}, DISPATCH_PROPERTYGET).value.get()), VARIANT_TRUE);
}

// Somebody else's stream: it has an array and nothing more that a database uses.
class ForeignStream final : public ::_PDBByteStream {
 public:
  Bytes bytes;

  STDMETHODIMP QueryInterface(REFIID id, void** object) noexcept override {
    *object =
        id == IID_IUnknown || id == IID_IDispatch || id == IID__PDBByteStream ? this : nullptr;
    return *object ? S_OK : E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() noexcept override { return 2; }
  STDMETHODIMP_(ULONG) Release() noexcept override { return 1; }
  STDMETHODIMP get_ByteArray(VARIANT* value) noexcept override {
    *value = com::FromBytes(bytes).Detach();
    return S_OK;
  }
  STDMETHODIMP put_ByteArray(VARIANT value) noexcept override {
    bytes = com::ToBytes(value).bytes;
    return S_OK;
  }

#define NOT_USED(member, ...) \
  STDMETHODIMP member(__VA_ARGS__) noexcept override { return E_NOTIMPL; }
  NOT_USED(GetTypeInfoCount, UINT*)
  NOT_USED(GetTypeInfo, UINT, LCID, ITypeInfo**)
  NOT_USED(GetIDsOfNames, REFIID, LPOLESTR*, UINT, LCID, DISPID*)
  NOT_USED(Invoke, DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*)
  NOT_USED(get_GlobalByteSwap, VARIANT_BOOL*)
  NOT_USED(put_GlobalByteSwap, VARIANT_BOOL)
  NOT_USED(get_UTF8Strings, VARIANT_BOOL*)
  NOT_USED(put_UTF8Strings, VARIANT_BOOL)
  NOT_USED(get_DatabaseFor, ::eDatabaseForType*)
  NOT_USED(put_DatabaseFor, ::eDatabaseForType)
  NOT_USED(get_length, long*)
  NOT_USED(Resize, long)
  NOT_USED(Clear)
  NOT_USED(ByteToString, BSTR*, long*)
  NOT_USED(StringToByte, BSTR, long*)
  NOT_USED(ByteToCString, BSTR*, long*)
  NOT_USED(CStringToByte, BSTR*, long*)
  NOT_USED(ByteToFixString, BSTR*, long*, long)
  NOT_USED(FixStringToByte, BSTR, long*, long)
  NOT_USED(GetByte, unsigned char*, long*)
  NOT_USED(SetByte, unsigned char, long*)
  NOT_USED(ByteToInteger, short*, long*, VARIANT_BOOL)
  NOT_USED(IntegerToByte, short, long*, VARIANT_BOOL)
  NOT_USED(ByteToInt24, long*, long*, VARIANT_BOOL)
  NOT_USED(Int24ToByte, long, long*, VARIANT_BOOL)
  NOT_USED(ByteToLong, long*, long*, VARIANT_BOOL)
  NOT_USED(LongToByte, long, long*, VARIANT_BOOL)
  NOT_USED(ByteToDouble, double*, long*, VARIANT_BOOL*)
  NOT_USED(DoubleToByte, double, long*, VARIANT_BOOL)
  NOT_USED(ByteToCurrency, CY*, long*, VARIANT_BOOL*)
  NOT_USED(CurrencyToByte, CY, long*, VARIANT_BOOL)
  NOT_USED(ByteToSingle, float*, long*, VARIANT_BOOL)
  NOT_USED(SingleToByte, float, long*, VARIANT_BOOL)
#undef NOT_USED
};

TEST_F(ObjectTest, SomebodyElsesStreamWorksThroughItsArray) {
  const auto files = NewFileSystem();
  const com::Bstr name(u"Notes");
  com::Ptr<::PDBDatabase> database;
  VARIANT_BOOL done = VARIANT_FALSE;
  ASSERT_HRESULT_SUCCEEDED(files->CreateDatabase(Plain(name), database.InOut(), &done));

  ForeignStream foreign;
  foreign.bytes = {std::byte{1}, std::byte{2}, std::byte{0}};
  ::_PDBByteStream* argument = &foreign;
  long id = 0;
  short category = 0;
  ::eRecordAttribute attributes = {};
  ASSERT_HRESULT_SUCCEEDED(database->Update(0, &id, &category, &attributes, &argument));
  ASSERT_HRESULT_SUCCEEDED(database->WriteAppInfoBlock(&argument));

  foreign.bytes.clear();
  long index = 0;
  ASSERT_HRESULT_SUCCEEDED(
      database->ReadNext(&index, &id, &category, &attributes, &argument, &done));
  EXPECT_EQ(argument, &foreign);
  EXPECT_EQ(foreign.bytes, (Bytes{std::byte{1}, std::byte{2}, std::byte{0}}))
      << "two bytes and the spare one";
  ASSERT_HRESULT_SUCCEEDED(database->ReadAppInfoBlock(&argument));
  EXPECT_EQ(foreign.bytes.size(), 4U) << "a block is taken whole";
  database->CloseDatabase();
}

TEST_F(ObjectTest, AClosedDatabaseRefusesWhatItCannotDo) {
  const auto database = com::Make<DatabaseObject>(server_).As<::_PDBDatabasePC>();
  ::_CSyncIndex* index = nullptr;
  EXPECT_EQ(database->get_SyncIndex(&index), static_cast<HRESULT>(0x800A0005));
  long count = -1;
  EXPECT_EQ(database->get_RecordCount(&count), static_cast<HRESULT>(0x800A0005));
  EXPECT_EQ(count, 0);
  EXPECT_EQ(database->Remove(1), static_cast<HRESULT>(0x800A0005));
}

}  // namespace
}  // namespace pylon
