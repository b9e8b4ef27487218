#include "simulators/palm/Handheld.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "base/Text.h"
#include "simulators/palm/SuiteError.h"
#include "tests/support/PdbTesting.h"

namespace pylon::palm {
namespace {

using Lines = std::vector<std::string>;

class HandheldTest : public ::testing::Test {
 protected:
  HandheldTest()
      : folder_(std::filesystem::temp_directory_path() /
                ("palm" + std::to_string(reinterpret_cast<uintptr_t>(this)))) {
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directory(folder_);
  }
  ~HandheldTest() override { std::filesystem::remove_all(folder_); }

  void WriteFile(const char* name, const Bytes& bytes) const {
    std::ofstream(folder_ / name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }
  Handheld Load() {
    notes_.clear();
    return Handheld(folder_, [this](std::u16string_view line) { notes_.push_back(ToUtf8(line)); });
  }
  Lines Files() const {
    Lines files;
    for (const auto& file : std::filesystem::directory_iterator(folder_)) {
      files.push_back(file.path().filename().string());
    }
    std::ranges::sort(files);
    return files;
  }

  const std::filesystem::path folder_;
  Lines notes_;
};

Database NewDatabase(std::u16string_view name) { return Database::Make(name, 1, 2, 45000); }

TEST_F(HandheldTest, KeepsOneFileForEachName) {
  Handheld handheld = Load();
  for (const char16_t* name : {u"MemoDB", u"memodb", u"a/b:c", u"a_b_c"}) {
    handheld.Add(NewDatabase(name));
  }
  EXPECT_THROW(handheld.Add(NewDatabase(u"MemoDB")), SuiteError);
  EXPECT_EQ(Files(), Lines{}) << "nothing is closed yet";
  handheld.SaveAll();
  EXPECT_EQ(Files(), (Lines{"MemoDB.pdb", "a_b_c (2).pdb", "a_b_c.pdb", "memodb (2).pdb"}));
  EXPECT_EQ(Load().Names(),
            (std::vector<std::u16string>{u"MemoDB", u"a/b:c", u"a_b_c", u"memodb"}));
  EXPECT_EQ(notes_, Lines{});
  EXPECT_TRUE(handheld.Remove(u"memodb"));
  EXPECT_FALSE(handheld.Remove(u"memodb"));
  EXPECT_EQ(Files().size(), 3u);
}

TEST_F(HandheldTest, LeavesAloneWhatItCannotRead) {
  testing::FileImage good;
  good.name = "Good";
  WriteFile("1.pdb", good.Build());
  WriteFile("2.pdb", good.Build());  // the name is taken
  WriteFile("3.pdb", testing::Ascii("no database"));
  WriteFile("notes.txt", testing::Ascii("no database"));
  EXPECT_EQ(Load().Names(), std::vector<std::u16string>{u"Good"});
  EXPECT_EQ(notes_.size(), 2u);
  EXPECT_EQ(Files().size(), 4u);
}

}  // namespace
}  // namespace pylon::palm
