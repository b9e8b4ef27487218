#include "conduits/cConduitList.h"

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/AutomationError.h"
#include "base/Text.h"
#include "tests/files/TempFolder.h"
#include "tests/support/Errors.h"

namespace pylon {
namespace {

using testing::ErrorOf;
using testing::Holder;
using testing::TempFolder;
using testing::Utf16File;

using Answers = std::map<eConduitType, std::u16string>;

// Makes components of the classes that it knows, and keeps what happens to them in order.
class FakeFactory final : public ComponentFactory {
 public:
  std::map<std::u16string, Answers> classes;
  std::u16string no_conduit;  // the class whose objects are no ISyncNotify
  std::u16string failing;     // the class whose components raise after their first two answers
  std::function<void()> on_create = [] {};
  std::u16string calls;

  Result Create(std::u16string_view class_id) override {
    on_create();
    const std::u16string name(class_id);
    calls += u"+" + name + u" ";
    if (name == no_conduit) return {nullptr, Failure::kNoInterface, u"No such interface"};
    if (!classes.contains(name)) return {nullptr, Failure::kNotCreated, u"Not registered"};
    return {std::make_unique<Component>(*this, name), Failure::kNone, {}};
  }

 private:
  class Component final : public ConduitComponent {
   public:
    Component(FakeFactory& factory, std::u16string name)
        : factory_(factory), name_(std::move(name)) {}
    ~Component() override { factory_.calls += u"-" + name_ + u" "; }
    std::u16string GetConduitInfo(eConduitType type) override {
      if (name_ == factory_.failing && ++asked_ > 2) throw AutomationError(1001, name_, u"Broken");
      factory_.calls += ToText(type) + u" ";
      return factory_.classes[name_][type];
    }
    void BeginSynchronize(const std::shared_ptr<oSyncInfo>&) override { ADD_FAILURE(); }
    void ConfigureConduit() override { ADD_FAILURE(); }
    void SynchronizeClose() override { ADD_FAILURE(); }

   private:
    FakeFactory& factory_;
    std::u16string name_;
    int asked_ = 0;
  };
};

class ConduitListTest : public ::testing::Test {
 protected:
  cConduitList List(std::string_view ini) {
    folder.Write(u"Pylon.ini", ini);
    return Load();
  }
  cConduitList Load() { return {folder.path(), factory, AnsiCodePage::Windows1252()}; }
  static std::vector<std::u16string> Ids(cConduitList& list) {
    std::vector<std::u16string> ids;
    for (int16_t index = 1; index <= list.Count(); ++index) ids.push_back(list.AppId(index));
    return ids;
  }

