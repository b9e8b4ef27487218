#include "setup/cHotSync.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/setup/SimulatedHotSync.h"
#include "tests/setup/StepText.h"

namespace pylon {
namespace {

using ::testing::HasSubstr;
using testing::Said;
using testing::SimulatedHotSync;
using ::testing::StartsWith;

constexpr DWORD kMemo = 0x6d656d6f;
constexpr char kOurs[] = "6d656d6f|COMConduit.dll|Pylon.cPalmSync|Memos & more|Memos|Memos.pdb|2\n";

struct HotSyncTest : ::testing::Test {
  void SetUp() override {
    SKIP_WITH_HOTSYNC(pc);
    pc.Install();
  }

  // A new object, as each start of the program has one.
  cHotSync HotSync() { return cHotSync(program.File(u"Pylon.exe"), AnsiCodePage::Windows1252()); }
  std::string Install(std::u16string creator = u"memo", std::u16string app_id = u"Memos") {
    return Said(
        HotSync().InstallConduit({creator, app_id, u"Memos & more", app_id, app_id + u".pdb"}));
  }
  std::string Uninstall(std::u16string_view creator = u"memo") {
    return Said(HotSync().UninstallConduit(creator));
  }
  std::string InstallFiles(std::u16string_view files, std::u16string_view user = u"") {
    return Said(HotSync().InstallApplication(u"Memos", files, user));
  }
  bool IsConduitInstalled() {
    const auto conduit = HotSync().FindConduit(u"memo");
    return conduit && conduit->ours;
  }

