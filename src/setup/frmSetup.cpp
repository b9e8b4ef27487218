#include "setup/frmSetup.h"

#include <commctrl.h>
#include <shellapi.h>

#include <algorithm>
#include <iterator>
#include <optional>

#include "base/Text.h"
#include "conduits/cConduitList.h"
#include "files/ProgramFiles.h"
#include "setup/StartProcess.h"
#include "setup/SyncCommand.h"
#include "sync/ConduitIcon.h"

namespace pylon {
namespace {

constexpr wchar_t kTitle[] = L"Pylon Manager";
constexpr wchar_t kSyncText[] = L"&Sync to PC files";
constexpr wchar_t kEditText[] = L"&Edit settings";
constexpr wchar_t kCloseText[] = L"&Close";
constexpr char16_t kFilePrefix[] = u"Settings file: ";
constexpr wchar_t kHintText[] =
    L"No conduits are registered yet.\r\n"
    L"\r\n"
    L"To register one, choose Edit settings and add a section that is named by the application id, "
    L"with the class name of the conduit component:\r\n"
    L"\r\n"
    L"[MyApp]\r\n"
    L"ClassID=MyLibrary.MyConduit\r\n"
    L"\r\n"
    L"Save the file and come back to this window, or press F5.";
constexpr char16_t kUnreadable[] =
    u"The settings file could not be read, so no conduits are listed:\r\n\r\n";
constexpr char16_t kReadAgain[] =
    u"\r\n\r\nClose the program that uses it, or see to it that you may read it; then press F5.";
constexpr char16_t kCannotStart[] =
    u"This conduit can't be started by its application id, which is empty, holds a double quote or "
    u"begins with '-' or '/'. Change the name of its section in the settings file.";

struct Column {
  const wchar_t* title;
  int width;  // units
};
constexpr Column kColumns[] = {
    {L"Application", 160}, {L"AppId", 100}, {L"Version", 70}, {L"Author", 120}, {L"Class", 150}};

// Units.
constexpr int kWidth = 660;
constexpr int kHeight = 380;
constexpr int kLeastWidth = 460;
constexpr int kLeastHeight = 300;
constexpr int kMargin = 12;
constexpr int kGap = 8;
constexpr int kButtonWidth = 120;
constexpr int kButtonHeight = 28;
constexpr int kHintMargin = 16;

constexpr UINT kReload = WM_APP;

uint64_t WriteTime(const std::u16string& file) noexcept {
  WIN32_FILE_ATTRIBUTE_DATA data = {};
  if (!::GetFileAttributesExW(Wide(file), GetFileExInfoStandard, &data)) return 0;
  return uint64_t{data.ftLastWriteTime.dwHighDateTime} << 32 | data.ftLastWriteTime.dwLowDateTime;
}

// Raises a flag and shows the busy cursor as long as it lives.
class Busy {
 public:
  explicit Busy(bool& flag) noexcept
      : flag_(flag), cursor_(::SetCursor(::LoadCursorW(nullptr, MAKEINTRESOURCEW(32514)))) {
    flag_ = true;
  }
  ~Busy() {
    ::SetCursor(cursor_);
    flag_ = false;
  }
  Busy(const Busy&) = delete;
  Busy& operator=(const Busy&) = delete;

