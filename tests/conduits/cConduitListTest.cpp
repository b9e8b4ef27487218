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
  const std::pair<std::string, std::vector<std::u16string>> kCases[] = {
      {"", {}},
      {"ClassID=A.B\r\n; [C]\r\n", {}},
      {"[Zebra]\r\n[apple]\r\n", {u"Zebra", u"apple"}},
      {"[GENERAL]\r\n[pylon]\r\n[General]\r\n[Pylon]\r\n[PylonX]\r\n", {u"PylonX"}},
      {"[App]\r\n[app]\r\n", {u"App", u"app"}},
      {"[A]b]\r\n", {u"A"}},
      {"[A]\r\n[B\r\n[C]\r\n", {u"A", u"C"}},
      {" [A]\r\n\t[B]\r\n[C]\r\n", {u"C"}},
      {"[My App ]\r\n", {u"My App "}},
      {"[A]\nClassID=\n[B]", {u"A", u"B"}},
      {"[Caf\xE9]\r\n", {u"Caf\u00E9"}},
      {Utf16File(u"[\u0416\u65E5]\r\n[B]\r\n"), {u"\u0416\u65E5", u"B"}},
      {Utf16File(u"[A]\n[\u010A\u0A0D]\n"), {u"A", u"\u010A\u0A0D"}},
  };
  for (const auto& [ini, ids] : kCases) {
    cConduitList list = List(ini);
    EXPECT_EQ(Ids(list), ids) << ini;
  }
}

TEST_F(ConduitListTest, AFileThatCantBeReadIsToldFromAMissingOne) {
  cConduitList missing = Load();
  EXPECT_EQ(missing.Count(), 0);
  EXPECT_EQ(missing.FileName(), folder.File(u"Pylon.ini"));
  EXPECT_FALSE(folder.Exists(u"Pylon.ini"));
  EXPECT_EQ(missing.LoadError(), u"");

  cConduitList list = List("[A]\r\n");
  EXPECT_EQ(list.LoadError(), u"");
  Holder holder(folder.File(u"Pylon.ini"));
  list.Reload();
  EXPECT_EQ(list.Count(), 0);
  EXPECT_TRUE(list.LoadError().ends_with(u" (32)"));
  holder.ReleaseIn(100);  // which is waited for
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
  const auto row = [&list](int16_t i) {
    return list.Author(i) + u"|" + list.ApplicationName(i) + u"|" + list.ClassId(i) + u"|" +
           list.CreatorId(i) + u"|" + list.Version(i) + u"|" + list.Icon(i) + u"|" + list.PCPath(i);
  };
  ASSERT_EQ(list.Count(), 3);
  EXPECT_EQ(row(1),
            u"The author|Memos|Lib.One|memo|1.2|" + folder.path() + u"\\MyApp\\sync.ico|D:\\Memos");
  EXPECT_EQ(row(2), u"||||||C:\\Bare");
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
  const char16_t* const rows[] = {u"No Longer Compatible|Lib.Gone|",
                                  u"No Longer Compatible|Lib.Other|", u"Name|Lib.Fails|",
                                  u"Name|Lib.Good|memo"};
  for (int16_t i = 1; i <= 4; ++i) {
    EXPECT_EQ(list.ApplicationName(i) + u"|" + list.ClassId(i) + u"|" + list.CreatorId(i),
              rows[i - 1]);
  }
  EXPECT_TRUE(factory.calls.find(u"-Lib.Fails") != factory.calls.npos);
}

TEST_F(ConduitListTest, FindsTheFirstWhateverTheCaseAndKnowsNoOtherIndex) {
  cConduitList list = List("[Other]\r\n[App]\r\n[app]\r\n[\xC4rger]\r\n");
  EXPECT_EQ(list.FindAppId(u"APP"), 2);
  EXPECT_EQ(list.FindAppId(u"\u00E4RGER"), 4);
  EXPECT_EQ(list.FindAppId(u"Ap"), 0);
  EXPECT_EQ(list.FindAppId(u""), 0);
  for (const auto index : std::initializer_list<int16_t>{-32768, -1, 0, 5, 32767}) {
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
  EXPECT_FALSE(list.ShowLogMsg(1));
  for (const char* value : {"1", " 1 ", "0", "", "true", "yes", "01", "-1", "11"}) {
    folder.Write(u"Pylon.ini", std::string("[A]\r\nShowLog=") + value + "\r\n");
    EXPECT_EQ(list.ShowLogMsg(1), value == std::string("1") || value == std::string(" 1 "))
        << value;
  }
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

}  // namespace
}  // namespace pylon