  SimulatedHotSync pc;
  testing::TempFolder program;
};

TEST_F(HotSyncTest, IsWhereTheRegistryNamesItsLibraries) {
  const std::u16string folder = pc.folder().path();
  const struct {
    const char* name;
    HKEY root;
    const wchar_t* value;
    std::u16string path;
    bool installed;
  } cases[] = {
      {"in the user's", HKEY_CURRENT_USER, L"Path", folder, true},
      {"with a backslash", HKEY_CURRENT_USER, L"Path", folder + u"\\", true},
      {"of the machine", HKEY_LOCAL_MACHINE, L"Path", folder, true},
      {"the programs'", HKEY_CURRENT_USER, L"DesktopPath", folder, true},
      {"beside the program", HKEY_CURRENT_USER, L"HotSyncPath", folder + u"\\HotSync.exe", true},
      {"no library there", HKEY_CURRENT_USER, L"Path", program.path(), false},
      {"no folder", HKEY_CURRENT_USER, L"Path", u"C:\\No such folder", false},
      {"relative", HKEY_CURRENT_USER, L"Path", u"simulators\\palm\\manager", false},
      {"empty", HKEY_CURRENT_USER, L"Path", u"", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ::RegDeleteTreeW(HKEY_CURRENT_USER, SimulatedHotSync::kDesktop);
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, SimulatedHotSync::kDesktop);
    EXPECT_FALSE(HotSync().IsInstalled());
    RegistryKey key;
    EXPECT_NE(::RegOpenKeyW(HKEY_CURRENT_USER, SimulatedHotSync::kDesktop, key.Receive()), 0)
        << "asking leaves no trace";
    pc.Install(c.root, c.value, c.path);
    EXPECT_EQ(HotSync().IsInstalled(), c.installed);
    EXPECT_EQ(Install(), c.installed ? "done" : "failed: HotSync is not Installed.");
  }
}

TEST_F(HotSyncTest, AConduitIsRegisteredOnceAndRemoved) {
  EXPECT_FALSE(IsConduitInstalled());
  EXPECT_EQ(Uninstall(), "done") << "it isn't there";
  EXPECT_EQ(pc.Calls("HsRefreshConduitInfo"), 0);
  EXPECT_EQ(Install(), "done");
  EXPECT_EQ(pc.Conduits(), kOurs);
  EXPECT_EQ(pc.Calls("HsRefreshConduitInfo"), 1);
  EXPECT_TRUE(IsConduitInstalled());

  pc.SetText(HKEY_CURRENT_USER, L"\\Component0", L"Title", u"An older one");
  EXPECT_EQ(Install(), "done");
  EXPECT_EQ(pc.Conduits(), kOurs) << "renewed";
  EXPECT_EQ(Install(u"Mem2"), "done");
  EXPECT_THAT(pc.Conduits(), StartsWith("4d656d32|")) << "alone: a component has one creator id";
  EXPECT_EQ(Uninstall(u"Mem2"), "done");
  EXPECT_EQ(pc.Conduits(), "");
}

TEST_F(HotSyncTest, AnothersConduitIsNeverTouched) {
  for (const char16_t* title : {u"Notes of others", u""}) {
    pc.AddConduit(kMemo, title, u"notes.dll");
    const std::string before = pc.Conduits();
    EXPECT_THAT(Install(), AllOf(StartsWith("failed: The creator id 'memo' belongs to another"),
                                 HasSubstr(*title ? "'Notes of others'" : "'notes.dll'")));
    EXPECT_EQ(Uninstall(), "done") << "ours isn't there";
    EXPECT_FALSE(IsConduitInstalled());
    EXPECT_EQ(pc.Conduits(), before);
    ::RegDeleteTreeW(HKEY_CURRENT_USER, (std::wstring(pc.kDesktop) + L"\\Component7").c_str());
  }
}

TEST_F(HotSyncTest, WhatFailsIsToldAndTakenBack) {
  const std::pair<const char*, const char*> faults[] = {
      {"CmInstallCreator=-1006", "(CmInstallCreator answers -1006)"},
      {"CmInstallCreator=-1007", "HotSync: CmInstallCreator answers -1007."},
      {"CmSetCreatorName=-1006", "the registry can't be read or written (CmSetCreatorName"},
      {"CmSetCreatorDirectory=-1006", "CmSetCreatorDirectory"},
      {"CmSetCreatorFile=-1006", "CmSetCreatorFile"},
      {"CmSetCreatorTitle=-1008", "CmSetCreatorTitle answers -1008"},
      {"CmSetCreatorPriority=-1006", "CmSetCreatorPriority"},
      {"CmSetCreatorValueString=-1006", "CmSetCreatorValueString"},
  };
  for (const auto& [fault, message] : faults) {
    SCOPED_TRACE(fault);
    pc.Fail(fault);
    EXPECT_THAT(Install(),
                AllOf(StartsWith("failed: The conduit could not be registered with HotSync: "),
                      HasSubstr(message)));
    EXPECT_EQ(pc.Conduits(), "");
    EXPECT_EQ(pc.Calls("HsRefreshConduitInfo"), 0);
  }
  pc.Fail("CmSetCreatorTitle=-1006\r\nCmRemoveConduitByCreatorID=-1002");
  EXPECT_THAT(Install(), HasSubstr("could not be removed either"));
  EXPECT_NE(pc.Conduits(), "");
  pc.Fail("");
  EXPECT_EQ(Install(), "done") << "what was left is taken up";
  EXPECT_EQ(pc.Conduits(), kOurs);

  pc.Fail("CmSetCreatorTitle=-1006");
  EXPECT_THAT(Install(), HasSubstr("CmSetCreatorTitle"));
  EXPECT_EQ(pc.Conduits(), kOurs) << "one that was there stays";
  pc.Fail("CmRemoveConduitByCreatorID=-1002");
  EXPECT_THAT(Uninstall(), HasSubstr("could not be removed from HotSync: CmRemove"));
  pc.Fail("CmGetConduitCount=-1006");
  EXPECT_THAT(Uninstall(), HasSubstr("failed: HotSync's conduits can't be listed"));
  pc.Fail("CmGetCreatorValueString=-1006");
  for (const std::string& said : {Install(), Uninstall()}) {
    EXPECT_THAT(said, AllOf(StartsWith("failed: HotSync's conduits can't be listed"),
                            HasSubstr("CmGetCreatorValueString")));
  }
  EXPECT_EQ(pc.Conduits(), kOurs) << "whose it is can't be told";
}

TEST_F(HotSyncTest, ALibraryThatCantBeUsedIsNamed) {
  constexpr char kNote[] = "done: HotSync could not be notified of the change.";
  pc.Fail("HsRefreshConduitInfo=0x10000001");
  EXPECT_EQ(Install(), "done") << "it doesn't run";
  pc.Fail("HsRefreshConduitInfo=0x10000003");
  EXPECT_THAT(Install(), StartsWith(kNote));
  pc.Take(u"hsapi.dll");
  EXPECT_THAT(Uninstall(), AllOf(StartsWith(kNote), HasSubstr("hsapi.dll\" can't be loaded")));
  EXPECT_EQ(pc.Conduits(), "");

  pc.Give(u"hsapi.dll", u"condmgr.dll");
  EXPECT_THAT(Install(), HasSubstr("condmgr.dll\" lacks the function CmGetConduitCount."));
  pc.folder().Write(u"condmgr.dll", "no library");
  EXPECT_THAT(Install(), HasSubstr("-bit programs, as this Pylon is one."));
  EXPECT_THAT(Uninstall(), HasSubstr("-bit programs, as this Pylon is one."));
  // One of the other width, where its build tree is there.
  const std::u16string other = sizeof(void*) == 8 ? u"win32" : u"win64";
  const std::u16string library = u"..\\" + other + u"\\simulators\\palm\\manager\\condmgr.dll";
  if (::CopyFileW(Wide(library), Wide(pc.folder().File(u"condmgr.dll")), FALSE)) {
    EXPECT_THAT(Install(), HasSubstr("-bit programs, as this Pylon is one."));
  }
}

TEST_F(HotSyncTest, BadNamesAreRefused) {
  for (const char16_t* creator :
       {u"", u"abc", u"abcde", u"ab\u4e2d\u6587", u"ab\tc", u"a\u0416bc"}) {
    EXPECT_THAT(Install(creator), StartsWith("failed: The conduit's creator id"))
        << ToUtf8(creator);
    EXPECT_THAT(Uninstall(creator), StartsWith("failed: The conduit's creator id"));
  }
  EXPECT_THAT(Install(u"memo", u"\u4e2d\u6587"), HasSubstr("characters that the code page"));
  EXPECT_THAT(Install(u"memo", std::u16string(260, u'x')), HasSubstr("too long"));
  EXPECT_EQ(pc.Conduits(), "");
  EXPECT_EQ(Install(u"m\u00e9 o"), "done");
  EXPECT_THAT(pc.Conduits(), StartsWith("6de9206f|"));
  EXPECT_EQ(Uninstall(u"m\u00e9 o"), "done");
}

TEST_F(HotSyncTest, ApplicationsGoToAUser) {
  ::CreateDirectoryW(Wide(program.File(u"Memos")), nullptr);
  program.Write(u"Memos\\a.prc", "application");
  program.Write(u"Memos\\b c.pdb", "data");
  program.Write(u"Memos\\d.txt", "text");
  const std::u16string absolute = program.File(u"Memos\\a.prc");

  EXPECT_THAT(InstallFiles(u"a.prc"), StartsWith("failed: HotSync has no user yet"));
  pc.AddUser(L"Mary Smith");
  EXPECT_EQ(InstallFiles(u" a.prc , \"b c.pdb\","), "done");
  EXPECT_EQ(pc.folder().Read(u"Mary Smith\\Install\\a.prc"), "application");
  EXPECT_EQ(pc.folder().Read(u"Mary Smith\\Install\\b c.pdb"), "data");
  EXPECT_EQ(InstallFiles(absolute), "done");

  pc.AddUser(L"Otto");
  EXPECT_THAT(InstallFiles(u"a.prc"),
              AllOf(StartsWith("failed: "), HasSubstr("'Mary Smith', 'Otto'")));
  EXPECT_FALSE(pc.folder().Exists(u"Otto")) << "nobody's guess";
  EXPECT_EQ(InstallFiles(u"a.prc", u"Otto"), "done");
  EXPECT_TRUE(pc.folder().Exists(u"Otto\\Install\\a.prc"));
  EXPECT_THAT(InstallFiles(u"a.prc", u"Eve"), StartsWith("failed: HotSync has no user 'Eve'"));

  EXPECT_THAT(InstallFiles(u"b c.pdb,gone.prc", u"Otto"),
              AllOf(HasSubstr("gone.prc"), HasSubstr("is missing")));
  EXPECT_FALSE(pc.folder().Exists(u"Otto\\Install\\b c.pdb")) << "all or nothing";
  EXPECT_THAT(InstallFiles(std::u16string(260, u'x'), u"Otto"), HasSubstr("is too long"));
  EXPECT_THAT(InstallFiles(u"d.txt", u"Otto"), HasSubstr("PltInstallFile answers -506"));
  EXPECT_THAT(InstallFiles(u" , "), HasSubstr("name no file"));
  pc.Fail("PltGetUser=-503");
  EXPECT_THAT(InstallFiles(u"a.prc", u"Otto"), HasSubstr("users can't be listed: the file with"));
  pc.Take(u"instaide.dll");
  EXPECT_THAT(InstallFiles(u"a.prc", u"Otto"), HasSubstr("instaide.dll\" can't be loaded"));
}

}  // namespace
}  // namespace pylon
