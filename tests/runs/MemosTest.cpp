// Whole runs of Pylon.exe with the sample conduit: changes of both sides, and kills at any moment.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "base/Text.h"
#include "tests/runs/SampleRun.h"

namespace pylon {
namespace {

namespace fs = std::filesystem;
using testing::Process;
using testing::Quoted;

constexpr std::array<const char*, 4> kCategories = {"", "Home", "Work", "Other"};

struct Memo {
  int32_t id = 0;
  int16_t category = 0;
  int32_t attributes = 0;
  std::string text;  // without its final NUL
};

// The database as the handheld sees it: read whole, changed, written back.
class Handheld : public testing::SampleDatabase {
 public:
  explicit Handheld(const fs::path& path) : SampleDatabase(path) {
    if (!fs::exists(path)) return;
    for (int32_t index = 1; index <= database_.RecordCount(); ++index) {
      Memo& memo = memos.emplace_back();
      const std::optional<Record> read = database_.ByIndex(index);
      EXPECT_TRUE(read);
      if (!read) continue;
      memo = {read->id, read->category, read->attributes, {}};
      const ByteSpan bytes = read->data;
      memo.text.assign(reinterpret_cast<const char*>(bytes.data()), bytes.size());
      memo.text.resize(std::min(memo.text.find('\0'), memo.text.size()));
    }
  }

  // Writes memo `index`, or a new one behind the last.
  void Store(size_t index, Memo memo) {
    PDBByteStream stream(Page());
    int32_t offset = 0;
    for (const char c : memo.text + '\0') stream.SetByte(static_cast<uint8_t>(c), offset);
    memo.id = database_.Update(static_cast<int32_t>(index) + 1, memo.id, memo.category,
                               memo.attributes, stream.RecordBytes());
    memos.resize(std::max(memos.size(), index + 1));
    memos[index] = std::move(memo);
  }
  // Replaces the memo with this first line, or adds it.
  void Put(const std::string& title, std::string text, int16_t category, int32_t attributes) {
    size_t index = 0;
    while (index < memos.size() && !memos[index].text.starts_with(title + "\n")) ++index;
    Store(index,
          {index < memos.size() ? memos[index].id : 0, category, attributes, std::move(text)});
  }

  std::vector<Memo> memos;
};

constexpr char kMemos[] = "Memos";

class MemosTest : public testing::SampleRun<kMemos> {
 protected:
  void SetUp() override {
    SampleRun::SetUp();
    fs::create_directories(folder());
  }

  fs::path folder() const { return data() / "Memos"; }
  fs::path database() const { return data() / "MemoDB.pdb"; }

  // A file that lies in the folder of the device.
  fs::path Find(const char* name) const {
    for (const auto& entry : fs::recursive_directory_iterator(home())) {
      if (entry.path().filename() == name) return entry.path();
    }
    return {};
  }

  void Write(const fs::path& path, const std::string& text) const {
    fs::create_directories((folder() / path).parent_path());
    std::ofstream(folder() / path) << text;  // CR LF
  }
  // The memos as "category: text", with the mark of a change.
  std::multiset<std::string> Memos() const {
    std::multiset<std::string> memos;
    for (const Memo& memo : Handheld(database()).memos) {
      EXPECT_TRUE(memo.attributes == 0 || memo.attributes == eDirty) << memo.text;
      memos.insert(std::string(kCategories[static_cast<size_t>(memo.category)]) + ": " + memo.text +
                   (memo.attributes == eDirty ? " dirty" : ""));
    }
    return memos;
  }

