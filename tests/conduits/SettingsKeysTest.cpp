#include "conduits/SettingsKeys.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <span>
#include <string>

#include "base/Text.h"

namespace pylon {
namespace {

// The rows of the table in README.md, as they must be.
std::string RowsFor(std::span<const SettingsKey> keys, const std::string& where) {
  std::string rows;
  for (const SettingsKey& key : keys) {
    rows += "| `" + ToUtf8(key.name) + "`" + where + " | " + std::string(key.meaning) + " | " +
            std::string(key.without_it) + " |\n";
  }
  return rows;
}

TEST(SettingsKeys, AreThoseOfTheReadme) {
  std::ifstream file(PYLON_README);
  const std::string readme(std::istreambuf_iterator<char>(file), {});
  const std::string table = "\n| key | meaning | without it |\n|---|---|---|\n" +
                            RowsFor(settings::kConduitKeys, "") +
                            RowsFor(settings::kProgramKeys, " in `[Pylon]`") + "\n";
  EXPECT_NE(readme.find(table), std::string::npos) << "README.md should have" << table;
}

TEST(SettingsKeys, TheSectionsOfPylonItselfAreNoConduits) {
  for (const char16_t* name : {u"pylon", u"General"}) EXPECT_TRUE(settings::IsProgramSection(name));
  for (const char16_t* name : {u"", u"Pylon2", u"Memos"}) {
    EXPECT_FALSE(settings::IsProgramSection(name));
  }
}

}  // namespace
}  // namespace pylon
