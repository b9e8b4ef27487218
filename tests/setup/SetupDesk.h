#pragma once

#include <commctrl.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/AutomationError.h"
#include "conduits/ConduitComponent.h"
#include "setup/SetupForm.h"
#include "tests/toolkit/Desktop.h"

namespace pylon::testing {

using namespace testing_windows;

// Conduits that need no registration: every class is one but those of the library "No".
struct FakeComponent final : ConduitComponent {
  explicit FakeComponent(std::u16string class_id) : name(std::move(class_id)) {}
  std::u16string GetConduitInfo(eConduitType type) override {
    if (type == ctApplicationName) return u"The " + name;
    if (type == ctVersion) return u"1.2";
    if (type == ctCreatorID) return name == u"Lib.Memos" ? u"memo" : u"";
    return type == ctAuthor ? u"Somebody" : u"";
  }
  void BeginSynchronize(const std::shared_ptr<oSyncInfo>&) override {}
  void ConfigureConduit() override {
    ++configured;
    if (name == u"Lib.Broken") throw AutomationError(5, u"Lib", u"no settings today");
  }
  void SynchronizeClose() override {}
  std::u16string name;
  static inline int configured = 0;
};

struct FakeFactory final : ComponentFactory {
  Result Create(std::u16string_view class_id) override {
    ++created;
    on_create();
    Result result;
    if (class_id.starts_with(u"No.")) {
      result.failure = Failure::kNotCreated;
      result.reason = u"no such class";
    } else {
      result.component = std::make_unique<FakeComponent>(std::u16string(class_id));
    }
    return result;
  }
  int created = 0;
  std::function<void()> on_create = [] {};
};

// Answers the message boxes that come up while it lives, with Enter's button or another.
class BoxAnswer {
 public:
  explicit BoxAnswer(int button = IDOK) {
    button_ = button;
    text_.clear();
    timer_ = ::SetTimer(nullptr, 0, 20, Answer);
  }
  ~BoxAnswer() { ::KillTimer(nullptr, timer_); }
  BoxAnswer(const BoxAnswer&) = delete;
  BoxAnswer& operator=(const BoxAnswer&) = delete;
  const std::u16string& text() const { return text_; }
  bool Has(std::u16string_view part) const { return text_.find(part) != text_.npos; }

 private:
  static void CALLBACK Answer(HWND, UINT, UINT_PTR, DWORD) {
    const HWND box = ::FindWindowW(L"#32770", nullptr);
    if (!box || !::IsWindowVisible(box)) return;  // shown once its texts are in place
    for (HWND part = ::GetWindow(box, GW_CHILD); part; part = ::GetWindow(part, GW_HWNDNEXT)) {
      // By message: the box may be another process's.
      wchar_t text[1024] = L"";
      ::SendMessageW(part, WM_GETTEXT, 1024, reinterpret_cast<LPARAM>(text));
      text_ += FromWide(text) + u"|";
    }
    ::PostMessageW(box, WM_COMMAND, static_cast<WPARAM>(button_), 0);
  }
  static inline std::u16string text_;
  static inline int button_ = IDOK;
  UINT_PTR timer_;
};

// Hands the waiting messages to the window first, as the program does.
inline void Pump(SetupForm& window) {
  MSG message;
  while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    if (window.TranslateDialogMessage(message)) continue;
    ::TranslateMessage(&message);
    ::DispatchMessageW(&message);
  }
}
template <class Condition>
bool PumpUntil(SetupForm& window, Condition condition) {
  for (int i = 0; i < 1000; ++i) {
    Pump(window);
    if (condition()) return true;
    ::Sleep(10);
  }
  return false;
}

