// Walks the type library in Pylon.exe as a client's compiler would.

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "automation/Library.h"
#include "automation/TypeLibrary.h"
#include "base/Text.h"
#include "base/Types.h"

namespace pylon {
namespace {

static_assert(int{::dftActiveSync} == int{dftActiveSync} && int{::dftPalmVFS} == int{dftPalmVFS} &&
              int{::dftWindows} == int{dftWindows});
static_assert(int{::eArchive} == int{eArchive} && int{::eSecret} == int{eSecret} &&
              int{::eDirty} == int{eDirty} && int{::eDelete} == int{eDelete});
static_assert(int{::dtHotSync} == int{dtHotSync} && int{::dtPC} == int{dtPC});
static_assert(int{::ctVersion} == int{ctVersion} && int{::ctIcon} == int{ctIcon});

struct Member {
  std::string name;
  int kind;
  DISPID id;
  std::string help;
};

class TypeLibraryTest : public ::testing::Test {
 protected:
  // The members of an interface in the order of its slots.
  std::vector<Member> Members(const char16_t* interface_name) {
    com::Ptr<ITypeInfo> info = Find(interface_name);
    com::Ptr<ITypeInfo> vtable = info;
    HREFTYPE reference = 0;
    if (SUCCEEDED(info->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference))) {
      com::Check(info->GetRefTypeInfo(reference, vtable.Receive()));
    }
    TYPEATTR* attributes = nullptr;
    com::Check(vtable->GetTypeAttr(&attributes));
    const UINT count = attributes->cFuncs;
    vtable->ReleaseTypeAttr(attributes);

    std::map<int, Member> by_slot;
    for (UINT i = 0; i < count; ++i) {
      FUNCDESC* function = nullptr;
      com::Check(vtable->GetFuncDesc(i, &function));
      com::Bstr name;
      com::Bstr help;
      com::Check(vtable->GetDocumentation(function->memid, name.Receive(), help.Receive(), nullptr,
                                          nullptr));
      by_slot[function->oVft] = {ToUtf8(com::Text(name.get())), function->invkind, function->memid,
                                 ToUtf8(com::Text(help.get()))};
      vtable->ReleaseFuncDesc(function);
    }
    EXPECT_EQ(by_slot.size(), count) << "two members share a slot";
    std::vector<Member> members;
    for (auto& [slot, member] : by_slot) members.push_back(std::move(member));
    return members;
  }

  com::Ptr<ITypeInfo> Find(const char16_t* name) {
    std::u16string text = name;
    com::Ptr<ITypeInfo> info;
    MEMBERID member = 0;
    USHORT found = 1;
    com::Check(library_.get()->FindName(const_cast<wchar_t*>(Wide(text)), 0, info.Receive(),
                                        &member, &found));
    if (!info) throw std::runtime_error("not in the library: " + ToUtf8(text));
    return info;
  }

