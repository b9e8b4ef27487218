#include "setup/SyncCommand.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "base/Text.h"
#include "startup/cCommandLine.h"

namespace pylon {
namespace {

void ExpectParsed(const std::u16string& arguments, std::u16string_view app_id,
                  std::u16string_view database) {
  cCommandLine parser;
  parser.AddSwitch(u"appid", true);
  parser.AddSwitch(u"database", true);
  parser.SetCommandLine(arguments);
  EXPECT_EQ(parser.SwitchValue(u"appid"), app_id);
  EXPECT_EQ(parser.SwitchValue(u"database"), database);
  EXPECT_EQ(parser.MainArg(), u"");
}

TEST(SyncCommand, ItsArgumentsReadBackAsTheAppId) {
  for (const std::u16string app_id :
       {u"Memos", u"My App", u" A ", u"a-b/c", u"\u4e2d\u6587", u"Memos' & [co]", u"a\tb"}) {
    SCOPED_TRACE(ToUtf8(app_id));
    const auto arguments = SyncArguments(app_id);
    ASSERT_TRUE(arguments);
    ExpectParsed(*arguments, app_id, u"4");
  }
}

TEST(SyncCommand, AnAppIdThatTheParserWouldMisreadIsRefused) {
  for (const std::u16string app_id : {u"", u"-database", u"/x", u"a\"b", u"\""}) {
    EXPECT_FALSE(SyncArguments(app_id)) << ToUtf8(app_id);
  }
  for (const std::u16string creator_id : {u"", u"mem", u"memos", u"me\"o", u"mem\\"}) {
    EXPECT_FALSE(HotSyncArguments(creator_id)) << ToUtf8(creator_id);
  }
  EXPECT_EQ(HotSyncArguments(u"a /b"), u"/sync /only \"a /b\"");
}

// ActiveSync passes the AppId without quotes, so its words come back joined.
TEST(SyncCommand, AnAppIdThatCanConnectReadsBackWordByWord) {
  const struct {
    const char16_t* app_id;
    bool can_connect;
  } cases[] = {
      {u"Memos", true},     {u"My App", true},  {u"a-b c/d -", false}, {u"a-b c/d", true},
      {u"", false},         {u"-x", false},     {u"My /App", false},   {u"My  App", false},
      {u"a\"b c\"", false}, {u" Memos", false}, {u"Memos ", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(ToUtf8(c.app_id));
    EXPECT_EQ(CanConnect(c.app_id), c.can_connect);
    if (!c.can_connect) continue;
    std::u16string joined = c.app_id;
    std::replace(joined.begin(), joined.end(), u' ', cCommandLine::kSeparator);
    ExpectParsed(ConnectArguments(c.app_id), joined, u"5");
  }
}

}  // namespace
}  // namespace pylon