  // The files of a folder and its sub-folders, by their path in it, with LF.
  static std::map<std::string, std::string> Files(const fs::path& folder) {
    std::map<std::string, std::string> files;
    if (!fs::exists(folder)) return files;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
      if (!entry.is_regular_file()) continue;
      std::string text = testing::ReadFile(entry.path());
      std::erase(text, '\r');
      files[fs::relative(entry.path(), folder).generic_string()] = text;
    }
    return files;
  }
};

TEST_F(MemosTest, BothSidesChange) {
  for (const char* folder : {"Home", "Work", "Other"}) {  // in the order of their numbers
    Write(fs::path(folder) / "Kept.txt", std::string("Kept ") + folder + "\n");
    Sync();
  }
  for (const std::string name :
       {"PC", "Both", "Alike", "Renamed", "Moved", "Vanished", "Returned", "Emptied", "Emptied too",
        "Line", "Category", "Deleted", "Archived", "Back", "Category too"}) {
    Write("Home/" + name + ".txt", name + "\nbase\n");
  }
  Sync();

  const auto move = [&](const char* from, const char* to) {
    fs::rename(folder() / "Home" / from, folder() / to);
  };
  for (const char* left : {"~memos-sync.tmp", "Home/~memos-sync.tmp"}) Write(left, "half a memo");
  for (const std::string name : {"PC", "Both", "Back"})
    Write("Home/" + name + ".txt", name + "\npc\n");
  for (const char* name : {"Emptied.txt", "Emptied too.txt"}) Write(fs::path("Home") / name, "");
  Write("Home/Alike.txt", "Alike\nboth\n");
  Write("Home/Added.txt", "Added\nbase\n");
  move("Renamed.txt", "Home/Chosen.txt");
  move("Moved.txt", "Work/Moved.txt");
  move("Category too.txt", "Work/Category too.txt");
  for (const char* name : {"Vanished.txt", "Returned.txt"}) fs::remove(folder() / "Home" / name);
  Handheld handheld(database());
  for (const std::string name : {"Both", "Renamed", "Returned", "Emptied"}) {
    handheld.Put(name, name + "\nhandheld\n", 1, eDirty);
  }
  handheld.Put("Alike", "Alike\nboth\n", 1, eDirty);
  handheld.Put("Moved", "New line, too\nbase\n", 1, eDirty);
  handheld.Put("Line", "New line\nbase\n", 1, eDirty);
  for (const std::string name : {"Category", "Category too"}) {
    handheld.Put(name, name + "\nbase\n", 3, eDirty);
  }
  for (const std::string name : {"Deleted", "Back", "Emptied too"}) {
    handheld.Put(name, name + "\nbase\n", 1, eDelete);
  }
  handheld.Put("Archived", "Archived\nbase\n", 1, eDelete | eArchive);
  handheld.Put("New", "New\nbase\n", 1, eDirty);
  handheld.Close();
  Sync();

  std::map<std::string, std::string> expected = {
      {"Home/Kept.txt", "Kept Home\n"},
      {"Work/Kept.txt", "Kept Work\n"},
      {"Other/Kept.txt", "Kept Other\n"},
      {"Home/PC.txt", "PC\npc\n"},
      {"Home/Both.txt", "Both\nhandheld\n"},
      {"Home/Both (conflict).txt", "Both\npc\n"},
      {"Home/Alike.txt", "Alike\nboth\n"},
      {"Home/Chosen.txt", "Renamed\nhandheld\n"},
      {"Work/New line, too.txt", "New line, too\nbase\n"},
      {"Home/Returned.txt", "Returned\nhandheld\n"},
      {"Home/New line.txt", "New line\nbase\n"},
      {"Other/Category.txt", "Category\nbase\n"},
      {"Work/Category too.txt", "Category too\nbase\n"},
      {"Home/Back.txt", "Back\npc\n"},
      {"Home/New.txt", "New\nbase\n"},
      {"Home/Added.txt", "Added\nbase\n"},
      {"Home/Emptied.txt", ""},
      {"Home/Emptied too.txt", ""},
  };
  EXPECT_EQ(Files(folder()), expected);
  EXPECT_EQ(Files(data() / "Archive"),
            (std::map<std::string, std::string>{{"Archived.txt", "Archived\nbase\n"}}));
  std::multiset<std::string> in_files = {"Home: Emptied\nhandheld\n dirty"};
  for (const auto& [path, text] : expected) {
    if (!text.empty()) in_files.insert(path.substr(0, path.find('/')) + ": " + text);
  }
  EXPECT_EQ(Memos(), in_files);
  EXPECT_NE(Log().find("Conflict: \"Both\" was changed on both sides"), std::string::npos) << Log();

  const auto before = Snapshot();
  Sync();
  EXPECT_EQ(Written(before, Snapshot()), std::set<std::string>()) << "nothing had changed";

  // Files that get their old text again one sync later: nothing was forgotten meanwhile.
  for (const std::string name : {"Emptied", "Emptied too"}) {
    Write("Home/" + name + ".txt", name + "\nbase\n");
  }
  Sync();
  EXPECT_EQ(Files(folder()).at("Home/Emptied.txt"), "Emptied\nhandheld\n");
  EXPECT_TRUE(Memos().contains("Home: Emptied too\nbase\n"));
}

TEST_F(MemosTest, AFileThatIsOpenGetsOneConflictCopyAndOnlyWhenItIsClosed) {
  Write("a.txt", "A\n");
  Sync();
  Write("a.txt", "A\npc\n");
  Handheld handheld(database());
  Memo memo = handheld.memos.at(0);
  memo.text = "A\nhandheld\n";
  memo.attributes = eDirty;
  handheld.Store(0, memo);
  handheld.Close();
  {
    const KernelHandle editor(::CreateFileW((folder() / "a.txt").c_str(), GENERIC_READ,
                                            FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    for (int i = 0; i < 2; ++i) Sync();
    EXPECT_EQ(Files(folder()), (std::map<std::string, std::string>{{"a.txt", "A\npc\n"}}));
  }
  Sync();
  EXPECT_EQ(Files(folder()), (std::map<std::string, std::string>{{"a.txt", "A\nhandheld\n"},
                                                                 {"a (conflict).txt", "A\npc\n"}}))
      << Log();
}

// Changes both sides at random, as their users would, and knows what must not get lost: every
// text, marked by a number of its own, that was written on either side and that nobody deleted or
// replaced since.
class MemosKilled : public MemosTest {
 protected:
  void ChangeFiles(int count) {
    auto files = Files(folder());
    std::erase_if(files, [](const auto& file) { return file.first.ends_with(".tmp"); });
    const auto put = [&](const std::string& path, const std::string& text) {
      Write(path, text);
      files[path] = text;
    };
    for (int i = 0; i < count; ++i) {
      const int what = Action(files.size());
      if (what == kNew) {
        put(FreePath("New " + std::to_string(Below(8))), NewText());
        continue;
      }
      const auto [path, text] = *std::next(files.begin(), Below(static_cast<int>(files.size())));
      const fs::path old(path);
      switch (what) {
        case kChange:
        case kChangeFirstLine:
          Forget(text);
          put(path, what == kChange ? Changed(text) : NewText());
          break;
        case kDelete:
          Forget(text);
          fs::remove(folder() / old);
          files.erase(path);
          break;
        default: {  // moved or renamed
          const std::string stem =
              Below(2) ? old.stem().string() : "Renamed " + std::to_string(Below(8));
          const std::string to = FreePath(stem);
          fs::rename(folder() / old, folder() / to);
          files.erase(path);
          files[to] = text;
        }
      }
    }
  }

  void ChangeMemos(int count) {
    Handheld handheld(database());
    for (int i = 0; i < count; ++i) {
      const int what = Action(handheld.memos.size());
      Memo memo;
      size_t index = handheld.memos.size();
      if (what != kNew) {
        index = static_cast<size_t>(Below(static_cast<int>(index)));
        memo = handheld.memos[index];
        if (memo.attributes & eDelete) continue;
      }
      memo.attributes = eDirty;
      switch (what) {
        case kNew:
          memo.category = static_cast<int16_t>(Below(4));
          memo.text = NewText();
          break;
        case kChange:
        case kChangeFirstLine:
          Forget(memo.text);
          memo.text = what == kChange ? Changed(memo.text) : NewText();
          break;
        case kDelete:
          Forget(memo.text);
          memo.attributes = Below(2) ? eDelete : eDelete | eArchive;
          break;
        default:
          memo.category = static_cast<int16_t>(Below(4));
      }
      handheld.Store(index, memo);
    }
    handheld.Close();
  }

  // The marks of what is there; a memo that is marked as deleted isn't.
  std::set<int> Marks() const {
    std::set<int> marks;
    for (const auto& [path, text] : Files(folder())) {
      if (!path.ends_with(".tmp")) marks.insert(MarkOf(text));
    }
    for (const Memo& memo : Handheld(database()).memos) {
      if (!(memo.attributes & eDelete)) marks.insert(MarkOf(memo.text));
    }
    return marks;
  }
  void ExpectNothingLost() const {
    const std::set<int> marks = Marks();
    for (const int mark : alive_)
      EXPECT_TRUE(marks.contains(mark)) << "mark " << mark << "\n" << Log();
  }

  // The marks that stand in several files.
  std::set<int> Doubled() const {
    std::set<int> once, doubled;
    for (const auto& [path, text] : Files(folder())) {
      if (!once.insert(MarkOf(text)).second) doubled.insert(MarkOf(text));
    }
    return doubled;
  }

  void ExpectBothSidesEqual() const {
    std::multiset<std::string> files;
    for (const auto& [path, text] : Files(folder())) {
      const size_t slash = path.find('/');
      files.insert((slash == std::string::npos ? "" : path.substr(0, slash)) + ": " + text);
    }
    EXPECT_EQ(files, Memos()) << Log();
  }

  // A run to its end. Its length is what the moments to kill others are drawn from.
  void TimedSync() {
    const uintmax_t old_log = fs::file_size(log());
    Process process = Start();
    const auto start = WaitForLog(process, old_log + 1);
    EXPECT_EQ(process.Wait().value_or(99), 0U) << Log();
    length_ = Clock::now() - start;
    lines_ = static_cast<int>(fs::file_size(log()) - old_log);
  }
  // At a random moment of the sync, or at a random step: once the log has got so long.
  void KillSync() {
    const uintmax_t old_log = fs::file_size(log());
    const Process process = Start();
    if (Below(2)) {
      const auto start = WaitForLog(process, old_log + 1);
      const auto time = length_ * std::uniform_real_distribution(0.0, 1.0)(random_);
      while (Clock::now() - start < time) ::SwitchToThread();
    } else {
      WaitForLog(process, old_log + 1 + static_cast<uintmax_t>(Below(lines_)));
    }
    const KernelHandle handle(::OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, process.id()));
    ::TerminateProcess(handle.get(), 99);
    ASSERT_EQ(::WaitForSingleObject(handle.get(), 60'000), WAIT_OBJECT_0);
  }
  double milliseconds() const { return length_.count() * 1000; }

  // Few first lines, so that many memos share theirs.
  std::string NewText() { return "Memo " + std::to_string(Below(12)) + "\n" + NewMark(); }
  int Below(int end) { return std::uniform_int_distribution(0, end - 1)(random_); }
  std::mt19937 random_;

 private:
  using Clock = std::chrono::steady_clock;

  // Waits until the log has this size, or the process ends. Its first line tells that the sync
  // begins: earlier there is nothing to disturb.
  Clock::time_point WaitForLog(const Process& process, uintmax_t size) {
    while (process.running() && fs::file_size(log()) < size) ::SwitchToThread();
    return Clock::now();
  }
  const fs::path& log() {
    if (log_.empty()) log_ = Find("Memos.log");
    return log_;
  }

  enum Actions { kNew, kChange, kChangeFirstLine, kDelete, kMove };
  // Keeps the number of memos at about 40.
  int Action(size_t memos) {
    const int what = Below(10);
    if (what < 2) return memos < 40 ? kNew : kDelete;
    return what < 5 ? kChange : what < 7 ? kChangeFirstLine : kMove;
  }

  static int MarkOf(const std::string& text) {
    const size_t at = text.find("mark ");
    return at == std::string::npos ? 0 : std::stoi(text.substr(at + 5));
  }
  std::string Changed(const std::string& text) {
    return text.substr(0, text.find('\n') + 1) + NewMark();
  }
  std::string NewMark() {
    alive_.insert(++mark_);
    return "mark " + std::to_string(mark_) + "\n";
  }
  void Forget(const std::string& text) { alive_.erase(MarkOf(text)); }

  std::string FreePath(const std::string& stem) {
    const fs::path parent = kCategories[static_cast<size_t>(Below(4))];
    fs::path path = parent / (stem + ".txt");
    for (int n = 2; fs::exists(folder() / path); ++n) {
      path = parent / (stem + " (" + std::to_string(n) + ").txt");
    }
    return path.generic_string();
  }

  fs::path log_;
  std::chrono::duration<double> length_{};
  int lines_ = 1;  // bytes of them
  std::set<int> alive_;
  int mark_ = 0;
};

// PYLON_KILLS=200 kills so often; what runs by default takes half a minute. PYLON_SEED repeats the
// changes of another run; how far its syncs had come when they were killed is up to the machine.
TEST_F(MemosKilled, NothingIsLostAndTheNextSyncConverges) {
  const auto setting = [](const char* name, int otherwise) {
    const char* const value = std::getenv(name);
    return value ? std::stoi(value) : otherwise;
  };
  // The 32-bit program is the same code: there a few show that it works at all.
  const int kills = setting("PYLON_KILLS", sizeof(void*) == 8 ? 50 : 10);
  const int seed = setting("PYLON_SEED", static_cast<int>(std::random_device{}() & 0xFFFF));
  std::cout << "seed " << seed << std::endl;
  random_.seed(static_cast<unsigned>(seed));
  SCOPED_TRACE("PYLON_SEED=" + std::to_string(seed));

  for (const char* category : {"Home", "Work", "Other"}) {  // in the order of their numbers
    Write(fs::path(category) / "first.txt", NewText());
    Sync();
  }
  ChangeFiles(40);
  ChangeMemos(20);
  TimedSync();
  const fs::path index = Find("MemoDB.si");

  std::array<int, 4> reached = {};
  std::set<int> doubled = Doubled();
  bool changed_since_kill = false;
  for (int kill = 1; kill <= kills && !HasFailure(); ++kill) {
    SCOPED_TRACE("kill " + std::to_string(kill));
    ChangeFiles(12);
    ChangeMemos(12);
    const auto before = Snapshot();
    KillSync();
    const std::set<std::string> written = Written(before, Snapshot());
    int progress = written.empty() ? 0 : !written.contains("MemoDB.pdb") ? 1 : 2;
    if (written.contains("MemoDB.si")) {
      progress = 3;
      // Between the two saves lies next to no time, so some late kills are turned into such.
      if (Below(2)) {
        std::ofstream(index, std::ios::binary) << before.at(index).first;
        progress = 2;
      }
    }
    ++reached[static_cast<size_t>(progress)];
    ExpectNothingLost();
    // Now and then both sides change again, and the next sync is killed, too.
    if (Below(3) == 0) {
      changed_since_kill = true;
      continue;
    }
    TimedSync();
    ExpectNothingLost();
    ExpectBothSidesEqual();
    // A conflict that was cut short is not kept twice, unless one of its texts has changed.
    const std::set<int> old_doubled = std::exchange(doubled, Doubled());
    if (!changed_since_kill) {
      EXPECT_TRUE(std::ranges::includes(old_doubled, doubled)) << Log();
    }
    changed_since_kill = false;
    const auto settled = Snapshot();
    Sync();
    EXPECT_EQ(Written(settled, Snapshot()), std::set<std::string>()) << Log();
  }
  std::cout << "killed before the first change: " << reached[0]
            << ", amid the files: " << reached[1] << ", between database and index: " << reached[2]
            << ", after both: " << reached[3] << "; the last sync took " << milliseconds() << " ms"
            << std::endl;
}

}  // namespace
}  // namespace pylon
