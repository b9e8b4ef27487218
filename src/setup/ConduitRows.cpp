#include "setup/ConduitRows.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "setup/Strings.h"
#include "setup/Texts.h"
#include "toolkit/ConduitIcon.h"

namespace pylon {
namespace {

struct Column {
  int title;
  int width;  // units
};
constexpr Column kColumns[] = {{IDS_COLUMN_APPLICATION, 150}, {IDS_COLUMN_VERSION, 56},
                               {IDS_COLUMN_AUTHOR, 110},      {IDS_COLUMN_APPID, 96},
                               {IDS_COLUMN_LAST_SYNC, 124},   {IDS_COLUMN_STATE, 100}};
constexpr int kLastColumn = static_cast<int>(std::size(kColumns)) - 1;

// Units.
constexpr int kIconSize = 16;
constexpr int kLeastColumn = 16;

}  // namespace

size_t ConduitRows::column_count() noexcept { return std::size(kColumns); }

void ConduitRows::Attach(HWND list) {
  list_ = list;
  icons_ = nullptr;
  ListView_SetExtendedListViewStyle(
      list, LVS_EX_FULLROWSELECT | LVS_EX_DOUBLEBUFFER | LVS_EX_LABELTIP | LVS_EX_INFOTIP);
  for (const Column& column : kColumns) {
    const std::u16string title = LoadText(column.title);
    LVCOLUMNW header = {};
    header.mask = LVCF_TEXT;
    header.pszText = const_cast<wchar_t*>(Wide(title));
    ::SendMessageW(list, LVM_INSERTCOLUMNW, static_cast<WPARAM>(&column - kColumns),
                   reinterpret_cast<LPARAM>(&header));
  }
}

void ConduitRows::SetDpi(int dpi) {
  dpi_ = dpi;
  for (const Column& column : kColumns) {
    ListView_SetColumnWidth(list_, static_cast<int>(&column - kColumns), Scaled(column.width));
  }
  LoadIcons();
}

void ConduitRows::Fill(std::vector<Conduit> conduits, int16_t selected) {
  filling_ = true;
  ::SendMessageW(list_, WM_SETREDRAW, FALSE, 0);
  ListView_DeleteAllItems(list_);
  greyed_.assign(conduits.size(), false);
  icon_texts_.clear();
  for (size_t i = 0; i < conduits.size(); ++i) {
    LVITEMW item = {};
    item.iItem = static_cast<int>(i);
    item.mask = LVIF_IMAGE;
    item.iImage = static_cast<int>(i);
    ::SendMessageW(list_, LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&item));
    SetRow(static_cast<int16_t>(i + 1), conduits[i].row);
    icon_texts_.push_back(std::move(conduits[i].icon));
  }
  LoadIcons();
  ListView_SetItemState(list_, selected - 1, LVIS_SELECTED | LVIS_FOCUSED,
                        LVIS_SELECTED | LVIS_FOCUSED);
  ::SendMessageW(list_, WM_SETREDRAW, TRUE, 0);
  FitLastColumn();  // a scroll bar may have come or gone
  ListView_EnsureVisible(list_, selected - 1, FALSE);
  filling_ = false;
}

void ConduitRows::SetRow(int16_t index, const ConduitRow& row) {
  greyed_[static_cast<size_t>(index) - 1] = row.greyed;
  const std::u16string cells[] = {row.application, row.version,   row.author,
                                  row.app_id,      row.last_sync, LoadText(row.state)};
  static_assert(std::size(cells) == std::size(kColumns));
  for (size_t column = 0; column < std::size(cells); ++column) {
    const std::u16string text = OneLine(cells[column]);
    LVITEMW item = {};
    item.iSubItem = static_cast<int>(column);
    item.pszText = const_cast<wchar_t*>(Wide(text));
    ::SendMessageW(list_, LVM_SETITEMTEXTW, static_cast<WPARAM>(index - 1),
                   reinterpret_cast<LPARAM>(&item));
  }
}

void ConduitRows::LoadIcons() {
  const int size = Scaled(kIconSize);
  const HIMAGELIST icons = ::ImageList_Create(size, size, ILC_COLOR32 | ILC_MASK,
                                              static_cast<int>(icon_texts_.size()), 16);
  const Icon neutral = ProgramIcon(size);
  for (const std::u16string& text : icon_texts_) {
    if (!icons) break;
    const Icon own = text.empty() ? Icon() : ConduitIcon(text, size);
    ImageList_AddIcon(icons, own ? own.get() : neutral.get());
  }
  ListView_SetImageList(list_, icons, LVSIL_SMALL);
  if (icons_) ::ImageList_Destroy(icons_);
  icons_ = icons;
}

int16_t ConduitRows::Selected() const noexcept {
  return static_cast<int16_t>(ListView_GetNextItem(list_, -1, LVNI_SELECTED) + 1);
}

void ConduitRows::FitLastColumn() {
  int used = 0;
  for (int column = 0; column < kLastColumn; ++column) {
    used += ListView_GetColumnWidth(list_, column);
  }
  RECT client = {};
  ::GetClientRect(list_, &client);
  const int least = Scaled(std::max(kColumns[kLastColumn].width, last_width_));
  ListView_SetColumnWidth(list_, kLastColumn, std::max<int>(least, client.right - used));
}

void ConduitRows::OnColumnDragged(const NMHEADERW& drag) noexcept {
  if (drag.iItem == kLastColumn && drag.pitem && (drag.pitem->mask & HDI_WIDTH)) {
    last_width_ = ::MulDiv(drag.pitem->cxy, 96, dpi_);
  }
}

std::vector<int> ConduitRows::Widths() const {
  std::vector<int> widths;
  for (int column = 0; column < kLastColumn; ++column) {
    widths.push_back(::MulDiv(ListView_GetColumnWidth(list_, column), 96, dpi_));
  }
  widths.push_back(last_width_);
  return widths;
}

void ConduitRows::SetWidths(const std::vector<int>& widths) {
  for (int column = 0; column < kLastColumn; ++column) {
    ListView_SetColumnWidth(list_, column,
                            Scaled(std::max(widths[static_cast<size_t>(column)], kLeastColumn)));
  }
  last_width_ = widths.back();
}

LRESULT ConduitRows::Paint(NMLVCUSTOMDRAW& draw) const {
  if (draw.nmcd.dwDrawStage == CDDS_PREPAINT) return CDRF_NOTIFYITEMDRAW;
  const auto row = static_cast<size_t>(draw.nmcd.dwItemSpec);
  if (draw.nmcd.dwDrawStage == CDDS_ITEMPREPAINT && row < greyed_.size() && greyed_[row]) {
    draw.clrText = ::GetSysColor(COLOR_GRAYTEXT);
  }
  return CDRF_DODEFAULT;
}

}  // namespace pylon
