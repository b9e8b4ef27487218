#include "setup/SetupModel.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <vector>

#include "base/Text.h"
#include "setup/ComponentRegistration.h"
#include "setup/SetupServices.h"
#include "setup/Strings.h"
#include "setup/SyncCommand.h"

namespace pylon {
namespace {

using enum SetupAction;

const std::vector<SetupAction> kAll = [] {
  std::vector<SetupAction> all;
  for (int i = 0; i <= static_cast<int>(kCancel); ++i) all.push_back(static_cast<SetupAction>(i));
  return all;
}();

ConduitFacts Memos() {
  ConduitFacts facts;
  facts.app_id = u"Memos";
  facts.name = u"The Memos";
  facts.version = u"1.2";
  facts.author = u"Somebody";
  facts.class_id = u"Lib.Memos";
  facts.creator_id = u"memo";
  return facts;
}

TEST(SetupModel, WhatASelectedConduitAllows) {
  const std::set<SetupAction> always = {kOpenFolder, kOpenLog, kOpenDatabases, kAdd,  kRemove,
                                        kEdit,       kReload,  kAbout,         kClose};
  const struct {
    const char* name;
    std::function<void(ConduitFacts&)> change;
    std::set<SetupAction> too;
  } cases[] = {
      {"on a PC without either system", [](ConduitFacts&) {}, {kSync, kConfigure}},
      {"without a class", [](ConduitFacts& c) { c.class_id.clear(); }, {}},
      {"that can't be loaded",
       [](ConduitFacts& c) {
         c.failure = u"why";
         c.hot_sync.present = c.active_sync.present = true;
       },
       {}},
      {"that can't be loaded but was installed",
       [](ConduitFacts& c) {
         c.failure = u"why";
         c.hot_sync.installed = c.active_sync.installed = true;
       },
       {kRemoveHotSync, kRemoveActiveSync}},
      {"with both systems",
       [](ConduitFacts& c) { c.hot_sync.present = c.active_sync.present = true; },
       {kSync, kConfigure, kInstallHotSync, kInstallActiveSync}},
      {"installed in both",
       [](ConduitFacts& c) {
         c.hot_sync = c.active_sync = {true, true, false, {}};
       },
       {kSync, kConfigure, kRemoveHotSync, kRemoveActiveSync}},
      {"without a creator id, of two words",
       [](ConduitFacts& c) {
         c.creator_id.clear();
         c.app_id = u"My  App";
         c.hot_sync.present = c.active_sync.present = true;
       },
       {kSync, kConfigure}},
      {"with an application for the system that is missing",
       [](ConduitFacts& c) {
         c.ppc_install = u"a.cab";
         c.hot_sync.present = true;
       },
       {kSync, kConfigure, kInstallHotSync}},
      {"with an application for the system that is there",
       [](ConduitFacts& c) {
         c.palm_install = u"a.prc";
         c.hot_sync.present = true;
       },
       {kSync, kConfigure, kInstallHotSync, kInstallApplication}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ConduitFacts conduit = Memos();
    c.change(conduit);
    for (const SetupAction action : kAll) {
      EXPECT_EQ(IsEnabled(action, {&conduit, false, false}),
                always.contains(action) || c.too.contains(action))
          << static_cast<int>(action);
      EXPECT_EQ(IsEnabled(action, {&conduit, true, true}), action == kCancel)
          << "during work, " << static_cast<int>(action);
    }
  }
}

TEST(SetupModel, WithoutASelectionOnlyTheProgramsOwnActionsWork) {
  const std::set<SetupAction> own = {kAdd, kEdit, kReload, kAbout, kClose};
  for (const SetupAction action : kAll) {
    EXPECT_EQ(IsEnabled(action, {}), own.contains(action)) << static_cast<int>(action);
  }
  EXPECT_TRUE(IsEnabled(kGuestMode, {nullptr, false, true}));
}

TEST(SetupModel, AShieldStandsOnWhatChangesTheMachine) {
  ConduitFacts conduit = Memos();
  for (const SetupAction action : kAll) EXPECT_FALSE(HasShield(action, conduit));
  conduit.active_sync.needs_elevation = true;
  const std::set<SetupAction> shielded = {kInstallActiveSync, kRemoveActiveSync};
  for (const SetupAction action : kAll) {
    EXPECT_EQ(HasShield(action, conduit), shielded.contains(action)) << static_cast<int>(action);
  }
}

TEST(SetupModel, TheLinesOfTheSystems) {
  const struct {
    const char* name;
    std::function<void(ConduitFacts&)> change;
    int hot_sync, active_sync;
  } cases[] = {
      {"neither is here", [](ConduitFacts&) {}, IDS_NO_HOTSYNC, IDS_NO_ACTIVESYNC},
      {"left behind",
       [](ConduitFacts& c) { c.hot_sync.installed = c.active_sync.installed = true; },
       IDS_SYSTEM_INSTALLED_BEFORE, IDS_SYSTEM_INSTALLED_BEFORE},
      {"here", [](ConduitFacts& c) { c.hot_sync.present = c.active_sync.present = true; },
       IDS_SYSTEM_NOT_INSTALLED, IDS_SYSTEM_NOT_INSTALLED},
      {"installed",
       [](ConduitFacts& c) {
         c.hot_sync = c.active_sync = {true, true, false, {}};
       },
       IDS_SYSTEM_INSTALLED, IDS_SYSTEM_INSTALLED},
      {"not for them",
       [](ConduitFacts& c) {
         c.hot_sync.present = c.active_sync.present = true;
         c.creator_id.clear();
         c.app_id = u"a\"b";
       },
       IDS_NO_CREATOR, IDS_CANNOT_CONNECT},
      {"the system says why not",
       [](ConduitFacts& c) {
         c.hot_sync = {true, false, false, Remark{Notice::kTaken, {u"memo", u"'Mail'"}}};
         c.active_sync.present = true;
         EXPECT_FALSE(IsEnabled(kInstallHotSync, {&c, false, true}));
         EXPECT_TRUE(IsEnabled(kInstallActiveSync, {&c, false, true}));
       },
       IDS_SYSTEM_REASON, IDS_SYSTEM_NOT_INSTALLED},
      {"not loaded",
       [](ConduitFacts& c) {
         c.hot_sync.present = c.active_sync.present = true;
         c.failure = u"why";
       },
       IDS_SYSTEM_NOT_LOADED, IDS_SYSTEM_NOT_LOADED},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ConduitFacts conduit = Memos();
    c.change(conduit);
    EXPECT_EQ(StateOf(SyncSystem::kHotSync, conduit).id, c.hot_sync);
    EXPECT_EQ(StateOf(SyncSystem::kActiveSync, conduit).id, c.active_sync);
  }
}

TEST(SetupModel, TheRowOfAConduit) {
  ConduitFacts conduit = Memos();
  ConduitRow row = RowOf(conduit);
  EXPECT_EQ(row.application, u"The Memos");
  EXPECT_EQ(row.last_sync, u"") << "never";
  EXPECT_EQ(row.state.id, IDS_STATE_READY);
  EXPECT_FALSE(row.greyed);

  conduit.last_sync = 36'526.75;
  conduit.failure = u"no such class";
  conduit.name = u"No Longer Compatible";
  row = RowOf(conduit);
  EXPECT_EQ(row.last_sync, u"2000-01-01 18:00:00");
  EXPECT_EQ(row.state, (Phrase{IDS_STATE_NOT_LOADED, u"no such class"}));
  EXPECT_TRUE(row.greyed);

  conduit = {};
  conduit.app_id = u"Bare";
  row = RowOf(conduit);
  EXPECT_EQ(row.application, u"Bare");
  EXPECT_EQ(row.state.id, IDS_STATE_NO_CLASS);
  EXPECT_TRUE(row.greyed);
}

TEST(SetupModel, TheApplicationLineNamesItsFiles) {
  ConduitFacts conduit = Memos();
  EXPECT_EQ(ApplicationOf(conduit).id, IDS_NO_APPLICATION);
  conduit.ppc_install = u"a.cab";
  EXPECT_EQ(ApplicationOf(conduit).detail, u"a.cab");
  conduit.palm_install = u"b.prc";
  EXPECT_EQ(ApplicationOf(conduit).detail, u"b.prc, a.cab");
}

TEST(SetupModel, AProposedAppIdIsFreeAndGoodForEverything) {
  const std::vector<std::u16string> taken = {u"Memos", u"memos 2"};
  const struct {
    const char16_t *name, *class_id, *proposal;
  } cases[] = {
      {u"Notes", u"Lib.Notes", u"Notes"},
      {u"MEMOS", u"Lib.Memos", u"MEMOS 3"},
      {u"  My   App: v2 [beta] ", u"Lib.X", u"My App v2 beta"},
      {u"-database /4", u"Lib.X", u"database 4"},
      {u"a -b", u"Lib.X", u"a b"},
      {u"", u"Orders.Conduit", u"Orders"},
      {u"\"\"", u"{00000000-0000}", u"00000000-0000"},
      {u"!", u"", u"Conduit"},
      {u"pylon", u"Lib.X", u"pylon 2"},
      {u"\u00dcbersicht \u4e2d\u6587", u"Lib.X", u"\u00dcbersicht \u4e2d\u6587"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(ToUtf8(c.name));
    const std::u16string proposal = ProposeAppId(c.name, c.class_id, taken);
    EXPECT_EQ(ToUtf8(proposal), ToUtf8(c.proposal));
    EXPECT_FALSE(Objection({u"Lib.X", proposal}, taken));
    EXPECT_TRUE(CanConnect(proposal));
  }
}

TEST(SetupModel, WhatCantBeAddedIsRefused) {
  const struct {
    const char16_t *class_id, *app_id;
    int objection;
  } cases[] = {
      {u"Lib.X", u"New", 0},
      {u" ", u"New", IDS_ADD_NO_CLASS},
      {u"Lib.X", u" ", IDS_ADD_NO_APPID},
      {u"Lib.X", u"a]b", IDS_ADD_BAD_APPID},
      {u"Lib.X", u"-x", IDS_ADD_BAD_APPID},
      {u"Lib.X", u"a\"b", IDS_ADD_BAD_APPID},
      {u"Lib.X", u"MEMOS", IDS_ADD_TAKEN},
      {u"Lib.X", u"general", IDS_ADD_TAKEN},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Objection({c.class_id, c.app_id}, {u"Memos"}).id, c.objection) << ToUtf8(c.app_id);
  }
}

TEST(SetupModel, HowASyncEnded) {
  EXPECT_EQ(SyncEnding(u"X", SyncEnd::kDone), (Phrase{IDS_SYNC_DONE, u"X"}));
  const struct {
    uint32_t code;
    bool cancelled;
    SyncEnd sync, hot_sync;
  } cases[] = {{0, false, SyncEnd::kDone, SyncEnd::kDone},
               {1, false, SyncEnd::kFailed, SyncEnd::kFailed},
               {1, true, SyncEnd::kFailed, SyncEnd::kCancelled},
               {2, false, SyncEnd::kCancelled, SyncEnd::kNotBegun},
               {2, true, SyncEnd::kCancelled, SyncEnd::kNotBegun},
               {0xC0000005U, false, SyncEnd::kFailed, SyncEnd::kFailed}};
  for (const auto& c : cases) {
    EXPECT_EQ(EndOfSync(c.code), c.sync) << c.code;
    EXPECT_EQ(EndOfHotSync(c.code, c.cancelled), c.hot_sync) << c.code;
  }
}

TEST(StepReport, SaysNothingTwiceAndContinuesOnlyItsOwnStep) {
  StepReport report;
  EXPECT_EQ(TextOf(report), u"");
  report.Add({Notice::kNoHotSync, {}}).Add({Notice::kNoHotSync, {}});
  EXPECT_TRUE(report.done());
  report.Add(StepReport::Failed(Notice::kTaken, {u"memo", u"'Mail %1'"}));
  report.Add({Notice::kHotSyncNotTold, {u"Why."}});
  EXPECT_FALSE(report.done());
  EXPECT_EQ(
      TextOf(report),
      u"HotSync is not Installed.\r\n\r\nThe creator id 'memo' belongs to another conduit of "
      u"HotSync's, 'Mail %1'. Pylon's conduit can be installed when that one is removed. "
      u"HotSync could not be notified of the change. If it is running, exit and start it again. "
      u"Why.");

  const StepReport not_told = StepReport().Add({Notice::kHotSyncNotTold, {u"Why."}});
  const StepReport steps = StepReport::Failed(Notice::kNotOutOfActiveSync).Add(not_told);
  EXPECT_TRUE(TextOf(steps).ends_with(u"administrator.\r\n\r\n" + TextOf(not_told)));
  // Once more inside another report.
  EXPECT_EQ(TextOf(StepReport::Failed(Notice::kNoUsers).Add(steps)),
            TextOf(Remark{Notice::kNoUsers, {}}) + u"\r\n\r\n" + TextOf(steps));
}

TEST(SetupServices, SystemsAreNamedInAnyCase) {
  for (const SyncSystem system : {SyncSystem::kHotSync, SyncSystem::kActiveSync}) {
    EXPECT_EQ(SystemNamed(ToLower(NameOf(system))), system);
  }
  EXPECT_FALSE(SystemNamed(u""));
}

TEST(ComponentCommand, AComponentFileIsRegisteredByItsKind) {
  const auto dll = CommandToRegister(u"C:\\My Parts\\a.DLL", u"C:\\Sys");
  ASSERT_TRUE(dll);
  EXPECT_EQ(dll->program, u"C:\\Sys\\regsvr32.exe");
  EXPECT_EQ(dll->arguments, u"/s \"C:\\My Parts\\a.DLL\"");
  const auto exe = CommandToRegister(u"C:\\a.exe", u"C:\\Sys");
  ASSERT_TRUE(exe);
  EXPECT_EQ(exe->program, u"C:\\a.exe");
  EXPECT_EQ(exe->arguments, u"/regserver");
  for (const char16_t* other : {u"", u".dll", u"a.txt", u"a\" /x .dll"}) {
    EXPECT_FALSE(CommandToRegister(other, u"C:\\Sys")) << ToUtf8(other);
  }
}

TEST(ComponentCommand, TheFileOfAServerStandsBeforeItsArguments) {
  const struct {
    const char16_t *registered, *file;
  } cases[] = {
      {u"C:\\a.dll", u"C:\\a.dll"},
      {u"\"C:\\My Parts\\a.exe\" -Embedding", u"C:\\My Parts\\a.exe"},
      {u"C:\\My Parts\\a.EXE /automation", u"C:\\My Parts\\a.EXE"},
      {u"\"C:\\a.exe", u"C:\\a.exe"},
      {u"", u""},
  };
  for (const auto& c : cases) EXPECT_EQ(ToUtf8(ServerFile(c.registered)), ToUtf8(c.file));
}

}  // namespace
}  // namespace pylon
