#include "sync/StatusLayout.h"

#include <algorithm>

namespace pylon {
namespace {

// Units of 1/96 inch.
constexpr int kWidth = 420;
constexpr int kMargin = 16;
constexpr int kIcon = 32;
constexpr int kIconGap = 12;
constexpr int kLineGap = 2;
constexpr int kGap = 8;
constexpr int kBarHeight = 16;
constexpr int kFileBarHeight = 10;
constexpr int kFooterMargin = 10;
constexpr int kButtonWidth = 88;
constexpr int kButtonHeight = 26;
constexpr int kButtonPadding = 6;  // above and below the button's text, for large fonts

}  // namespace

StatusLayout::StatusLayout(int dpi, int line_height, int title_height, bool file_panel) {
  const auto px = [dpi](int units) { return (units * dpi + 48) / 96; };
  const int margin = px(kMargin);
  const int width = px(kWidth);
  int y = margin;
  const auto below = [&y](int x, int box_width, int height, int gap) {
    const Box box{x, y, box_width, height};
    y = box.bottom() + gap;
    return box;
  };

  const int text_x = margin + px(kIcon) + px(kIconGap);
  const int text_width = width - text_x - margin;
  application_name = below(text_x, text_width, title_height, px(kLineGap));
  author = below(text_x, text_width, line_height, 0);
  version = below(text_x, text_width, line_height, margin);
  icon = {margin, application_name.y + px(kLineGap), px(kIcon), px(kIcon)};
  header = {0, 0, width, y};
  separator = below(0, width, std::max(1, px(1)), margin);

  const int body_width = width - 2 * margin;
  main_label = below(margin, body_width, line_height, px(kLineGap));
  detail_label = below(margin, body_width, line_height, px(kGap));
  bar = below(margin, body_width, px(kBarHeight), margin);
  if (file_panel) {
    file_label = below(margin, body_width, line_height, px(kLineGap) * 2);
    file_bar = below(margin, body_width, px(kFileBarHeight), margin);
  }

  const int footer_top = y;
  y += px(kFooterMargin);
  const int button_height = std::max(px(kButtonHeight), line_height + 2 * px(kButtonPadding));
  cancel =
      below(width - margin - px(kButtonWidth), px(kButtonWidth), button_height, px(kFooterMargin));
  footer = {0, footer_top, width, y - footer_top};
  client = {0, 0, width, y};
}

}  // namespace pylon
