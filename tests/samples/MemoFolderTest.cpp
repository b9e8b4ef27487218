#include "samples/memos/Folder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>

#include "tests/samples/Latin1.h"

namespace memos {

using sample::Latin1;
namespace {

namespace fs = std::filesystem;

class FolderTest : public testing::Test {
 protected:
  FolderTest() {
    fs::remove_all(root_);
    fs::create_directories(root_ / u"Work" / u"Old");
  }
  ~FolderTest() override { fs::remove_all(root_); }

  void Put(const fs::path& path, std::string_view bytes) { WriteBytes(root_ / path, bytes); }
  MemoFile Read(const std::u16string& folder, const std::u16string& name) {
    MemoFile file;
    file.folder = folder;
    file.name = name;
    folder_.Read(file, Latin1());
    return file;
  }
  std::vector<std::string> Listed() {
    std::vector<fs::path> left_out;
    std::vector<std::string> names;
    for (const MemoFile& file : folder_.List(left_out)) {
      names.push_back(ToUtf8(file.folder + u"/" + file.name));
    }
    return names;
  }

  const fs::path root_ = fs::temp_directory_path() / "pylon-memos-folder-test";
  Folder folder_{root_};
};

using Names = std::vector<std::string>;

TEST_F(FolderTest, ListsItsFilesAndThoseOneLevelDown) {
  for (const char* name : {"b.txt", "a.md", ".hidden", "~a.md", "x.tmp", "desktop.ini"})
    Put(name, "x");
  Put(fs::path(u"Work") / u"\u4E2D.txt", "x");
  for (const char* folder : {"y.tmp", ".git", "~old"}) {
    fs::create_directory(root_ / folder);
    Put(fs::path(folder) / "in.txt", "x");
  }
  Put("Work/Old/c.txt", "x");
  fs::create_directory(root_ / "Work" / "Old" / "Older");
  Put("Work/Old/Older/d.txt", "x");
  EXPECT_EQ(Listed(), (Names{"/a.md", "/b.txt", "Work/\xE4\xB8\xAD.txt", "y.tmp/in.txt"}));
  std::vector<fs::path> left_out;
  folder_.List(left_out);
  EXPECT_EQ(left_out, std::vector<fs::path>{fs::path("Work") / "Old"});
  std::set<std::string> deep;
  for (const MemoFile& file : folder_.ListLeftOut(left_out)) {
    EXPECT_EQ(file.place, MemoFile::Place::kTooDeep);
    EXPECT_EQ(ReadBytes(root_ / file.folder / file.name), "x");
    deep.insert(ToUtf8(file.name));
  }
  EXPECT_EQ(deep, (std::set<std::string>{"c.txt", "d.txt"}));
  EXPECT_THROW(Folder(root_ / "missing").List(left_out), fs::filesystem_error);
}

TEST_F(FolderTest, ReadsAFileOrSaysWhyNot) {
  Put("a.txt", "Title\r\ntext");
  Put("big.txt", std::string(70'000, 'x'));
  EXPECT_EQ(Read(u"", u"a.txt").content, "Title\ntext");
  EXPECT_EQ(Read(u"", u"a.txt").title, u"TITLE");
  EXPECT_NE(Read(u"", u"big.txt").problem, u"");
  EXPECT_NE(Read(u"", u"missing.txt").problem, u"");
}

TEST_F(FolderTest, NewAndMovedFilesNeverTakeAnothersPlace) {
  EXPECT_EQ(folder_.Create(u"New", u"Title", "1"), u"Title.txt");
  EXPECT_EQ(folder_.Create(u"New", u"Title", "2"), u"Title (2).txt");
  Put("Title.txt", "3");
  MemoFile moved = Read(u"", u"Title.txt");
  folder_.Move(moved, u"New", u"Title");
  EXPECT_EQ(ToUtf8(PathOf(moved)), "New\\Title (3).txt");
  EXPECT_EQ(folder_.Copy(moved, u"Title (3) (conflict)"), u"Title (3) (conflict).txt");
  folder_.Move(moved, u"", u"Other");
  EXPECT_EQ(Listed(), (Names{"/Other.txt", "New/Title (2).txt", "New/Title (3) (conflict).txt",
                             "New/Title.txt"}));
  EXPECT_EQ(ReadBytes(root_ / "New" / "Title.txt"), "1");
  EXPECT_EQ(ReadBytes(root_ / "New" / "Title (3) (conflict).txt"), "3");
}

TEST_F(FolderTest, AnEqualFileIsKeptOnlyOnce) {
  for (const char* bytes : {"1", "2", "2", "1"}) folder_.Keep(u"Title", bytes);
  EXPECT_EQ(Folder(root_).Keep(u"Title", "2"), u"Title (2).txt");
  EXPECT_EQ(Listed(), (Names{"/Title (2).txt", "/Title.txt"}));
}

TEST_F(FolderTest, ASettingNamesAFolderInOneSpelling) {
  const struct {
    std::u16string setting;
    fs::path path;
    bool contains_base;
  } cases[] = {
      {u"Work", root_ / "Work", false},
      {u"Work/", root_ / "Work", false},
      {u"./Work", root_ / "Work", false},
      {u"Work/Old/..", root_ / "Work", false},
      {u"", root_, true},
      {u".", root_, true},
      {u"Work/..", root_, true},
      {root_.u16string() + u"/", root_, true},
      {u"..", root_.parent_path(), true},
      {root_.root_path().u16string(), root_.root_path(), true},
  };
  for (const auto& c : cases) {
    const fs::path path = FolderPath(root_, c.setting);
    EXPECT_EQ(path, c.path.lexically_normal()) << ToUtf8(c.setting);
    EXPECT_EQ(Contains(path, FolderPath(root_, {})), c.contains_base) << ToUtf8(c.setting);
  }
}

TEST_F(FolderTest, SweepsUpBehindASyncThatWasKilledAndNothingElse) {
  const fs::path left[] = {root_ / "~memos-sync.tmp", root_ / "Work" / "~memos-sync.tmp"};
  for (const fs::path& path : left) std::ofstream(path) << "half a memo";
  std::ofstream(root_ / "~memo.tmp") << "a user's";
  folder_.Sweep();
  for (const fs::path& path : left) EXPECT_FALSE(fs::exists(path)) << path;
  EXPECT_TRUE(fs::exists(root_ / "~memo.tmp"));
}

TEST_F(FolderTest, AFileThatChangedMeanwhileIsLeftAlone) {
  Put("a.txt", "old");
  MemoFile file = Read(u"", u"a.txt");
  Put("a.txt", "new");
  EXPECT_THROW(folder_.Replace(file, "x"), FileError);
  EXPECT_THROW(folder_.Move(file, u"Work", u"a"), FileError);
  EXPECT_THROW(folder_.Copy(file, u"b"), FileError);
  EXPECT_THROW(folder_.Delete(file), FileError);
  EXPECT_EQ(ReadBytes(root_ / "a.txt"), "new");
  EXPECT_EQ(Listed(), Names{"/a.txt"});

  file = Read(u"", u"a.txt");
  folder_.Replace(file, "newer");
  EXPECT_EQ(ReadBytes(root_ / "a.txt"), "newer");
  folder_.Delete(file);
  EXPECT_EQ(Listed(), Names{});
}

TEST_F(FolderTest, AFailedWriteLeavesNothingBehind) {
  EXPECT_THROW(WriteBytes(root_ / "missing" / "a.txt", "x"), FileError);
  EXPECT_THROW(WriteBytes(root_ / "Work", "x"), FileError) << "a folder has the name";
  EXPECT_EQ(Listed(), Names{});
  EXPECT_FALSE(fs::exists(root_ / "~memos-sync.tmp"));
}

}  // namespace
}  // namespace memos
