#include "setup/frmAddConduit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <optional>

#include "base/Text.h"
#include "setup/ComponentRegistration.h"
#include "tests/files/TempFolder.h"
#include "tests/setup/SetupDesk.h"

namespace pylon {
namespace {

using namespace testing;

struct AddWindow : ::testing::Test {
  static void SetUpTestSuite() { UseRealPixels(); }
  void SetUp() override {
    SKIP_WITHOUT_DRAWING();
    window.on_add = [this](const frmAddConduit::Result& result) {
      added = result;
      return refusal;
    };
    window.on_close = [this] { ++closed; };
    window.Show(nullptr);
  }
  HWND handle() const { return window.handle(); }
  std::u16string Text(int id) const { return TextIn(handle(), id); }

  FakeFactory factory;
  frmAddConduit window{factory, {u"Memos"}, {}};
  std::optional<frmAddConduit::Result> added;
  std::u16string refusal;
  int closed = 0;
};

TEST_F(AddWindow, AsksTheComponentAndProposesItsId) {
  ExpectTidyAtEveryDpi(handle());
  using A = frmAddConduit;
  EXPECT_EQ(TabOrder(handle()), (std::vector<int>{A::kClass, A::kCheck, A::kFile, A::kAppId,
                                                  A::kFolder, A::kBrowse, A::kAdd, A::kCancel}));
  Type(handle(), frmAddConduit::kClass, u" Lib.Orders ");
  Click(handle(), frmAddConduit::kCheck);
  EXPECT_EQ(Text(frmAddConduit::kFound), u"Found: The Lib.Orders 1.2 by Somebody");
  EXPECT_EQ(Text(frmAddConduit::kAppId), u"The LibOrders");
  Type(handle(), frmAddConduit::kClass, u"Lib.Other");
  Click(handle(), frmAddConduit::kCheck);
  EXPECT_EQ(Text(frmAddConduit::kAppId), u"The LibOther") << "nobody has typed there";
  Type(handle(), frmAddConduit::kAppId, u"Mine");
  Click(handle(), frmAddConduit::kCheck);
  EXPECT_EQ(Text(frmAddConduit::kAppId), u"Mine");
  Type(handle(), frmAddConduit::kFolder, u"C:\\Orders");
  Press(window, ::GetDlgItem(handle(), frmAddConduit::kFolder), VK_RETURN);
  ASSERT_TRUE(added);
  EXPECT_EQ(added->app_id, u"Mine");
  const SettingsEntries entries = {{u"ClassID", u"Lib.Other"}, {u"PCPath", u"C:\\Orders"}};
  EXPECT_EQ(added->entries, entries);
  EXPECT_EQ(closed, 1);
}

TEST_F(AddWindow, ACancelWhileTheComponentIsAskedAddsNothing) {
  const HWND cancel = ::GetDlgItem(handle(), frmAddConduit::kCancel);
  factory.on_create = [cancel] {
    EXPECT_EQ(::GetFocus(), cancel);
    ::PostMessageW(cancel, BM_CLICK, 0, 0);
  };
  Type(handle(), frmAddConduit::kClass, u"Lib.Orders");
  for (int i = 0; i < 2; ++i) {  // without an application id, and with the one proposed
    ::SetFocus(::GetDlgItem(handle(), frmAddConduit::kClass));
    Click(handle(), frmAddConduit::kAdd);
    EXPECT_FALSE(added);
    EXPECT_EQ(closed, 0);
  }
  factory.on_create = [] {};
  Type(handle(), frmAddConduit::kAppId, u"");
  Press(window, ::GetDlgItem(handle(), frmAddConduit::kAppId), VK_RETURN);
  ASSERT_TRUE(added) << "Enter alone is enough for a class";
  EXPECT_EQ(added->app_id, u"The LibOrders");
  EXPECT_EQ(added->entries.size(), 1U) << "no folder";
}

TEST_F(AddWindow, WhatIsWrongIsToldAndCanBeMended) {
  const std::pair<const char16_t*, const char16_t*> cases[] = {
      {u"", u"class name of the component first"}, {u"Lib.X", u"already"}};
  for (const auto& [class_id, told] : cases) {
    Type(handle(), frmAddConduit::kClass, class_id);
    Type(handle(), frmAddConduit::kAppId, u"memos");
    const BoxAnswer answer;
    Click(handle(), frmAddConduit::kAdd);
    EXPECT_TRUE(answer.Has(told)) << ToUtf8(answer.text());
    EXPECT_FALSE(added);
  }
  refusal = u"the disk is full";
  Type(handle(), frmAddConduit::kAppId, u"Good");
  const BoxAnswer answer;
  Click(handle(), frmAddConduit::kAdd);
  EXPECT_TRUE(answer.Has(refusal));
  EXPECT_TRUE(::IsWindowVisible(handle()));
  Press(window, ::GetDlgItem(handle(), frmAddConduit::kClass), VK_ESCAPE);
  EXPECT_EQ(closed, 1);
}

TEST_F(AddWindow, AComponentThatCantBeLoadedIsAddedOnlyOnDemand) {
  Type(handle(), frmAddConduit::kClass, u"No.Such");
  Click(handle(), frmAddConduit::kCheck);
  EXPECT_EQ(Text(frmAddConduit::kFound), u"This component can't be loaded: no such class");
  Type(handle(), frmAddConduit::kAppId, u"Later");
  {
    const BoxAnswer answer(IDNO);
    Click(handle(), frmAddConduit::kAdd);
    EXPECT_TRUE(answer.Has(u"Add it all the same?"));
  }
  EXPECT_FALSE(added);
  const BoxAnswer answer(IDYES);
  Click(handle(), frmAddConduit::kAdd);
  EXPECT_TRUE(added);
}

TEST_F(AddWindow, AComponentFileIsRegisteredAndItsClassTakenAndAnotherFileIsToldOf) {
  const TempFolder folder;
  folder.Write(u"text.txt", "text");
  folder.Write(u"broken.dll", "no library");
  for (const char16_t* name : {u"text.txt", u"broken.dll"}) {
    const BoxAnswer answer;
    window.TakeFile(folder.File(name));
    EXPECT_FALSE(answer.text().empty()) << ToUtf8(name);
    EXPECT_TRUE(Enabled(handle(), frmAddConduit::kAdd));
  }
  EXPECT_EQ(Text(frmAddConduit::kClass), u"");

  const std::u16string file = std::filesystem::absolute("Memos.dll").u16string();
  window.TakeFile(file);
  ASSERT_EQ(ClassNamesOf(file), std::vector<std::u16string>{u"Memos.Conduit"});
  EXPECT_EQ(Text(frmAddConduit::kClass), u"Memos.Conduit");
  EXPECT_EQ(Text(frmAddConduit::kAppId), u"The MemosConduit");
  const std::vector<std::u16string> all = AllClassNames();
  EXPECT_TRUE(std::ranges::binary_search(all, u"Memos.Conduit"));
  EXPECT_FALSE(std::ranges::binary_search(all, u"txtfile"));
}

}  // namespace
}  // namespace pylon
