#include "setup/SyncCommand.h"

#include <gtest/gtest.h>

#include "base/Text.h"
#include "startup/cCommandLine.h"

namespace pylon {
namespace {

TEST(SyncCommand, ItsArgumentsReadBackAsTheAppId) {
  for (const std::u16string app_id :
       {u"Memos", u"My App", u" A ", u"a-b/c", u"\u4e2d\u6587", u"Memos' & [co]", u"a\tb"}) {
    SCOPED_TRACE(ToUtf8(app_id));
    const auto arguments = SyncArguments(app_id);
    ASSERT_TRUE(arguments);
    cCommandLine parser;
    parser.AddSwitch(u"appid", true);
    parser.AddSwitch(u"database", true);
    parser.SetCommandLine(*arguments);
    EXPECT_EQ(parser.SwitchValue(u"appid"), app_id);
    EXPECT_EQ(parser.SwitchValue(u"database"), u"4");
    EXPECT_EQ(parser.MainArg(), u"");
  }
}

TEST(SyncCommand, AnAppIdThatTheParserWouldMisreadIsRefused) {
  for (const std::u16string app_id : {u"", u"-database", u"/x", u"a\"b", u"\""}) {
    EXPECT_FALSE(SyncArguments(app_id)) << ToUtf8(app_id);
  }
}

}  // namespace
}  // namespace pylon
