#include "setup/SetupModel.h"

#include <gtest/gtest.h>

#include <set>
#include <string_view>
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

// Memos, and what else is so: a system is here (h HotSync, a ActiveSync), has the conduit (H, A);
// the conduit is not loaded (f), has no class (k), no creator id (c), an AppId that ActiveSync
// can't pass (q), an application for a handheld (p), for a Pocket PC (w); HotSync calls another one
// (t).
ConduitFacts Memos(std::string_view with = {}) {
  ConduitFacts facts;
  facts.app_id = u"Memos";
  facts.name = u"The Memos";
  facts.version = u"1.2";
  facts.author = u"Somebody";
  facts.class_id = u"Lib.Memos";
  facts.creator_id = u"memo";
  const auto has = [with](char what) { return with.find(what) != with.npos; };
  facts.hot_sync = {has('h'), has('H'), false, {}};
  facts.active_sync = {has('a'), has('A'), false, {}};
  if (has('f')) facts.failure = u"why";
  if (has('k')) facts.class_id.clear();
  if (has('c')) facts.creator_id.clear();
  if (has('q')) facts.app_id = u"My  App";
  if (has('p')) facts.palm_install = u"b.prc";
  if (has('w')) facts.ppc_install = u"a.cab";
  if (has('t')) facts.hot_sync.problem = Remark{Notice::kTaken, {u"memo", u"'Mail'"}};
  return facts;
}

TEST(SetupModel, WhatASelectedConduitAllowsAndTheLinesOfTheSystems) {
  const std::set<SetupAction> always = {kOpenFolder, kOpenLog, kOpenDatabases, kAdd,  kRemove,
                                        kEdit,       kReload,  kAbout,         kClose};
  const struct {
    const char* with;
    std::set<SetupAction> too;
    int hot_sync, active_sync;
  } cases[] = {
      {"", {kSync, kConfigure}, IDS_NO_HOTSYNC, IDS_NO_ACTIVESYNC},
      {"k", {}, IDS_NO_HOTSYNC, IDS_NO_ACTIVESYNC},
      {"haf", {}, IDS_SYSTEM_NOT_LOADED, IDS_SYSTEM_NOT_LOADED},
      {"HAf",
       {kRemoveHotSync, kRemoveActiveSync},
       IDS_SYSTEM_INSTALLED_BEFORE,
       IDS_SYSTEM_INSTALLED_BEFORE},
      {"ha",
       {kSync, kConfigure, kInstallHotSync, kInstallActiveSync},
       IDS_SYSTEM_NOT_INSTALLED,
       IDS_SYSTEM_NOT_INSTALLED},
      {"haHA",
       {kSync, kConfigure, kRemoveHotSync, kRemoveActiveSync},
       IDS_SYSTEM_INSTALLED,
       IDS_SYSTEM_INSTALLED},
      {"hacq", {kSync, kConfigure}, IDS_NO_CREATOR, IDS_CANNOT_CONNECT},
      {"hw", {kSync, kConfigure, kInstallHotSync}, IDS_SYSTEM_NOT_INSTALLED, IDS_NO_ACTIVESYNC},
      {"hp",
       {kSync, kConfigure, kInstallHotSync, kInstallApplication},
       IDS_SYSTEM_NOT_INSTALLED,
       IDS_NO_ACTIVESYNC},
      {"hat", {kSync, kConfigure, kInstallActiveSync}, IDS_SYSTEM_REASON, IDS_SYSTEM_NOT_INSTALLED},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.with);
    const ConduitFacts conduit = Memos(c.with);
    for (const SetupAction action : kAll) {
      EXPECT_EQ(IsEnabled(action, {&conduit, false, false}),
                always.contains(action) || c.too.contains(action))
          << static_cast<int>(action);
      EXPECT_EQ(IsEnabled(action, {&conduit, true, true}), action == kCancel)
          << "during work, " << static_cast<int>(action);
    }
    EXPECT_EQ(StateOf(SyncSystem::kHotSync, conduit).id, c.hot_sync);
    EXPECT_EQ(StateOf(SyncSystem::kActiveSync, conduit).id, c.active_sync);
  }
}

TEST(SetupModel, WithoutASelectionOnlyTheProgramsOwnActionsWorkAndAShieldStandsOnInstalling) {
  const std::set<SetupAction> own = {kAdd, kEdit, kReload, kAbout, kClose};
  for (const SetupAction action : kAll) {
    EXPECT_EQ(IsEnabled(action, {}), own.contains(action)) << static_cast<int>(action);
  }
  EXPECT_TRUE(IsEnabled(kGuestMode, {nullptr, false, true}));

  ConduitFacts conduit = Memos();
  for (const SetupAction action : kAll) EXPECT_FALSE(HasShield(action, conduit));
  conduit.active_sync.needs_elevation = true;
  const std::set<SetupAction> shielded = {kInstallActiveSync, kRemoveActiveSync};
  for (const SetupAction action : kAll) {
    EXPECT_EQ(HasShield(action, conduit), shielded.contains(action)) << static_cast<int>(action);
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
  EXPECT_EQ(ApplicationOf(Memos()).id, IDS_NO_APPLICATION);
  EXPECT_EQ(ApplicationOf(Memos("w")).detail, u"a.cab");
  EXPECT_EQ(ApplicationOf(Memos("pw")).detail, u"b.prc, a.cab");
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
  const auto command = [](const char16_t* file) {
    const auto found = CommandToRegister(file, u"C:\\Sys");
    return found ? ToUtf8(found->program + u" " + found->arguments) : "none";
  };
  EXPECT_EQ(command(u"C:\\My Parts\\a.DLL"), "C:\\Sys\\regsvr32.exe /s \"C:\\My Parts\\a.DLL\"");
  EXPECT_EQ(command(u"C:\\a.exe"), "C:\\a.exe /regserver");
  for (const char16_t* other : {u"", u".dll", u"a.txt", u"a\" /x .dll"}) {
    EXPECT_EQ(command(other), "none") << ToUtf8(other);
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
