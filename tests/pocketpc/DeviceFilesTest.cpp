// Files and folders of the device, without faults.

#include <gmock/gmock.h>

#include <functional>

#include "tests/pocketpc/SimulatedDevice.h"

namespace pocketpc::testing {
namespace {

constexpr DWORD kRead = GENERIC_READ;
constexpr DWORD kWrite = GENERIC_WRITE;

// The device holds \file ("hello"), \read-only, \folder\inner and \empty.
class DeviceFilesTest : public SimulatedDevice {
 protected:
  DeviceFilesTest() {
    WriteFile(OnPc("file"), "hello");
    WriteFile(OnPc("read-only"), "fixed");
    WriteFile(OnPc("folder/inner"), "inner");
    std::filesystem::create_directory(OnPc("empty"));
    ::SetFileAttributesW(OnPc("read-only").c_str(), FILE_ATTRIBUTE_READONLY);
  }
  void SetUp() override { Connect(); }

  // The names found, each with a blank behind it, or the error.
  std::string Find(const wchar_t* pattern) const {
    CE_FIND_DATA found = {};
    const HANDLE find = rapi.CeFindFirstFile(pattern, &found);
    if (find == INVALID_HANDLE_VALUE) return Outcome(false);
    std::string names;
    do {
      names += std::filesystem::path(found.cFileName).string() + " ";
    } while (rapi.CeFindNextFile(find, &found));
    EXPECT_EQ(Outcome(false), "18") << "the end";
    EXPECT_TRUE(rapi.CeFindClose(find));
    return names;
  }
};

TEST_F(DeviceFilesTest, PathsStayOnTheDevice) {
  const struct {
    std::wstring path;
    const char* outcome;
  } cases[] = {
      {L"\\file", "ok"},
      {L"\\folder\\\\inner", "ok"},
      {L"file", "123"},
      {L"", "123"},
      {L"\\..\\test.ini", "123"},
      {L"\\folder\\..\\file", "123"},
      {L"\\.\\file", "123"},
      {L"\\file.", "123"},
      {L"\\file ", "123"},
      {L"\\... ", "123"},
      {L"C:\\file", "123"},
      {L"\\C:\\file", "123"},
      {L"\\file:stream", "123"},
      {L"\\folder/inner", "123"},
      {L"\\fil?", "123"},
      {L"\\a\tb", "123"},
      {L"\\nul", "123"},
      {L"\\folder\\Com1.txt", "123"},
      {L"\\\\server\\share\\file", "53"},
      {L"\\\\?\\C:\\file", "53"},
      {L"\\", "5"},
      {L"\\folder", "5"},
      {L"\\none", "2"},
      {L"\\none\\file", "3"},
      {L"\\" + std::wstring(300, L'a'), "206"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(TryOpen(c.path.c_str(), kRead, OPEN_EXISTING), c.outcome)
        << std::filesystem::path(c.path);
  }
  EXPECT_EQ(TryOpen(nullptr, kRead, OPEN_EXISTING), "87");
}

TEST_F(DeviceFilesTest, DispositionsAndTheirCodes) {
  const struct {
    DWORD disposition;
    const char* on_none;
    const char* on_file;
    const char* text;  // of the file afterwards
    DWORD code;        // after success on the file
  } cases[] = {
      {CREATE_NEW, "ok", "80", "hello", 0},
      {CREATE_ALWAYS, "ok", "ok", "", ERROR_ALREADY_EXISTS},
      {OPEN_EXISTING, "2", "ok", "hello", 0},
      {OPEN_ALWAYS, "ok", "ok", "hello", ERROR_ALREADY_EXISTS},
      {TRUNCATE_EXISTING, "2", "ok", "", 0},
      {6, "87", "87", "hello", 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.disposition);
    WriteFile(OnPc("file"), "hello");
    std::filesystem::remove(OnPc("none"));
    EXPECT_EQ(TryOpen(L"\\none", kWrite, c.disposition), c.on_none);
    const HANDLE file = Open(L"\\FILE", kWrite, c.disposition);
    const DWORD code = rapi.CeGetLastError();
    EXPECT_EQ(Outcome(file != INVALID_HANDLE_VALUE), c.on_file);
    if (file != INVALID_HANDLE_VALUE) {
      EXPECT_EQ(code, c.code);
      rapi.CeCloseHandle(file);
    }
    EXPECT_EQ(ReadFile(OnPc("file")), c.text);
  }
}

TEST_F(DeviceFilesTest, ReadsWritesAndCutsAtTheCursor) {
  const HANDLE file = Open(L"\\file");
  EXPECT_EQ(Read(file, 3), "[hel]");
  EXPECT_EQ(Read(file, 10), "[lo]");
  EXPECT_EQ(Read(file, 10), "[]");
  EXPECT_EQ(rapi.CeSetFilePointer(file, 1, nullptr, FILE_BEGIN), 1u);
  EXPECT_EQ(Write(file, "ELP!!!"), "ok after 6");
  EXPECT_EQ(rapi.CeGetFileSize(file, nullptr), 7u);
  EXPECT_EQ(rapi.CeSetFilePointer(file, -2, nullptr, FILE_END), 5u);
  EXPECT_TRUE(rapi.CeSetEndOfFile(file));
  LONG high = 1;
  EXPECT_EQ(rapi.CeSetFilePointer(file, 0, &high, FILE_BEGIN), 0u);
  EXPECT_EQ(high, 1) << "beyond 4 GB";
  EXPECT_EQ(rapi.CeSetFilePointer(file, -1, nullptr, FILE_BEGIN), 0xFFFFFFFF);
  EXPECT_EQ(Outcome(false), "131");
  EXPECT_TRUE(rapi.CeCloseHandle(file));
  EXPECT_EQ(ReadFile(OnPc("file")), "hELP!");
}

TEST_F(DeviceFilesTest, SharesAsOpened) {
  const struct {
    DWORD first, first_share, second, second_share;
    const char* outcome;
  } cases[] = {
      {kRead, 0, kRead, FILE_SHARE_READ, "32"},
      {kRead, FILE_SHARE_READ, kRead, FILE_SHARE_READ, "ok"},
      {kRead, FILE_SHARE_READ, kRead, 0, "32"},
      {kRead, FILE_SHARE_READ, kWrite, FILE_SHARE_READ, "32"},
      {kWrite, FILE_SHARE_READ, kRead, FILE_SHARE_READ, "32"},
      {kWrite, FILE_SHARE_READ, kRead, FILE_SHARE_READ | FILE_SHARE_WRITE, "ok"},
  };
  for (const auto& c : cases) {
    const HANDLE first = Open(L"\\file", c.first, OPEN_EXISTING, c.first_share);
    const HANDLE second = Open(L"\\file", c.second, OPEN_EXISTING, c.second_share);
    EXPECT_EQ(Outcome(second != INVALID_HANDLE_VALUE), c.outcome) << &c - cases;
    EXPECT_FALSE(rapi.CeDeleteFile(L"\\file"));
    EXPECT_EQ(Outcome(false), "32") << "an open file stays";
    rapi.CeCloseHandle(first);
    if (second != INVALID_HANDLE_VALUE) rapi.CeCloseHandle(second);
  }
}

TEST_F(DeviceFilesTest, RefusesAsADeviceDoes) {
  const struct {
    const char* what;
    std::function<BOOL()> call;
    const char* outcome;
  } cases[] = {
      {"move onto a file", [&] { return rapi.CeMoveFile(L"\\file", L"\\folder\\inner"); }, "183"},
      {"move onto a folder", [&] { return rapi.CeMoveFile(L"\\file", L"\\empty"); }, "183"},
      {"move nothing", [&] { return rapi.CeMoveFile(L"\\none", L"\\new"); }, "2"},
      {"move into nothing", [&] { return rapi.CeMoveFile(L"\\file", L"\\none\\new"); }, "3"},
      {"move the root", [&] { return rapi.CeMoveFile(L"\\", L"\\new"); }, "5"},
      {"move", [&] { return rapi.CeMoveFile(L"\\file", L"\\moved"); }, "ok"},
      {"move a folder", [&] { return rapi.CeMoveFile(L"\\folder", L"\\new folder"); }, "ok"},
      {"copy onto a file", [&] { return rapi.CeCopyFile(L"\\moved", L"\\read-only", TRUE); }, "80"},
      {"copy onto read-only", [&] { return rapi.CeCopyFile(L"\\moved", L"\\read-only", FALSE); },
       "5"},
      {"copy a folder", [&] { return rapi.CeCopyFile(L"\\empty", L"\\new", FALSE); }, "5"},
      {"copy nothing", [&] { return rapi.CeCopyFile(L"\\none", L"\\new", FALSE); }, "2"},
      {"copy", [&] { return rapi.CeCopyFile(L"\\moved", L"\\copy", TRUE); }, "ok"},
      {"copy over", [&] { return rapi.CeCopyFile(L"\\new folder\\inner", L"\\copy", FALSE); },
       "ok"},
      {"delete nothing", [&] { return rapi.CeDeleteFile(L"\\none"); }, "2"},
      {"delete a folder", [&] { return rapi.CeDeleteFile(L"\\empty"); }, "5"},
      {"delete read-only", [&] { return rapi.CeDeleteFile(L"\\read-only"); }, "5"},
      {"write read-only", [&] { return TryOpen(L"\\read-only", kWrite, OPEN_ALWAYS) == "ok"; },
       "5"},
      {"no more read-only", [&] { return rapi.CeSetFileAttributes(L"\\read-only", 0); }, "ok"},
      {"delete", [&] { return rapi.CeDeleteFile(L"\\read-only"); }, "ok"},
      {"attributes of nothing", [&] { return rapi.CeSetFileAttributes(L"\\none", 1); }, "2"},
      {"folder that exists", [&] { return rapi.CeCreateDirectory(L"\\empty", nullptr); }, "183"},
      {"folder in nothing", [&] { return rapi.CeCreateDirectory(L"\\a\\b", nullptr); }, "3"},
      {"folder", [&] { return rapi.CeCreateDirectory(L"\\a", nullptr); }, "ok"},
      {"folder in a folder", [&] { return rapi.CeCreateDirectory(L"\\a\\b\\", nullptr); }, "ok"},
  };
  for (const auto& c : cases) EXPECT_EQ(Outcome(c.call() != FALSE), c.outcome) << c.what;
  EXPECT_EQ(ReadFile(OnPc("moved")), "hello");
  EXPECT_EQ(ReadFile(OnPc("copy")), "inner");
  EXPECT_FALSE(std::filesystem::exists(OnPc("file")));
  EXPECT_FALSE(std::filesystem::exists(OnPc("read-only")));
  EXPECT_TRUE(std::filesystem::is_directory(OnPc("a/b")));
}

TEST_F(DeviceFilesTest, FindsByPattern) {
  for (const char* name : {"a.pdb", "b.PDB", "c.pdbx", "ab.txt"})
    WriteFile(OnPc("empty") / name, "1");
  const struct {
    const wchar_t* pattern;
    const char* names;
  } cases[] = {
      {L"\\empty\\*", "a.pdb ab.txt b.PDB c.pdbx "},
      {L"\\empty\\*.*", "a.pdb ab.txt b.PDB c.pdbx "},
      {L"\\empty\\*.pdb", "a.pdb b.PDB "},
      {L"\\empty\\?.pdb*", "a.pdb b.PDB c.pdbx "},
      {L"\\empty\\A*", "a.pdb ab.txt "},
      {L"\\empty\\*b*t", "ab.txt "},
      {L"\\empty\\ab.txt", "ab.txt "},
      {L"\\folder", "folder "},
      {L"\\*", "empty file folder My Documents read-only Temp "},
      {L"\\empty\\*.doc", "18"},
      {L"\\none\\*", "3"},
      {L"\\*\\file", "123"},
      {L"\\", "2"},
      {L"\\..\\*", "123"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Find(c.pattern), c.names) << std::filesystem::path(c.pattern);
  }
  CE_FIND_DATA found = {};
  rapi.CeFindFirstFile(L"\\file", &found);
  EXPECT_EQ(found.nFileSizeLow, 5u);
  EXPECT_EQ(found.nFileSizeHigh, 0u);
  EXPECT_FALSE(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY);
  EXPECT_NE(found.ftLastWriteTime.dwHighDateTime, 0u);
  EXPECT_TRUE(rapi.CeGetFileAttributes(L"\\folder") & FILE_ATTRIBUTE_DIRECTORY);
  EXPECT_EQ(rapi.CeGetFileAttributes(L"\\none"), INVALID_FILE_ATTRIBUTES);
}

}  // namespace
}  // namespace pocketpc::testing