  TypeLibrary library_{u"Pylon.exe"};
};

std::vector<std::string> Names(const std::vector<Member>& members) {
  std::vector<std::string> names;
  for (const Member& member : members) {
    if (names.empty() || names.back() != member.name) names.push_back(member.name);
  }
  return names;
}

TEST_F(TypeLibraryTest, TheLibraryIsNamedPylon) {
  com::Bstr name;
  ASSERT_HRESULT_SUCCEEDED(
      library_.get()->GetDocumentation(-1, name.Receive(), nullptr, nullptr, nullptr));
  EXPECT_EQ(com::Text(name.get()), u"Pylon");
}

TEST_F(TypeLibraryTest, MembersStandInTheOrderOfTheirSlots) {
  using Strings = std::vector<std::string>;
  EXPECT_EQ(Names(Members(u"ISyncNotify")), (Strings{"BeginSynchronize", "GetConduitInfo",
                                                     "ConfigureConduit", "SynchronizeClose"}));
  EXPECT_EQ(Names(Members(u"_oSyncInfo")),
            (Strings{"FileSystem", "ConduitInfo", "Device", "CancelSync", "UpdateStatusMain",
                     "UpdateStatusDetail", "UpdateStatusMaxBar", "UpdateStatusIncrementBar",
                     "UpdateStatusBarValue", "UpdateLog"}));
  EXPECT_EQ(Names(Members(u"PDBFileSystem")),
            (Strings{"OpenDatabase", "CreateDatabase", "MoveDatabase", "DeleteDatabase",
                     "DatabaseCount", "Database"}));
  const Strings database = {"PDBFilePath",
                            "PDBDatabaseName",
                            "CreatorId",
                            "DatabaseFor",
                            "OpenDatabase",
                            "CloseDatabase",
                            "RemoveDatabase",
                            "CreateDatabase",
                            "ReadAppInfoBlock",
                            "WriteAppInfoBlock",
                            "ReadSortInfoBlock",
                            "WriteSortInfoBlock",
                            "IterationIndex",
                            "BOF",
                            "EOF",
                            "ReadNext",
                            "ReadNextByIndex",
                            "ReadNextById",
                            "ReadNextModified",
                            "Remove",
                            "RemoveAll",
                            "RemoveWithDeleteFlag",
                            "ResetModifyFlags",
                            "RecordCount",
                            "Update",
                            "CreateDateTime",
                            "ModifyDateTime",
                            "SyncIndex"};
  EXPECT_EQ(Names(Members(u"PDBDatabase")), database);
  Strings in_file = database;
  in_file.insert(in_file.end(), {"DatabaseType", "DatabaseFor"});
  EXPECT_EQ(Names(Members(u"_PDBDatabasePC")), in_file);
  EXPECT_EQ(Names(Members(u"_PDBByteStream")),
            (Strings{"GlobalByteSwap",  "UTF8Strings",   "DatabaseFor",   "ByteArray",
                     "length",          "Resize",        "Clear",         "ByteToString",
                     "StringToByte",    "ByteToCString", "CStringToByte", "ByteToFixString",
                     "FixStringToByte", "GetByte",       "SetByte",       "ByteToInteger",
                     "IntegerToByte",   "ByteToInt24",   "Int24ToByte",   "ByteToLong",
                     "LongToByte",      "ByteToDouble",  "DoubleToByte",  "ByteToCurrency",
                     "CurrencyToByte",  "ByteToSingle",  "SingleToByte"}));
  EXPECT_EQ(Names(Members(u"_PDBUtils")),
            (Strings{"UnsignedToLong", "LongToUnsigned", "UnsignedToInteger", "IntegerToUnsigned",
                     "PalmLongToDate", "DateToPalmLong", "PalmIntegerToTime", "PalmIDtoLong",
                     "PalmLongtoId", "ToUTF8", "ToUTF16", "UTF8Length"}));
  EXPECT_EQ(Names(Members(u"_CDevice")), (Strings{"DeviceName", "DeviceType", "DeviceDateTime",
                                                  "SyncDateTime", "GetSettings", "SaveSettings"}));
  EXPECT_EQ(Names(Members(u"_CConduitInfo")),
            (Strings{"AppId", "AppFolder", "SyncDateTime", "GetSettings", "SaveSettings"}));
  EXPECT_EQ(Names(Members(u"_CSyncIndex")), (Strings{"SyncIndexExists", "Changed", "UniqueId",
                                                     "Add", "Remove", "Clear", "CloseIndex"}));
  EXPECT_EQ(
      Names(Members(u"_PDBAppforgeDefinition")),
      (Strings{"AppInfoBlock", "SortInfoBlock", "IsAppforgeData", "FieldCount", "AddFieldName",
               "ClearFieldName", "FieldName", "FieldType", "SortFieldCount", "SortFieldIndex"}));
  EXPECT_EQ(
      Names(Members(u"_PDBAppforgeRecord")),
      (Strings{"AppforgeDefinition", "ByteStream", "Clear", "DataLength", "HasValue", "Value",
               "ByteValue", "BooleanValue", "IntegerValue", "LongValue", "DoubleValue",
               "CurrencyValue", "SingleValue", "DateValue", "StringValue", "SignatureValue"}));
  EXPECT_EQ(Names(Members(u"_AppforgeSignature")),
            (Strings{"Signature", "Stamp", "Clear", "CreateBMP"}));
  EXPECT_EQ(Names(Members(u"_AppforgeAppSettings")),
            (Strings{"GetSettings", "SaveSettings", "DeleteSettings"}));
}

constexpr const char16_t* kInterfaces[] = {u"ISyncNotify",
                                           u"_oSyncInfo",
                                           u"PDBFileSystem",
                                           u"PDBDatabase",
                                           u"_PDBDatabasePC",
                                           u"_PDBByteStream",
                                           u"_PDBUtils",
                                           u"_CDevice",
                                           u"_CConduitInfo",
                                           u"_CSyncIndex",
                                           u"_PDBAppforgeDefinition",
                                           u"_PDBAppforgeRecord",
                                           u"_AppforgeSignature",
                                           u"_AppforgeAppSettings",
                                           u"_cPalmSync"};

TEST_F(TypeLibraryTest, NoTwoMembersOfAKindShareAnId) {
  for (const char16_t* name : kInterfaces) {
    SCOPED_TRACE(ToUtf8(name));
    std::set<std::pair<DISPID, int>> seen;
    for (const Member& member : Members(name)) {
      EXPECT_TRUE(seen.insert({member.id, member.kind}).second) << member.name;
    }
  }
}

// The value behind the pointers of a type; an enum or an interface as it is, a struct as VT_RECORD.
VARTYPE ValueOf(ITypeInfo* info, const TYPEDESC* type) {
  while (type->vt == VT_PTR) type = type->lptdesc;
  if (type->vt != VT_USERDEFINED) return type->vt;
  com::Ptr<ITypeInfo> named;
  com::Check(info->GetRefTypeInfo(type->hreftype, named.Receive()));
  TYPEATTR* attributes = nullptr;
  com::Check(named->GetTypeAttr(&attributes));
  const TYPEKIND kind = attributes->typekind;
  named->ReleaseTypeAttr(attributes);
  if (kind == TKIND_ENUM) return VT_I4;
  return kind == TKIND_DISPATCH || kind == TKIND_INTERFACE ? VT_DISPATCH : VT_RECORD;
}

TEST_F(TypeLibraryTest, EveryValueIsOfATypeThatScriptsKnow) {
  const std::set<VARTYPE> known = {VT_UI1,  VT_I2,   VT_I4,   VT_R4,      VT_R8,   VT_CY,
                                   VT_DATE, VT_BSTR, VT_BOOL, VT_VARIANT, VT_VOID, VT_DISPATCH};
  std::set<VARTYPE> used;
  for (const char16_t* name : kInterfaces) {
    const auto info = Find(name);
    constexpr UINT kIUnknownAndIDispatch = 7;
    FUNCDESC* function = nullptr;
    for (UINT i = kIUnknownAndIDispatch; SUCCEEDED(info->GetFuncDesc(i, &function)); ++i) {
      for (SHORT parameter = 0; parameter < function->cParams; ++parameter) {
        const VARTYPE type = ValueOf(info.get(), &function->lprgelemdescParam[parameter].tdesc);
        EXPECT_TRUE(known.contains(type)) << ToUtf8(name) << " member " << function->memid;
        used.insert(type);
      }
      used.insert(ValueOf(info.get(), &function->elemdescFunc.tdesc));
      info->ReleaseFuncDesc(function);
    }
  }
  EXPECT_EQ(used, known);
}

TEST_F(TypeLibraryTest, ADatabaseInAFileSharesTheIdsOfEveryDatabase) {
  std::map<std::string, DISPID> ids;
  for (const Member& member : Members(u"_PDBDatabasePC")) ids[member.name] = member.id;
  for (const Member& member : Members(u"PDBDatabase")) {
    EXPECT_EQ(ids[member.name], member.id) << member.name;
  }
}

TEST_F(TypeLibraryTest, HelpTextsAreKeptWithTheirSpelling) {
  const struct {
    const char16_t* interface_name;
    const char* member;
    const char* help;
  } cases[] = {
      {u"ISyncNotify", "BeginSynchronize",
       "This methods is called by the Pyln to start the Sync process."},
      {u"ISyncNotify", "GetConduitInfo", "Returns information about this conduit."},
      {u"ISyncNotify", "ConfigureConduit",
       "This Method is called when the Pylon manager wants to display the configuration screen."},
      {u"ISyncNotify", "SynchronizeClose", "The Pylon Manager is about to destory the object."},
      {u"_oSyncInfo", "FileSystem",
       "Returns the a FileSystem Object for the Device you are syncing with."},
      {u"_oSyncInfo", "Device", "Returns an object describing the device you are syncing with."},
      {u"_oSyncInfo", "CancelSync",
       "This properies allows you to check to see if the user has pressed the Cancel button."},
      {u"_oSyncInfo", "UpdateStatusMain", "Update the main label on the status screen."},
      {u"_oSyncInfo", "UpdateStatusDetail", "Updates the second label on the status screen."},
      {u"_oSyncInfo", "UpdateStatusMaxBar",
       "Set the max value of the status screen's progress bar."},
      {u"_oSyncInfo", "UpdateStatusIncrementBar",
       "Increment the current value of the status progressbar by this value."},
      {u"_oSyncInfo", "UpdateStatusBarValue",
       "Update the current value of the Status Progress Bar."},
      {u"_oSyncInfo", "UpdateLog", "Add information to the Log file."},
      {u"_CDevice", "DeviceName", "Read-Only. The name given to this device."},
      {u"_CDevice", "DeviceType", "Type of syncing device we are working with."},
      {u"_CDevice", "DeviceDateTime", "Read-Only. Returns the Current Date/Time on the device."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.member);
    std::string help = "no such member";
    for (const Member& member : Members(c.interface_name)) {
      if (member.name == c.member) help = member.help;
    }
    EXPECT_EQ(help, c.help);
  }
}

TEST_F(TypeLibraryTest, ClassesThatClientsMayNotCreateSaySo) {
  const struct {
    const char16_t* name;
    bool creatable;
  } cases[] = {{u"PDBByteStream", true},       {u"PDBUtils", true},
               {u"PDBDatabasePC", true},       {u"PDBAppforgeDefinition", true},
               {u"PDBAppforgeRecord", true},   {u"AppforgeSignature", true},
               {u"AppforgeAppSettings", true}, {u"cPalmSync", true},
               {u"oSyncInfo", false},          {u"CDevice", false},
               {u"CConduitInfo", false},       {u"CSyncIndex", false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(ToUtf8(c.name));
    const auto info = Find(c.name);
    TYPEATTR* attributes = nullptr;
    com::Check(info->GetTypeAttr(&attributes));
    EXPECT_EQ(attributes->typekind, TKIND_COCLASS);
    EXPECT_EQ((attributes->wTypeFlags & TYPEFLAG_FCANCREATE) != 0, c.creatable);
    info->ReleaseTypeAttr(attributes);
  }
}

}  // namespace
}  // namespace pylon