// A key that goes down in a control, with Ctrl or Shift held for the time.
inline void Press(SetupForm& window, HWND control, WPARAM key, int held = 0) {
  BYTE keys[256] = {};
  if (held) {
    keys[held] = 0x80;
    ::SetKeyboardState(keys);
  }
  ::PostMessageW(control, WM_KEYDOWN, key, 1);
  Pump(window);
  if (held) {
    keys[held] = 0;
    ::SetKeyboardState(keys);
  }
}
inline void Click(HWND window, int id) { ::SendMessageW(::GetDlgItem(window, id), BM_CLICK, 0, 0); }
inline void Type(HWND window, int id, const std::u16string& text) {
  ::SetWindowTextW(::GetDlgItem(window, id), Wide(text));
  ::SendMessageW(window, WM_COMMAND, static_cast<WPARAM>(MAKELONG(id, EN_CHANGE)), 0);
}
inline std::u16string TextIn(HWND window, int id) {
  return testing_windows::TextOf(::GetDlgItem(window, id));
}
inline std::u16string CellOf(HWND list, int row, int column) {
  wchar_t text[256] = L"";
  ListView_GetItemText(list, row, column, text, 256);
  return FromWide(text);
}
// The colour in which a list's row is drawn: black unless the window says otherwise.
inline COLORREF ColourOf(HWND list, int row) {
  NMLVCUSTOMDRAW draw = {};
  draw.nmcd.hdr = {list, static_cast<UINT_PTR>(::GetDlgCtrlID(list)),
                   static_cast<UINT>(NM_CUSTOMDRAW)};
  draw.nmcd.dwDrawStage = CDDS_ITEMPREPAINT;
  draw.nmcd.dwItemSpec = static_cast<DWORD_PTR>(row);
  ::SendMessageW(::GetParent(list), WM_NOTIFY, draw.nmcd.hdr.idFrom,
                 reinterpret_cast<LPARAM>(&draw));
  return draw.clrText;
}
inline bool Enabled(HWND window, int id) { return ::IsWindowEnabled(::GetDlgItem(window, id)); }

// Every button, label and group is as wide as its text, at this DPI. Those without a prefix hold
// what others wrote and may be cut with an ellipsis.
inline void ExpectTextsFit(HWND window) {
  for (HWND part = ::GetWindow(window, GW_CHILD); part; part = ::GetWindow(part, GW_HWNDNEXT)) {
    wchar_t name[32] = L"";
    ::GetClassNameW(part, name, 32);
    const auto style = static_cast<DWORD>(::GetWindowLongPtrW(part, GWL_STYLE));
    const bool button = !::lstrcmpiW(name, L"BUTTON");
    const bool label = !::lstrcmpiW(name, L"STATIC") &&
                       (style & SS_ENDELLIPSIS) == SS_ENDELLIPSIS && !(style & SS_NOPREFIX);
    if (!(style & WS_VISIBLE) || !(button || label)) continue;
    EXPECT_TRUE(TextFits(part)) << "control " << ::GetDlgCtrlID(part);
  }
}

// At every DPI all controls are in their places and their texts fit; the client grows as the system
// suggests it. The size is that of the window at 96 DPI, its own when it isn't given.
inline void ExpectTidyAtEveryDpi(HWND window, SIZE size = {}) {
  RECT at_96 = {};
  ::GetWindowRect(window, &at_96);
  if (!size.cx) size = {at_96.right - at_96.left, at_96.bottom - at_96.top};
  for (const int dpi : {96, 144, 192, 96}) {
    SCOPED_TRACE(std::to_string(dpi) + " DPI");
    RECT rect = {0, 0, ::MulDiv(size.cx, dpi, 96), ::MulDiv(size.cy, dpi, 96)};
    ::SendMessageW(window, WM_DPICHANGED, static_cast<WPARAM>(MAKELONG(dpi, dpi)),
                   reinterpret_cast<LPARAM>(&rect));
    ExpectTidy(window);
    ExpectTextsFit(window);
  }
}

// The Tab key reaches every enabled control from the top left downwards, group by group, once.
inline std::vector<int> TabOrder(HWND window) {
  std::vector<int> order;
  const HWND first = ::GetNextDlgTabItem(window, nullptr, FALSE);
  HWND at = first;
  do {
    order.push_back(::GetDlgCtrlID(at));
    at = ::GetNextDlgTabItem(window, at, FALSE);
  } while (at && at != first && order.size() < 100);
  return order;
}

}  // namespace pylon::testing