 private:
  bool& flag_;
  HCURSOR cursor_;
};

}  // namespace

frmSetup::~frmSetup() { Destroy(); }

void frmSetup::Create() {
  const INITCOMMONCONTROLSEX controls = {sizeof(controls),
                                         ICC_LISTVIEW_CLASSES | ICC_STANDARD_CLASSES};
  ::InitCommonControlsEx(&controls);
  Window::Create({L"Pylon.frmSetup", WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN,
                  WS_EX_APPWINDOW | WS_EX_CONTROLPARENT, COLOR_BTNFACE},
                 kTitle);
}

void frmSetup::Show() {
  Create();
  ::ShowWindow(handle(), SW_SHOWNORMAL);
}

bool frmSetup::TranslateDialogMessage(MSG& message) {
  if (!handle()) return false;
  const bool ours = message.hwnd == handle() || ::IsChild(handle(), message.hwnd);
  if (ours && message.message == WM_KEYDOWN && message.wParam == VK_F5) {
    OnReload();
    return true;
  }
  return ::IsDialogMessageW(handle(), &message) != FALSE;
}

LRESULT frmSetup::OnMessage(UINT message, WPARAM wparam, LPARAM lparam) {
  switch (message) {
    case WM_CREATE:
      OnCreate();
      return 0;
    case WM_SIZE:
      if (wparam != SIZE_MINIMIZED) Arrange();
      return 0;
    case WM_GETMINMAXINFO:
      reinterpret_cast<MINMAXINFO*>(lparam)->ptMinTrackSize = {Scaled(kLeastWidth),
                                                               Scaled(kLeastHeight)};
      return 0;
    case WM_ACTIVATE:
      if (LOWORD(wparam) != WA_INACTIVE) OnActivate();
      return ::DefWindowProcW(handle(), message, wparam, lparam);
    case WM_SETFOCUS:
      ::SetFocus(Control(conduits_.Count() ? kList : kEdit));
      return 0;
    case DM_GETDEFID:
      return MAKELRESULT(kSync, DC_HASDEFID);
    case WM_COMMAND:
      OnCommand(LOWORD(wparam));
      return 0;
    case WM_NOTIFY:
      OnNotify(*reinterpret_cast<const NMHDR*>(lparam));
      return 0;
    case kReload:
      OnReload();
      return 0;
    case WM_CTLCOLORSTATIC:
      if (reinterpret_cast<HWND>(lparam) != Control(kHint)) break;
      ::SetTextColor(reinterpret_cast<HDC>(wparam), ::GetSysColor(COLOR_WINDOWTEXT));
      ::SetBkColor(reinterpret_cast<HDC>(wparam), ::GetSysColor(COLOR_WINDOW));
      return reinterpret_cast<LRESULT>(::GetSysColorBrush(COLOR_WINDOW));
    case WM_CLOSE:
      OnCommand(kClose);
      return 0;
    case WM_DPICHANGED:
      OnDpiChanged(HIWORD(wparam), *reinterpret_cast<const RECT*>(lparam));
      return 0;
    case WM_SETTINGCHANGE:  // the message font may be another one
      TakeFont();
      Arrange();
      return 0;
    default:
      break;
  }
  return ::DefWindowProcW(handle(), message, wparam, lparam);
}

void frmSetup::OnCreate() {
  const HWND list =
      AddControl(WC_LISTVIEWW, L"", LVS_REPORT | LVS_SINGLESEL | LVS_SHOWSELALWAYS | WS_TABSTOP,
                 kList, WS_EX_CLIENTEDGE);
  ListView_SetExtendedListViewStyle(list,
                                    LVS_EX_FULLROWSELECT | LVS_EX_DOUBLEBUFFER | LVS_EX_LABELTIP);
  for (const Column& column : kColumns) {
    LVCOLUMNW header = {};
    header.mask = LVCF_TEXT;
    header.pszText = const_cast<wchar_t*>(column.title);
    ::SendMessageW(list, LVM_INSERTCOLUMNW, static_cast<WPARAM>(&column - kColumns),
                   reinterpret_cast<LPARAM>(&header));
  }
  // In the list's place, and an edit control so that its lines can be copied.
  AddControl(L"EDIT", kHintText, ES_MULTILINE | ES_READONLY | WS_TABSTOP, kHint, WS_EX_CLIENTEDGE);
  AddControl(L"STATIC", Wide(kFilePrefix + conduits_.FileName()), SS_NOPREFIX | SS_PATHELLIPSIS,
             kFile);
  AddControl(L"BUTTON", kSyncText, BS_DEFPUSHBUTTON | WS_TABSTOP, kSync);
  AddControl(L"BUTTON", kEditText, BS_PUSHBUTTON | WS_TABSTOP, kEdit);
  AddControl(L"BUTTON", kCloseText, BS_PUSHBUTTON | WS_TABSTOP, kClose);
  TakeFont();
  SetIcons(ProgramIcon(Scaled(32)), ProgramIcon(Scaled(16)));
  TakeColumns();
  file_time_ = WriteTime(conduits_.FileName());
  FillList();
  SetOuterSize({Scaled(kWidth), Scaled(kHeight)});
  CentreOnWorkArea();
}

void frmSetup::OnCommand(int id) {
  if (reloading_) return;
  switch (id) {
    case kSync:
      OnSync();
      break;
    case kEdit:
      OnEdit();
      break;
    case kClose:
      Destroy();
      if (on_close) on_close();
      break;
    default:
      break;
  }
}

void frmSetup::OnNotify(const NMHDR& header) {
  if (header.idFrom == kList && header.code == LVN_ITEMCHANGED && !reloading_) TakeSelection();
}

void frmSetup::OnActivate() {
  // Not from here: describing the conduits again takes time and may pump messages.
  if (!reloading_ && WriteTime(conduits_.FileName()) != file_time_) {
    ::PostMessageW(handle(), kReload, 0, 0);
  }
}

void frmSetup::OnDpiChanged(int dpi, const RECT& suggested) {
  MoveToDpi(dpi, suggested);
  TakeFont();
  SetIcons(ProgramIcon(Scaled(32)), ProgramIcon(Scaled(16)));
  TakeColumns();
  Arrange();
}

void frmSetup::OnSync() {
  const int16_t index = Selected();
  if (index == 0) return;
  const std::optional<std::u16string> arguments = SyncArguments(conduits_.AppId(index));
  if (!arguments) {
    ShowError(kCannotStart);
    return;
  }
  const std::u16string program = ProgramPath();
  if (const DWORD code = StartProcess(program, u"\"" + program + u"\" " + *arguments)) {
    ShowError(u"The sync could not be started: " + SystemReason(code));
  }
}

void frmSetup::OnEdit() {
  const std::u16string parameter = u"\"" + conduits_.FileName() + u"\"";
  SHELLEXECUTEINFOW run = {};
  run.cbSize = sizeof(run);
  run.fMask = SEE_MASK_FLAG_NO_UI;
  run.hwnd = handle();
  run.lpVerb = L"open";
  run.lpFile = L"notepad.exe";
  run.lpParameters = Wide(parameter);
  run.nShow = SW_SHOWNORMAL;
  if (!::ShellExecuteExW(&run)) {
    ShowError(u"Notepad could not be started: " + SystemReason(::GetLastError()));
  }
}

void frmSetup::OnReload() {
  if (reloading_) return;
  {
    const Busy busy(reloading_);
    file_time_ = WriteTime(conduits_.FileName());
    conduits_.Reload();
  }
  if (handle()) FillList();
}

int16_t frmSetup::Selected() const noexcept {
  return static_cast<int16_t>(ListView_GetNextItem(Control(kList), -1, LVNI_SELECTED) + 1);
}

void frmSetup::FillList() {
  const HWND list = Control(kList);
  const int selected = Selected();
  wchar_t selected_app[256] = L"";
  if (selected) {
    ListView_GetItemText(list, selected - 1, 1, selected_app,
                         static_cast<int>(std::size(selected_app)));
  }
  ::SendMessageW(list, WM_SETREDRAW, FALSE, 0);
  ListView_DeleteAllItems(list);
  int16_t chosen = 1;
  const int16_t count = conduits_.Count();
  for (int16_t row = 0; row < count; ++row) {
    const auto index = static_cast<int16_t>(row + 1);
    AddRow(index);
    if (conduits_.AppId(index) == FromWide(selected_app)) chosen = index;
  }
  ListView_SetItemState(list, chosen - 1, LVIS_SELECTED | LVIS_FOCUSED,
                        LVIS_SELECTED | LVIS_FOCUSED);
  ::SendMessageW(list, WM_SETREDRAW, TRUE, 0);
  const std::u16string& unread = conduits_.LoadError();
  ::SetWindowTextW(Control(kHint),
                   unread.empty() ? kHintText : Wide(kUnreadable + unread + kReadAgain));
  ::ShowWindow(list, count ? SW_SHOWNA : SW_HIDE);
  ::ShowWindow(Control(kHint), count ? SW_HIDE : SW_SHOWNA);
  TakeSelection();
  ::RedrawWindow(handle(), nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN);
}

void frmSetup::AddRow(int16_t index) {
  const std::u16string cells[] = {conduits_.ApplicationName(index), conduits_.AppId(index),
                                  conduits_.Version(index), conduits_.Author(index),
                                  conduits_.ClassId(index)};
  static_assert(std::size(cells) == std::size(kColumns));
  LVITEMW item = {};
  item.iItem = index - 1;
  for (const std::u16string& cell : cells) {
    item.mask = LVIF_TEXT;
    item.pszText = const_cast<wchar_t*>(Wide(cell));
    const UINT message = item.iSubItem == 0 ? LVM_INSERTITEMW : LVM_SETITEMW;
    ::SendMessageW(Control(kList), message, 0, reinterpret_cast<LPARAM>(&item));
    ++item.iSubItem;
  }
}

void frmSetup::TakeSelection() { ::EnableWindow(Control(kSync), Selected() != 0); }

void frmSetup::TakeFont() {
  Font font = MessageFont(dpi());
  for (const ControlId id : {kList, kHint, kFile, kSync, kEdit, kClose}) {
    ::SendMessageW(Control(id), WM_SETFONT, reinterpret_cast<WPARAM>(font.get()), TRUE);
  }
  font_ = std::move(font);
}

void frmSetup::TakeColumns() {
  for (const Column& column : kColumns) {
    ListView_SetColumnWidth(Control(kList), &column - kColumns, Scaled(column.width));
  }
  FillWidth();
}

void frmSetup::FillWidth() {
  int used = 0;
  for (size_t i = 0; i + 1 < std::size(kColumns); ++i) {
    used += ListView_GetColumnWidth(Control(kList), i);
  }
  RECT client = {};
  ::GetClientRect(Control(kList), &client);
  const int last =
      std::max(Scaled(std::rbegin(kColumns)->width), static_cast<int>(client.right) - used);
  ListView_SetColumnWidth(Control(kList), std::size(kColumns) - 1, last);
}

void frmSetup::Arrange() {
  RECT client = {};
  ::GetClientRect(handle(), &client);
  const int margin = Scaled(kMargin);
  const int gap = Scaled(kGap);
  const int line = LineHeight(font_.get());
  const int button_width = Scaled(kButtonWidth);
  const int button_height = std::max(Scaled(kButtonHeight), line + 2 * gap);
  const int buttons = client.bottom - margin - button_height;
  const int file = buttons - margin - line;
  const int width = client.right - 2 * margin;
  const int list_height = file - gap - margin;
  Place(kList, margin, margin, width, list_height);
  FillWidth();
  Place(kHint, margin, margin, width, list_height);
  RECT text = {};
  ::GetClientRect(Control(kHint), &text);
  ::InflateRect(&text, -Scaled(kHintMargin), -Scaled(kHintMargin));
  ::SendMessageW(Control(kHint), EM_SETRECT, 0, reinterpret_cast<LPARAM>(&text));
  Place(kFile, margin, file, width, line);
  Place(kSync, margin, buttons, button_width, button_height);
  Place(kEdit, margin + button_width + gap, buttons, button_width, button_height);
  Place(kClose, client.right - margin - button_width, buttons, button_width, button_height);
}

void frmSetup::Place(ControlId id, int x, int y, int width, int height) {
  ::SetWindowPos(Control(id), nullptr, x, y, width, height, SWP_NOZORDER | SWP_NOACTIVATE);
}

void frmSetup::ShowError(const std::u16string& text) {
  ::MessageBoxW(handle(), Wide(text), kTitle, MB_OK | MB_ICONERROR);
}

}  // namespace pylon
