#include "startup/cCommandLine.h"

#include <gtest/gtest.h>

#include "base/Text.h"

namespace pylon {
namespace {

const std::u16string kThorn(1, cCommandLine::kSeparator);

cCommandLine ProgramSwitches() {
  cCommandLine parser;
  parser.AddSwitch(u"appid", true);
  parser.AddSwitch(u"install", false);
  parser.AddSwitch(u"uninstall", false);
  parser.AddSwitch(u"database", true);
  parser.AddSwitch(u"save", true);
  return parser;
}

// Values are written with a '|' where the separator stands.
std::u16string Expected(std::u16string text) {
  for (char16_t& c : text) {
    if (c == u'|') c = cCommandLine::kSeparator;
  }
  return text;
}

TEST(CommandLine, ValuesOfSwitchesAndPlainArguments) {
  const struct {
    const char16_t* text;
    const char16_t* appid;
    const char16_t* database;
    const char16_t* main_arg;
  } cases[] = {
      {u"", u"", u"", u""},
      {u"-AppId MyApp -Database 4", u"MyApp", u"4", u""},
      {u"/APPID MyApp /database 4", u"MyApp", u"4", u""},
      {u"-appid My App -database 4", u"My|App", u"4", u""},
      {u"-appid \"My App\"", u"My App", u"", u""},
      {u"\"-appid\" A", u"A", u"", u""},
      {u"\"/appid\"A", u"A", u"", u""},
      {u"-appid\"A\"", u"", u"", u"-appid\"A\""},
      {u"-appid A\"B C\"D", u"A\"B|C\"D", u"", u""},
      {u"-appid \"A\"\"B\"C", u"A|B|C", u"", u""},
      {u"-appid \"\" A", u"A", u"", u""},
      {u"-appid \"My App -database 4", u"My App -database 4", u"", u""},
      {u"-appid \"", u"", u"", u""},
      {u"  -appid   A  B  ", u"A|B", u"", u""},
      {u"-appid\tA", u"", u"", u"-appid\tA"},
      {u"-appid A\tB", u"A\tB", u"", u""},
      {u"-appid A -appid B", u"A", u"", u""},
      {u"-appid -appid B", u"", u"", u""},
      {u"/install foo", u"", u"", u"foo"},
      {u"-appid A -install foo -database 4", u"A", u"4", u"foo"},
      {u"one -database 2 3 -install two", u"", u"2|3", u"one|two"},
      {u"-unknown x", u"", u"", u"-unknown|x"},
      {u"/Unknown x", u"", u"", u"-Unknown|x"},
      {u"-appid A /Other B", u"A|B", u"", u"-Other"},
      {u"-", u"", u"", u"-"},
      {u"/", u"", u"", u"-"},
      {u"--appid A", u"", u"", u"--appid|A"},
      {u"-appid \u4e2d\u6587 \u00c4", u"\u4e2d\u6587|\u00c4", u"", u""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(ToUtf8(c.text));
    cCommandLine parser = ProgramSwitches();
    parser.SetCommandLine(c.text);
    EXPECT_EQ(parser.CommandLine(), c.text);
    EXPECT_EQ(parser.SwitchValue(u"AppID"), Expected(c.appid));
    EXPECT_EQ(parser.SwitchValue(u"DATABASE"), Expected(c.database));
    EXPECT_EQ(parser.MainArg(), Expected(c.main_arg));
  }
}

TEST(CommandLine, SwitchesAreThereWithOrWithoutValues) {
  cCommandLine parser = ProgramSwitches();
  parser.SetCommandLine(u"-Database /INSTALL -unknown");
  EXPECT_TRUE(parser.HasSwitch(u"database"));
  EXPECT_TRUE(parser.HasSwitch(u"Install"));
  EXPECT_FALSE(parser.HasSwitch(u"-install"));
  EXPECT_FALSE(parser.HasSwitch(u"uninstall"));
  EXPECT_FALSE(parser.HasSwitch(u"unknown"));
  EXPECT_FALSE(parser.HasSwitch(u""));
}

TEST(CommandLine, TheFirstRegistrationOfANameStays) {
  cCommandLine parser;
  parser.AddSwitch(u"Save", true);
  parser.AddSwitch(u"SAVE", false);
  parser.SetCommandLine(u"-save folder");
  EXPECT_EQ(parser.SwitchValue(u"save"), u"folder");
}

TEST(CommandLine, ASwitchCountsFromTheNextAssignmentOn) {
  cCommandLine parser;
  parser.SetCommandLine(u"-save folder");
  parser.AddSwitch(u"save", true);
  EXPECT_FALSE(parser.HasSwitch(u"save"));
  EXPECT_EQ(parser.MainArg(), u"-save" + kThorn + u"folder");
  parser.SetCommandLine(u"-save folder");
  EXPECT_TRUE(parser.HasSwitch(u"save"));
  EXPECT_EQ(parser.MainArg(), u"");
}

TEST(CommandLine, FiftyValuesAreKept) {
  for (const char16_t* prefix : {u"-appid", u""}) {
    SCOPED_TRACE(ToUtf8(prefix));
    cCommandLine parser = ProgramSwitches();
    std::u16string text = prefix;
    std::u16string kept;
    for (int i = 1; i <= 60; ++i) {
      text += u" " + ToText(i);
      if (i <= 50) kept += (i == 1 ? u"" : kThorn) + ToText(i);
    }
    parser.SetCommandLine(text + u" -database 4");
    EXPECT_EQ(*prefix ? parser.SwitchValue(u"appid") : parser.MainArg(), kept);
    EXPECT_EQ(parser.SwitchValue(u"database"), u"4");
  }
}

TEST(CommandLine, ArgumentsStandBehindTheProgramsName) {
  const struct {
    const char16_t* command_line;
    const char16_t* arguments;
  } cases[] = {
      {u"", u""},
      {u"Pylon", u""},
      {u"Pylon.exe  -AppId A ", u"-AppId A "},
      {u"C:\\Apps\\Pylon.exe\t-AppId A", u"-AppId A"},
      {u"\"C:\\Program Files\\Pylon.exe\" -AppId \"A B\"", u"-AppId \"A B\""},
      {u"\"C:\\Pylon.exe\"", u""},
      {u"\"C:\\Pylon.exe", u""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ArgumentText(c.command_line), c.arguments) << ToUtf8(c.command_line);
  }
}

}  // namespace
}  // namespace pylon
