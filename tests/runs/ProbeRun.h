#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "base/Text.h"
#include "tests/automation/Processes.h"
#include "tests/probe/ProbeRegistration.h"

namespace pylon::testing {

using Strings = std::vector<std::string>;

inline Strings Lines(const std::filesystem::path& path) {
  Strings lines;
  std::istringstream text(ReadFile(path));
  for (std::string line; std::getline(text, line);) {
    lines.push_back(line.substr(0, line.find('\r')));
  }
  return lines;
}
// The lines of a log of ours without their times.
inline Strings LogTexts(const std::filesystem::path& path) {
  Strings lines = Lines(path);
  for (std::string& line : lines) line.erase(0, line.find('\t') + 1);
  return lines;
}

// Whole runs of Pylon.exe with the component of the tests, each in a folder of its own.
class ProbeRun : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { RegisterProbe(); }
  void SetUp() override { std::filesystem::copy_file("Pylon.exe", home() / "Pylon.exe"); }

  const std::filesystem::path& home() const { return folder_.path(); }
  void WriteSettings(const std::string& text) {
    std::ofstream(home() / "Pylon.ini", std::ios::binary) << text;
  }
  std::filesystem::path NotesFile() const { return home() / "notes.txt"; }
  Strings Notes() const { return Lines(NotesFile()); }  // of the component
  Strings Log(const std::filesystem::path& device) const {
    return LogTexts(home() / "Probe" / device / "Probe.log");
  }

  // `probe` says what the component does; see ProbeConduit.cpp.
  Process Start(const std::u16string& arguments, const std::u16string& probe = u"ok") {
    return Process(Quoted(home() / "Pylon.exe") + u" " + arguments,
                   {{u"PYLON_PROBE", probe}, {u"PYLON_PROBE_OUT", NotesFile().u16string()}});
  }
  DWORD Run(const std::u16string& arguments, const std::u16string& probe = u"ok") {
    return Start(arguments, probe).Wait().value_or(99);
  }
  // Runs into the one message box, reads and closes it.
  std::string RunIntoMessage(const std::u16string& arguments, const std::u16string& probe = u"ok",
                             DWORD exit_code = 1) {
    Process process = Start(arguments, probe);
    return MessageOf(process, exit_code);
  }
  static std::string MessageOf(Process& process, DWORD exit_code) {
    const auto box = WaitForMessageBox(process.id());
    if (!box) return "(no message box)";
    EXPECT_EQ(box->title, u"Pylon Manager");
    PressOk(process.id());
    EXPECT_EQ(process.Wait().value_or(99), exit_code) << "and no second box";
    return ToUtf8(box->text);
  }

 private:
  TemporaryFolder folder_;
};

}  // namespace pylon::testing
