#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "setup/SetupModel.h"
#include "toolkit/Window.h"

// After Window.h, which defines how <windows.h> is read.
#include <commctrl.h>

namespace pylon {

// The list view of the setup window: a row and an icon for each conduit, in columns whose widths
// are the user's. Places count from 1, as in the conduit list; 0 is none.
class ConduitRows {
 public:
  struct Conduit {
    ConduitRow row;
    std::u16string icon;  // see ConduitIcon.h; empty: the program's
  };

  void Attach(HWND list);  // empty and in report style; adds the columns
  void SetDpi(int dpi);    // with the usual widths

  void Fill(std::vector<Conduit> conduits, int16_t selected);
  void SetRow(int16_t index, const ConduitRow& row);
  int16_t Selected() const noexcept;
  // Rows come and go; selections until then are not the user's.
  bool is_filling() const noexcept { return filling_; }

  // The last column takes the width that the others leave, unless the user wants more for it.
  void FitLastColumn();
  void OnColumnDragged(const NMHEADERW& drag) noexcept;
  // In units; the last is what the user wants, or 0.
  std::vector<int> Widths() const;
  void SetWidths(const std::vector<int>& widths);
  static size_t column_count() noexcept;

  LRESULT Paint(NMLVCUSTOMDRAW& draw) const;  // greys what can't be loaded

 private:
  int Scaled(int units) const noexcept { return ::MulDiv(units, dpi_, 96); }
  void LoadIcons();

  HWND list_ = nullptr;
  int dpi_ = 96;
  std::vector<std::u16string> icon_texts_;  // of the rows
  std::vector<bool> greyed_;                // rows
  HIMAGELIST icons_ = nullptr;              // the list view frees its last one
  int last_width_ = 0;                      // units, as the user wants it at least
  bool filling_ = false;
};

}  // namespace pylon
