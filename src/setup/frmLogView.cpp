#include "setup/frmLogView.h"

#include <shellapi.h>

#include <algorithm>
#include <cstring>

#include "base/Text.h"
#include "setup/Texts.h"

namespace pylon {
namespace {

// Units.
constexpr SIZE kSize = {760, 480};
constexpr SIZE kLeast = {520, 260};
constexpr int kMargin = 10;
constexpr int kGap = 8;
constexpr int kTimeWidth = 150;
constexpr int kDeviceWidth = 150;
constexpr int kListHeight = 200;
constexpr int kCellPadding = 16;

constexpr size_t kShownLength = 259;  // a list view shows no more of a text

constexpr UINT_PTR kTypingTimer = 1;
constexpr UINT kTypingMs = 150;
constexpr COLORREF kErrorColor = RGB(0xB0, 0x00, 0x20);
constexpr COLORREF kErrorColorOnDark = RGB(0xFF, 0x9A, 0x9A);

bool IsDark(COLORREF color) noexcept {
  return GetRValue(color) * 3 + GetGValue(color) * 6 + GetBValue(color) < 1280;
}

bool ToClipboard(HWND owner, const std::u16string& text) {
  const size_t size = (text.size() + 1) * sizeof(char16_t);
  GlobalMemory memory(::GlobalAlloc(GMEM_MOVEABLE, size));
  if (!memory || !::OpenClipboard(owner)) return false;
  void* place = ::GlobalLock(memory.get());
  if (place) std::memcpy(place, text.c_str(), size);
  ::GlobalUnlock(memory.get());
  ::EmptyClipboard();
  const bool done = place && ::SetClipboardData(CF_UNICODETEXT, memory.get());
  if (done) memory.Release();  // the clipboard's own now
  ::CloseClipboard();
  return done;
}

}  // namespace

void frmLogView::Show(const std::u16string& app_id, const std::u16string& name) {
  const std::u16string title = LoadText(IDS_LOG_CAPTION, OneLine(name));
  Open({L"Pylon.frmLogView", kSize, kLeast, IDA_LOG, 0}, title);
  ::SetWindowTextW(handle(), Wide(title));
  app_id_ = app_id;
  logs_.clear();
  FindLogs();
  ShowOnTop();
  ::SetFocus(Control(kList));
}

void frmLogView::AddControls() {
  AddLabel(kDeviceLabel, IDS_LOG_DEVICE);
  Add(L"COMBOBOX", 0, CBS_DROPDOWNLIST | WS_VSCROLL | WS_TABSTOP, kDevice);
  AddLabel(kFilterLabel, IDS_LOG_FILTER);
  Add(L"EDIT", 0, ES_AUTOHSCROLL | WS_TABSTOP, kFilter, WS_EX_CLIENTEDGE);
  const HWND list =
      Add(WC_LISTVIEWW, 0,
          LVS_REPORT | LVS_OWNERDATA | LVS_SHOWSELALWAYS | LVS_NOSORTHEADER | WS_TABSTOP, kList,
          WS_EX_CLIENTEDGE);
  ListView_SetExtendedListViewStyle(list,
                                    LVS_EX_FULLROWSELECT | LVS_EX_DOUBLEBUFFER | LVS_EX_LABELTIP);
  int column = 0;
  for (const int title : {IDS_LOG_TIME, IDS_LOG_TEXT}) {
    const std::u16string text = LoadText(title);
    LVCOLUMNW header = {};
    header.mask = LVCF_TEXT;
    header.pszText = const_cast<wchar_t*>(Wide(text));
    ::SendMessageW(list, LVM_INSERTCOLUMNW, static_cast<WPARAM>(column++),
                   reinterpret_cast<LPARAM>(&header));
  }
  AddLabel(kInfo);
  AddButton(kCopy, IDS_LOG_COPY);
  AddButton(kReload, IDS_LOG_RELOAD);
  AddButton(kOpenFile, IDS_LOG_FILE);
  AddButton(kClose, IDS_CLOSE);
}

void frmLogView::OnDpi() { ListView_SetColumnWidth(Control(kList), 0, Scaled(kTimeWidth)); }

Layout frmLogView::Arrangement() const {
  using L = Layout;
  const int gap = Scaled(kGap);
  const int field = FieldHeight();
  const int button = ButtonWidth({kCopy, kReload, kOpenFile, kClose});
  const auto label = [&](int id) { return Label(id, TextWidth(TextOf(id)) + gap); };
  return L::Column(
             gap,
             {L::Row(0, {label(kDeviceLabel),
                         L::Combo(kDevice, Scaled(kDeviceWidth), field, Scaled(kListHeight)),
                         L::Space(2 * gap), label(kFilterLabel),
                         L::Control(kFilter, L::kRest, field)}),
              L::Control(kList, L::kRest, L::kRest), Label(kInfo),
              L::Row(gap, {Button(kCopy, button), Button(kReload, button),
                           Button(kOpenFile, button), L::Space(L::kRest), Button(kClose, button)})})
      .Within(Scaled(kMargin));
}

void frmLogView::Arrange() {
  SetupForm::Arrange();
  FitText();
}

void frmLogView::OnCommand(int id, int code) {
  const HWND focus = ::GetFocus();
  const bool by_key = code == 1;  // an accelerator
  switch (id) {
    case kClose:
      Close();
      break;
    case kReload:
      FindLogs();
      break;
    case kCopy:
      if (by_key && focus == Control(kFilter)) {
        ::SendMessageW(focus, WM_COPY, 0, 0);
      } else {
        Copy();
      }
      break;
    case kSelectAll:
      if (focus == Control(kFilter)) {
        ::SendMessageW(focus, EM_SETSEL, 0, -1);
      } else {
        ListView_SetItemState(Control(kList), -1, LVIS_SELECTED, LVIS_SELECTED);
      }
      break;
    case kFilter:
      if (code == EN_CHANGE) ::SetTimer(handle(), kTypingTimer, kTypingMs, nullptr);
      if (by_key) ::SetFocus(Control(kFilter));
      break;
    case kDevice:
      if (code == CBN_SELCHANGE) Read();
      break;
    case kOpenFile:
      OpenFile();
      break;
    default:
      break;
  }
}

LRESULT frmLogView::OnMessage(UINT message, WPARAM wparam, LPARAM lparam) {
  if (message == WM_TIMER && wparam == kTypingTimer) {
    ::KillTimer(handle(), kTypingTimer);
    TakeFilter();
    return 0;
  }
  return SetupForm::OnMessage(message, wparam, lparam);
}

LRESULT frmLogView::OnNotify(NMHDR& header) {
  if (header.idFrom != kList) return 0;
  if (header.code == LVN_GETDISPINFOW) {
    FillText(reinterpret_cast<NMLVDISPINFOW&>(header).item);
  } else if (header.code == NM_CUSTOMDRAW) {
    return Paint(reinterpret_cast<NMLVCUSTOMDRAW&>(header));
  }
  return 0;
}

void frmLogView::FillText(LVITEMW& item) const {
  if (!(item.mask & LVIF_TEXT) || item.cchTextMax <= 0) return;
  const auto row = static_cast<size_t>(item.iItem);
  std::u16string_view text;
  if (row < shown_.size()) {
    text = item.iSubItem == 0 ? log_.Time(shown_[row]) : log_.Text(shown_[row]);
  }
  const size_t length = std::min(text.size(), static_cast<size_t>(item.cchTextMax) - 1);
  std::transform(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(length), item.pszText,
                 [](char16_t c) { return c < u' ' ? L' ' : static_cast<wchar_t>(c); });
  item.pszText[length] = L'\0';
}

LRESULT frmLogView::Paint(NMLVCUSTOMDRAW& draw) const {
  if (draw.nmcd.dwDrawStage == CDDS_PREPAINT) return CDRF_NOTIFYITEMDRAW;
  const auto row = static_cast<size_t>(draw.nmcd.dwItemSpec);
  if (draw.nmcd.dwDrawStage == CDDS_ITEMPREPAINT && row < shown_.size() &&
      log_.IsError(shown_[row])) {
    draw.clrText = IsDark(::GetSysColor(COLOR_WINDOW)) ? kErrorColorOnDark : kErrorColor;
  }
  return CDRF_DODEFAULT;
}

void frmLogView::FindLogs() {
  const HWND combo = Control(kDevice);
  const auto chosen = static_cast<size_t>(::SendMessageW(combo, CB_GETCURSEL, 0, 0));
  const std::u16string before = chosen < logs_.size() ? logs_[chosen].device : std::u16string();
  logs_ = LogFilesOf(program_folder_, app_id_);
  ::SendMessageW(combo, CB_RESETCONTENT, 0, 0);
  size_t select = 0;
  for (size_t i = 0; i < logs_.size(); ++i) {
    ::SendMessageW(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(Wide(logs_[i].device)));
    if (logs_[i].device == before) select = i;
  }
  if (!logs_.empty()) ::SendMessageW(combo, CB_SETCURSEL, select, 0);
  Enable(kDevice, logs_.size() > 1);
  Enable(kOpenFile, !logs_.empty());
  Read();
}

void frmLogView::Read() {
  const auto chosen = static_cast<size_t>(::SendMessageW(Control(kDevice), CB_GETCURSEL, 0, 0));
  log_.Take({}, 0, false, code_page_);
  trouble_.clear();
  if (chosen >= logs_.size()) {
    trouble_ = LoadText(IDS_LOG_NONE);
  } else if (const DWORD error = ReadLog(logs_[chosen].path, code_page_, log_)) {
    trouble_ = LoadText(IDS_LOG_UNREAD, SystemReason(error));
  }
  TakeFilter();
}

void frmLogView::TakeFilter() {
  shown_ = log_.Matching(TextOf(kFilter));
  const HWND list = Control(kList);
  ListView_SetItemState(list, -1, 0, LVIS_SELECTED);
  ListView_SetItemCountEx(list, static_cast<int>(shown_.size()), 0);
  FitText();
  if (!shown_.empty()) {
    const int last = static_cast<int>(shown_.size()) - 1;
    ListView_SetItemState(list, last, LVIS_FOCUSED, LVIS_FOCUSED);
    ListView_EnsureVisible(list, last, FALSE);
  }
  ::InvalidateRect(list, nullptr, TRUE);
  Enable(kCopy, !shown_.empty());
  ShowInfo();
}

void frmLogView::FitText() {
  const HWND list = Control(kList);
  std::u16string_view longest;
  for (const size_t line : shown_) {
    if (log_.Text(line).size() > longest.size()) longest = log_.Text(line);
  }
  RECT client = {};
  ::GetClientRect(list, &client);
  const int text = TextWidth(longest.substr(0, kShownLength)) + Scaled(kCellPadding);
  const int rest = static_cast<int>(client.right) - ListView_GetColumnWidth(list, 0);
  ListView_SetColumnWidth(list, 1, std::max(text, rest));
}

void frmLogView::ShowInfo() {
  if (!trouble_.empty()) {
    SetText(kInfo, trouble_);
    return;
  }
  const bool all = shown_.size() == log_.size();
  std::u16string info =
      LoadText(all ? IDS_LOG_LINES : IDS_LOG_SHOWN, ToText(static_cast<int64_t>(shown_.size())));
  const auto errors =
      std::ranges::count_if(shown_, [this](size_t line) { return log_.IsError(line); });
  if (errors) info += LoadText(IDS_LOG_ERRORS, ToText(errors));
  if (log_.left_out()) {
    info += LoadText(IDS_LOG_LEFT_OUT, ToText(static_cast<int64_t>(log_.left_out() >> 10)));
  }
  SetText(kInfo, info);
}

// The selected lines; all that are shown when none is.
void frmLogView::Copy() {
  const HWND list = Control(kList);
  std::u16string text;
  const auto add = [&](size_t row) {
    const std::u16string_view time = log_.Time(shown_[row]);
    if (!time.empty()) text.append(time).append(u"\t");
    text.append(log_.Text(shown_[row])).append(u"\r\n");
  };
  int row = ListView_GetNextItem(list, -1, LVNI_SELECTED);
  if (row < 0) {
    for (size_t i = 0; i < shown_.size(); ++i) add(i);
  }
  for (; row >= 0; row = ListView_GetNextItem(list, row, LVNI_SELECTED)) {
    if (static_cast<size_t>(row) < shown_.size()) add(static_cast<size_t>(row));
  }
  if (text.empty()) return;
  if (!ToClipboard(handle(), text)) ShowError(SystemReason(::GetLastError()));
}

void frmLogView::OpenFile() {
  const auto chosen = static_cast<size_t>(::SendMessageW(Control(kDevice), CB_GETCURSEL, 0, 0));
  if (chosen >= logs_.size()) return;
  const std::u16string parameter = u"\"" + logs_[chosen].path + u"\"";
  SHELLEXECUTEINFOW run = {};
  run.cbSize = sizeof(run);
  run.fMask = SEE_MASK_FLAG_NO_UI;
  run.hwnd = handle();
  run.lpVerb = L"open";
  run.lpFile = L"notepad.exe";
  run.lpParameters = Wide(parameter);
  run.nShow = SW_SHOWNORMAL;
  if (!::ShellExecuteExW(&run)) {
    ShowError(LoadText(IDS_NOTEPAD_NOT_STARTED, SystemReason(::GetLastError())));
  }
}

}  // namespace pylon
