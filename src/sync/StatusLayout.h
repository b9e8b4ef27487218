#pragma once

namespace pylon {

struct Box {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;

  int right() const noexcept { return x + width; }
  int bottom() const noexcept { return y + height; }
};

// Where the parts of the status window lie, in pixels from the corner of its client area: a header
// with the icon and three lines, below it the labels and bars, below these the band of the button.
struct StatusLayout {
  // Heights of a text line in the fonts of the window, pixels. The file panel takes room only when
  // it is shown.
  StatusLayout(int dpi, int line_height, int title_height, bool file_panel);

  Box client;  // at 0, 0
  Box header;
  Box icon;
  Box application_name;
  Box author;
  Box version;
  Box separator;
  Box main_label;
  Box detail_label;
  Box bar;
  Box file_label;  // this and the next empty without the panel
  Box file_bar;
  Box footer;
  Box cancel;
};

}  // namespace pylon
