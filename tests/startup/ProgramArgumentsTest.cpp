#include "startup/ProgramArguments.h"

#include <gtest/gtest.h>

#include "base/Text.h"
#include "tests/support/Errors.h"

namespace pylon {
namespace {

using testing::ErrorOf;
using Task = ProgramArguments::Task;

TEST(ProgramArguments, TheFirstTaskThatIsAskedForWins) {
  const struct {
    const char16_t* arguments;
    Task task;
  } cases[] = {
      {u"", Task::kManage},
      {u"-AppId Memos", Task::kManage},
      {u"-AppId Memos -Database 4", Task::kSync},
      {u"-Database", Task::kSync},
      {u"-Database 4 -uninstall", Task::kUninstall},
      {u"-Database 4 -uninstall -install", Task::kInstall},
      {u"-install -Embedding", Task::kServe},
      {u"-Embedding /UnregServer", Task::kUnregister},
      {u"-Embedding -unregserver -RegServer", Task::kRegister},
      {u"Database", Task::kManage},
      {u"-GuestMode on", Task::kGuestMode},
      {u"-guestmode off -install", Task::kInstall},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ReadArguments(u"Pylon.exe " + std::u16string(c.arguments)).task, c.task)
        << ToUtf8(c.arguments);
  }
}

TEST(ProgramArguments, ValuesComeFromTheirSwitches) {
  const ProgramArguments arguments = ReadArguments(
      u"\"C:\\Pylon folder\\Pylon.exe\" /appid My  App -DATABASE 2 -save \"C:\\My files\" "
      u"-system HotSync rest");
  EXPECT_EQ(arguments.app_id, u"My App") << "as ActiveSync passes it";
  EXPECT_EQ(arguments.DatabaseType(), 2);
  EXPECT_EQ(arguments.save_folder, u"C:\\My files");
  EXPECT_EQ(arguments.system, u"HotSync\u00FErest");
  EXPECT_EQ(ReadArguments(u"Pylon.exe -appid A\u00FE B").app_id, u"A\u00FE\u00FEB")
      << "an AppId of its own with the parser's separator";
}

TEST(ProgramArguments, ADatabaseTypeIsANumberOf16Bits) {
  const struct {
    const char16_t* text;
    int type;
    int error;
  } cases[] = {
      {u"", 4, 0},     {u"0", 0, 0},         {u" 5 ", 5, 0},   {u"+3", 3, 0},
      {u"-1", -1, 0},  {u"32767", 32767, 0}, {u"four", 0, 13}, {u"4x", 0, 13},
      {u"+-4", 0, 13}, {u"4 5", 0, 13},      {u"40000", 0, 6}, {u"-40000", 0, 6},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(ToUtf8(c.text));
    ProgramArguments arguments;
    arguments.database = c.text;
    int type = 0;
    EXPECT_EQ(ErrorOf([&] { type = arguments.DatabaseType(); }), c.error);
    EXPECT_EQ(type, c.type);
  }
}

}  // namespace
}  // namespace pylon
