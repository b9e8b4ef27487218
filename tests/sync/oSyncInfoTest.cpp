#include "sync/oSyncInfo.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/Text.h"
#include "sync/FilePanel.h"

namespace pylon {
namespace {

constexpr int32_t kHighest = std::numeric_limits<int32_t>::max();
constexpr int32_t kLowest = std::numeric_limits<int32_t>::min();

// Keeps what a window would show and, in order, what was called.
struct FakeView final : StatusView {
  std::vector<std::string> calls;
  std::u16string main_label = u"old main";
  std::u16string detail_label = u"old detail";
  ProgressBar bar;
  bool cancel_enabled = true;
  std::function<void()> on_call = [] {};
  std::function<void()> on_events = [] {};

  void Call(const char* name) {
    calls.emplace_back(name);
    on_call();
  }
  void ShowForm() override { Call("ShowForm"); }
  void SetHeading(const StatusHeading&) override { Call("SetHeading"); }
  void SetMainLabel(std::u16string_view text) override {
    Call("SetMainLabel");
    main_label = text;
  }
  void SetDetailLabel(std::u16string_view text) override {
    Call("SetDetailLabel");
    detail_label = text;
  }
  void SetBar(const ProgressBar& shown) override {
    Call("SetBar");
    bar = shown;
  }
  void EnableCancel(bool enable) override {
    Call("EnableCancel");
    cancel_enabled = enable;
  }
  void ProcessEvents() override {
    Call("ProcessEvents");
    on_events();
  }
  void ShowFilePanel(bool show) override { Call(show ? "ShowFilePanel" : "HideFilePanel"); }
  void SetFileProgress(std::u16string_view label, const ProgressBar& file_bar) override {
    Call((ToUtf8(label) + " " + std::to_string(file_bar.value()) + " of " +
          std::to_string(file_bar.maximum()))
             .c_str());
  }
};

// The object only holds on to what it is given, so any owner will do.
template <class T>
std::shared_ptr<T> HeldBy(const std::shared_ptr<int>& owner) {
  return std::shared_ptr<T>(owner, reinterpret_cast<T*>(owner.get()));
}

struct FakeLog final : LogSink {
  std::vector<std::u16string> lines;
  void UpdateLog(std::u16string_view line) noexcept override { lines.emplace_back(line); }
};

struct SyncInfo : testing::Test {
  FakeView view;
  FakeLog log;
  oSyncInfo sync{view, log};
  using Calls = std::vector<std::string>;
};

TEST_F(SyncInfo, BarOperations) {
  // Each starts from a bar of maximum 10 at 5.
  const struct {
    const char* name;
    void (*act)(oSyncInfo&);
    int32_t maximum, value;
    bool shown;   // the window heard of it
    bool pumped;  // and processed its input
  } cases[] = {
      {"maximum", [](oSyncInfo& s) { s.UpdateStatusMaxBar(20); }, 20, 0, true, true},
      {"maximum 0", [](oSyncInfo& s) { s.UpdateStatusMaxBar(0); }, 1, 0, true, false},
      {"maximum -1", [](oSyncInfo& s) { s.UpdateStatusMaxBar(-1); }, 10, 5, false, false},
      {"value 9", [](oSyncInfo& s) { s.UpdateStatusBarValue(9); }, 10, 9, true, true},
      {"value 0", [](oSyncInfo& s) { s.UpdateStatusBarValue(0); }, 10, 0, true, true},
      {"value 10", [](oSyncInfo& s) { s.UpdateStatusBarValue(10); }, 10, 5, false, false},
      {"value -1", [](oSyncInfo& s) { s.UpdateStatusBarValue(-1); }, 10, 5, false, false},
      {"up to 9", [](oSyncInfo& s) { s.UpdateStatusIncrementBar(4); }, 10, 9, true, true},
      {"up to 10", [](oSyncInfo& s) { s.UpdateStatusIncrementBar(5); }, 10, 5, false, false},
      {"by nothing", [](oSyncInfo& s) { s.UpdateStatusIncrementBar(0); }, 10, 5, true, true},
      {"down to 0", [](oSyncInfo& s) { s.UpdateStatusIncrementBar(-5); }, 10, 0, true, true},
      {"below 0", [](oSyncInfo& s) { s.UpdateStatusIncrementBar(-6); }, 10, 5, false, false},
      {"far up", [](oSyncInfo& s) { s.UpdateStatusIncrementBar(kHighest); }, 10, 5, false, false},
      {"far down", [](oSyncInfo& s) { s.UpdateStatusIncrementBar(kLowest); }, 10, 5, false, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    sync.UpdateStatusMaxBar(10);
    sync.UpdateStatusBarValue(5);
    view.calls.clear();
    c.act(sync);
    Calls expected;
    if (c.shown) expected.emplace_back("SetBar");
    if (c.pumped) expected.emplace_back("ProcessEvents");
    EXPECT_EQ(view.calls, expected);
    EXPECT_EQ(view.bar.maximum(), c.maximum);
    EXPECT_EQ(view.bar.value(), c.value);
  }
  // At the top of the range nothing wraps.
  sync.UpdateStatusMaxBar(kHighest);
  sync.UpdateStatusBarValue(kHighest - 1);
  sync.UpdateStatusIncrementBar(kHighest);
  EXPECT_EQ(view.bar.value(), kHighest - 1);
}

TEST_F(SyncInfo, MainStartsAPhaseAndDetailLetsACancelIn) {
  sync.SetCancelSync(true);
  EXPECT_FALSE(view.cancel_enabled);
  view.calls.clear();
  sync.UpdateStatusMain(u"Phase & two");
  EXPECT_EQ(view.calls, (Calls{"ShowForm", "SetMainLabel", "SetDetailLabel", "EnableCancel"}));
  EXPECT_EQ(view.main_label, u"Phase & two");
  EXPECT_EQ(view.detail_label, u"");
  EXPECT_FALSE(sync.CancelSync());
  EXPECT_TRUE(view.cancel_enabled);

  view.calls.clear();
  view.on_events = [this] { sync.SetCancelSync(true); };
  sync.UpdateStatusDetail(u"Record 1");
  EXPECT_EQ(view.calls, (Calls{"SetDetailLabel", "ProcessEvents", "EnableCancel"}));
  EXPECT_EQ(view.detail_label, u"Record 1");
  EXPECT_TRUE(sync.CancelSync());
  EXPECT_FALSE(view.cancel_enabled);

  sync.UpdateLog(u"one");
  sync.UpdateLog(u"");
  EXPECT_EQ(log.lines, (std::vector<std::u16string>{u"one", u""}));
}

const struct {
  const char* name;
  void (*act)(oSyncInfo&);
} kOperations[] = {
    {"main", [](oSyncInfo& s) { s.UpdateStatusMain(u"m"); }},
    {"detail", [](oSyncInfo& s) { s.UpdateStatusDetail(u"d"); }},
    {"maximum", [](oSyncInfo& s) { s.UpdateStatusMaxBar(7); }},
    {"increment", [](oSyncInfo& s) { s.UpdateStatusIncrementBar(0); }},
    {"value", [](oSyncInfo& s) { s.UpdateStatusBarValue(0); }},
    {"log", [](oSyncInfo& s) { s.UpdateLog(u"l"); }},
    {"cancel", [](oSyncInfo& s) { s.SetCancelSync(true); }},
};

TEST_F(SyncInfo, NoErrorOfTheWindowReachesTheComponent) {
  view.on_call = [] { throw std::runtime_error("the window is broken"); };
  sync.SetCancelSync(true);
  for (const auto& operation : kOperations) {
    SCOPED_TRACE(operation.name);
    EXPECT_NO_THROW(operation.act(sync));
  }
  sync.UpdateStatusMain(u"");
  EXPECT_FALSE(sync.CancelSync());
}

TEST_F(SyncInfo, DetachedItHoldsNothingAndDoesNothing) {
  auto owner = std::make_shared<int>();
  const std::weak_ptr<int> watch = owner;
  sync.SetFileSystem(HeldBy<PDBFileSystem>(owner));
  sync.SetConduitInfo(HeldBy<CConduitInfo>(owner));
  sync.SetDevice(HeldBy<CDevice>(owner));
  EXPECT_EQ(sync.FileSystem(), HeldBy<PDBFileSystem>(owner));
  EXPECT_EQ(sync.ConduitInfo(), HeldBy<CConduitInfo>(owner));
  EXPECT_EQ(sync.Device(), HeldBy<CDevice>(owner));
  owner.reset();
  sync.SetCancelSync(true);
  sync.Detach();
  view.calls.clear();

  EXPECT_TRUE(watch.expired());
  EXPECT_FALSE(sync.FileSystem() || sync.Device() || sync.ConduitInfo());
  for (const auto& operation : kOperations) operation.act(sync);
  sync.SetDevice(HeldBy<CDevice>(std::make_shared<int>()));
  EXPECT_FALSE(sync.Device());
  EXPECT_TRUE(view.calls.empty());
  EXPECT_TRUE(log.lines.empty());
  EXPECT_TRUE(sync.CancelSync());
}

// The end of the sync may arrive at every step; nothing of the window is touched after it.
TEST_F(SyncInfo, DetachMayRunInsideAnyStep) {
  for (const auto& operation : kOperations) {
    for (size_t step = 1; step <= 4; ++step) {
      SCOPED_TRACE(std::string(operation.name) + ", step " + std::to_string(step));
      FakeView window;
      oSyncInfo own(window, log);
      window.on_call = [&] {
        ASSERT_LE(window.calls.size(), step);
        if (window.calls.size() == step) own.Detach();
      };
      operation.act(own);
    }
  }
}

TEST(FilePanel, ShowsACopyAndHandsOnCancelAsLongAsThereIsAWindow) {
  FakeView view;
  FakeLog log;
  const auto sync = std::make_shared<oSyncInfo>(view, log);
  FilePanel panel(view, sync);
  panel.ShowFile(u"x.pdb", 100);
  panel.Advance(50);
  panel.Advance(100);  // no bar is ever full
  panel.HideFile();
  EXPECT_EQ(view.calls, (std::vector<std::string>{
                            "x.pdb 0 of 100", "ShowFilePanel", "ProcessEvents", "x.pdb 50 of 100",
                            "ProcessEvents", "ProcessEvents", "HideFilePanel"}));
  EXPECT_FALSE(panel.IsStopped());
  sync->SetCancelSync(true);
  EXPECT_TRUE(panel.IsStopped());

  view.on_call = [&] { panel.Detach(); };  // within any step
  panel.ShowFile(u"y", 1);
  view.calls.clear();
  panel.ShowFile(u"z", 1);
  panel.Advance(0);
  panel.Yield();
  panel.HideFile();
  EXPECT_TRUE(view.calls.empty());
}

}  // namespace
}  // namespace pylon
