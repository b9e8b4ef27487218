// The first conduit of docs/writing-a-conduit.md: the page shows its source, and the log at the end
// of its ten minutes is the one that the run writes.

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <sstream>
#include <string>
#include <string_view>

#include "tests/runs/SampleRun.h"

namespace pylon {
namespace {

namespace fs = std::filesystem;

constexpr char kHello[] = "Hello";

class HelloTest : public testing::SampleRun<kHello> {
 protected:
  static std::string Read(const char* path) {
    std::string text = testing::ReadFile(fs::path(PYLON_SOURCE_DIR) / path);
    std::erase(text, '\r');
    EXPECT_NE(text, "") << path;
    return text;
  }

  // The blocks of the page in a language, with an empty line between two.
  static std::string Blocks(std::string_view language) {
    std::istringstream page(Read("docs/writing-a-conduit.md"));
    std::string blocks;
    bool inside = false;
    for (std::string line; std::getline(page, line);) {
      if (inside && line == "```") {
        inside = false;
      } else if (inside) {
        blocks += line + "\n";
      } else if (line == "```" + std::string(language)) {
        if (!blocks.empty()) blocks += "\n";
        inside = true;
      }
    }
    return blocks;
  }

  static std::string WithoutTimes(const std::string& log) {
    return std::regex_replace(log, std::regex("[^\n\t]*\t"), "*\t");
  }
};

TEST_F(HelloTest, ThePageShowsItsSourceAndTheLogOfItsRun) {
  EXPECT_EQ(Blocks("cpp"), Read("samples/hello/Hello.cpp"));

  const fs::path sample = fs::path(PYLON_SOURCE_DIR) / "samples/hello";
  fs::create_directories(data());
  fs::copy_file(sample / "Pylon.ini", home() / "Pylon.ini", fs::copy_options::overwrite_existing);
  fs::copy_file(sample / "MemoDB.pdb", data() / "MemoDB.pdb");
  const std::string database = testing::ReadFile(data() / "MemoDB.pdb");
  Sync();
  std::string log = Log();
  std::erase(log, '\r');
  EXPECT_EQ(WithoutTimes(Blocks("log")), WithoutTimes(log)) << log;
  EXPECT_EQ(testing::ReadFile(data() / "MemoDB.pdb"), database) << "reading changes nothing";
}

}  // namespace
}  // namespace pylon