  TempFolder folder;
  FakeFactory factory;
};

TEST_F(ConduitListTest, SectionsBecomeEntries) {
  using Names = std::vector<std::u16string>;
  const struct {
    const char* what;
    std::string ini;
    Names ids;
  } kCases[] = {
      {"empty", "", {}},
      {"no section", "ClassID=A.B\r\n; [C]\r\n", {}},
      {"order", "[Zebra]\r\n[apple]\r\n", {u"Zebra", u"apple"}},
      {"the program's own",
       "[GENERAL]\r\n[pylon]\r\n[General]\r\n[Pylon]\r\n[PylonX]\r\n",
       {u"PylonX"}},
      {"same name in other case", "[App]\r\n[app]\r\n", {u"App", u"app"}},
      {"up to the first bracket", "[A]b]\r\n", {u"A"}},
      {"no closing bracket", "[A]\r\n[B\r\n[C]\r\n", {u"A", u"C"}},
      {"indented", " [A]\r\n\t[B]\r\n[C]\r\n", {u"C"}},
      {"blanks stay", "[My App ]\r\n", {u"My App "}},
      {"bare line feeds, none at the end", "[A]\nClassID=\n[B]", {u"A", u"B"}},
      {"code page", "[Caf\xE9]\r\n", {u"Caf\u00E9"}},
      {"UTF-16", Utf16File(u"[\u0416\u65E5]\r\n[B]\r\n"), {u"\u0416\u65E5", u"B"}},
      {"UTF-16, bare line feeds", Utf16File(u"[A]\n[\u010A\u0A0D]\n"), {u"A", u"\u010A\u0A0D"}},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.what);
    cConduitList list = List(test.ini);
    EXPECT_EQ(Ids(list), test.ids);
  }
}

TEST_F(ConduitListTest, MissingFileIsAnEmptyList) {
  cConduitList list = Load();
  EXPECT_EQ(list.Count(), 0);
  EXPECT_EQ(list.FindAppId(u"A"), 0);
  EXPECT_EQ(list.FileName(), folder.File(u"Pylon.ini"));
  EXPECT_FALSE(folder.Exists(u"Pylon.ini"));
  EXPECT_EQ(list.LoadError(), u"");
}

TEST_F(ConduitListTest, AFileThatCantBeReadIsToldFromAMissingOne) {
  cConduitList list = List("[A]\r\n");
  EXPECT_EQ(list.LoadError(), u"");
  {
    const Holder holder(folder.File(u"Pylon.ini"));
    list.Reload();
  }
  EXPECT_EQ(list.Count(), 0);
  EXPECT_TRUE(list.LoadError().ends_with(u" (32)"));
  list.Reload();
  EXPECT_EQ(list.Count(), 1);
  EXPECT_EQ(list.LoadError(), u"");

  cConduitList utf8 = List("\xEF\xBB\xBF[A]\r\n[B]\r\n");
  EXPECT_EQ(utf8.Count(), 0);
  EXPECT_NE(utf8.LoadError().find(u"UTF-8"), std::u16string::npos);
  cConduitList harmless = List("\xEF\xBB\xBF; a comment\r\n[B]\r\n");
  EXPECT_EQ(Ids(harmless), std::vector<std::u16string>{u"B"});
}

TEST_F(ConduitListTest, ComponentsDescribeThemselvesOnceAndAreReleased) {
  factory.classes[u"Lib.One"] = {{ctVersion, u"1.2"},       {ctCreatorID, u"memo"},
                                 {ctAuthor, u"The author"}, {ctApplicationName, u"Memos"},
                                 {ctAppPath, u"D:\\Memos"}, {ctIcon, u"sync.ico"}};
  factory.classes[u"Lib.Two"] = {{ctCreatorID, u"MEMO"}, {ctIcon, u"C:\\icons\\sync.ico"}};
  cConduitList list = List(
      "[MyApp]\r\nClassID=Lib.One\r\nPCPath=C:\\Other\r\n"
      "[Bare]\r\nClassID=\r\nPCPath=C:\\Bare\r\n"
      "[Second]\r\nclassid=Lib.Two\r\n");

  EXPECT_EQ(factory.calls, u"+Lib.One 2 3 1 4 0 5 -Lib.One +Lib.Two 2 3 1 4 0 5 -Lib.Two ");
  ASSERT_EQ(list.Count(), 3);
  EXPECT_EQ(list.Author(1), u"The author");
  EXPECT_EQ(list.ApplicationName(1), u"Memos");
  EXPECT_EQ(list.ClassId(1), u"Lib.One");
  EXPECT_EQ(list.CreatorId(1), u"memo");
  EXPECT_EQ(list.Version(1), u"1.2");
  EXPECT_EQ(list.Icon(1), folder.path() + u"\\MyApp\\sync.ico");
  EXPECT_EQ(list.PCPath(1), u"D:\\Memos");

  EXPECT_EQ(list.ApplicationName(2), u"");
  EXPECT_EQ(list.ClassId(2), u"");
  EXPECT_EQ(list.Icon(2), u"");
  EXPECT_EQ(list.PCPath(2), u"C:\\Bare");
  EXPECT_EQ(list.Icon(3), u"C:\\icons\\sync.ico");

  EXPECT_EQ(list.FindAppIdFromCreatorId(u"Memo"), 1);
  EXPECT_EQ(list.FindAppIdFromCreatorId(u"none"), 0);
}

TEST_F(ConduitListTest, BadComponentsLeaveTheOthersAlone) {
  factory.classes[u"Lib.Fails"] = factory.classes[u"Lib.Good"] = {
      {ctAuthor, u"Author"}, {ctApplicationName, u"Name"}, {ctCreatorID, u"memo"}};
  factory.no_conduit = u"Lib.Other";
  factory.failing = u"Lib.Fails";
  cConduitList list = List(
      "[Gone]\r\nClassID=Lib.Gone\r\n[Other]\r\nClassID=Lib.Other\r\n"
      "[Fails]\r\nClassID=Lib.Fails\r\n[Good]\r\nClassID=Lib.Good\r\n");

  ASSERT_EQ(list.Count(), 4);
  EXPECT_EQ(list.ApplicationName(1), u"No Longer Compatible");
  EXPECT_EQ(list.ClassId(1), u"Lib.Gone");
  EXPECT_EQ(list.ApplicationName(2), u"No Longer Compatible");
  EXPECT_EQ(list.ClassId(2), u"Lib.Other");
  EXPECT_EQ(list.ApplicationName(3), u"Name");
  EXPECT_EQ(list.ClassId(3), u"Lib.Fails");
  EXPECT_EQ(list.CreatorId(3), u"");
  EXPECT_EQ(list.CreatorId(4), u"memo");
  EXPECT_TRUE(factory.calls.find(u"-Lib.Fails") != factory.calls.npos);
}

TEST_F(ConduitListTest, FindsTheFirstWhateverTheCase) {
  cConduitList list = List("[Other]\r\n[App]\r\n[app]\r\n[\xC4rger]\r\n");
  EXPECT_EQ(list.FindAppId(u"APP"), 2);
  EXPECT_EQ(list.FindAppId(u"\u00E4RGER"), 4);
  EXPECT_EQ(list.FindAppId(u"Ap"), 0);
  EXPECT_EQ(list.FindAppId(u""), 0);
}

TEST_F(ConduitListTest, OtherIndexesAreOutOfRange) {
  cConduitList list = List("[A]\r\n[B]\r\n");
  for (const auto index : std::initializer_list<int16_t>{-32768, -1, 0, 3, 32767}) {
    SCOPED_TRACE(index);
    EXPECT_EQ(ErrorOf([&] { list.AppId(index); }), 9);
    EXPECT_EQ(ErrorOf([&] { list.PCPath(index); }), 9);
    EXPECT_EQ(ErrorOf([&] { list.CePath(index); }), 9);
    EXPECT_EQ(ErrorOf([&] { list.ShowLogMsg(index); }), 9);
  }
}

TEST_F(ConduitListTest, ReadsInstallSettingsNow) {
  cConduitList list = List("[A]\r\n");
  EXPECT_EQ(list.PCPath(1), u"");
  folder.Write(u"Pylon.ini",
               "[A]\r\nPCPath=C:\\Data\r\nCePath=\\My Documents\r\nPalmInstall=a.prc\r\n"
               "PPCInstall=a.cab\r\n");
  EXPECT_EQ(list.PCPath(1), u"C:\\Data");
  EXPECT_EQ(list.CePath(1), u"\\My Documents");
  EXPECT_EQ(list.PalmInstall(1), u"a.prc");
  EXPECT_EQ(list.PPCInstall(1), u"a.cab");
}

TEST_F(ConduitListTest, OnlyOneAsksForTheLog) {
  const struct {
    std::string value;
    bool shown;
  } kCases[] = {{"1", true},    {" 1 ", true}, {"0", false},  {"", false},  {"true", false},
                {"yes", false}, {"01", false}, {"-1", false}, {"11", false}};
  for (const auto& test : kCases) {
    cConduitList list = List("[A]\r\nShowLog=" + test.value + "\r\n");
    EXPECT_EQ(list.ShowLogMsg(1), test.shown) << test.value;
  }
  EXPECT_FALSE(List("[A]\r\n").ShowLogMsg(1));
}

TEST_F(ConduitListTest, KeepsTheProgramsOwnSettings) {
  cConduitList list = List("[A]\r\nWidth=7\r\n");
  EXPECT_EQ(list.GetSettings(u"Width", u"640"), u"640");
  EXPECT_TRUE(list.SaveSettings(u"Width", u"800"));
  EXPECT_TRUE(list.SaveSettings(u"Title", u"\u65E5\u672C"));
  EXPECT_EQ(ErrorOf([&] { list.SaveSettings(u"Bad", u"1\r\n[Evil]"); }), 5);
  EXPECT_EQ(ErrorOf([&] { list.SaveSettings(u"", u"1"); }), 5);

  cConduitList again = Load();
  EXPECT_EQ(again.GetSettings(u"width", u""), u"800");
  EXPECT_EQ(again.GetSettings(u"Title", u""), u"\u65E5\u672C");
  EXPECT_EQ(Ids(again), std::vector<std::u16string>{u"A"});
}

TEST_F(ConduitListTest, ReloadKeepsTheOldEntriesUntilTheNewOnesAreComplete) {
  factory.classes[u"Lib.One"] = {{ctApplicationName, u"One"}};
  cConduitList list = List("[Old]\r\nClassID=Lib.One\r\n");
  folder.Write(u"Pylon.ini", "[A]\r\nClassID=Lib.One\r\n[B]\r\nClassID=Lib.One\r\n");
  int creations = 0;
  factory.on_create = [&] {
    ++creations;
    EXPECT_EQ(Ids(list), std::vector<std::u16string>{u"Old"});
    EXPECT_EQ(list.ApplicationName(1), u"One");
    EXPECT_EQ(list.PCPath(1), u"");
  };
  list.Reload();
  EXPECT_EQ(creations, 2);
  EXPECT_EQ(Ids(list), (std::vector<std::u16string>{u"A", u"B"}));
  EXPECT_EQ(list.ApplicationName(2), u"One");

  ::DeleteFileW(Wide(folder.File(u"Pylon.ini")));
  list.Reload();
  EXPECT_EQ(list.Count(), 0);
}

TEST_F(ConduitListTest, WaitsForAFileThatIsHeldForAMoment) {
  folder.Write(u"Pylon.ini", "[A]\r\n");
  Holder holder(folder.File(u"Pylon.ini"));
  EXPECT_EQ(Load().Count(), 0);
  holder.ReleaseIn(100);
  EXPECT_EQ(Load().Count(), 1);
}

}  // namespace
}  // namespace pylon
