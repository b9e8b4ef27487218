#pragma once

#include <functional>
#include <vector>

namespace pylon {

// Pixels from the corner of a client area.
struct Box {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;

  int right() const noexcept { return x + width; }
  int bottom() const noexcept { return y + height; }
  bool operator==(const Box&) const = default;
};

// Controls in rows and columns: how a form is arranged, without a window.
//
// A layout is one control, a space, or a row, column or pile of layouts. Sizes are pixels, or kRest
// for what the neighbours leave; several kRest share it equally. A row is as high as its highest
// part, and every row and column with a kRest part has a kRest size itself. A control that is lower
// than its row is centred in it, everything else takes the whole height; a control that is narrower
// than its column stays at the left. Parts that find no room get the size 0.
class Layout {
 public:
  static constexpr int kRest = -1;

  struct Size {
    int width = 0;
    int height = 0;
    bool operator==(const Size&) const = default;
  };
  struct Edges {
    int left, top, right, bottom;
  };

  static Layout Control(int id, int width, int height);
  // A combo box: arranged with its field's height, and placed with that of its open list.
  static Layout Combo(int id, int width, int height, int list_height);
  // Takes its length from the row or column that it is in, and stands in for the gap there.
  static Layout Space(int length);
  // The gap is left between two parts that are not spaces.
  static Layout Row(int gap, std::vector<Layout> parts);
  static Layout Column(int gap, std::vector<Layout> parts);
  // All in the same place, for controls of which one is shown at a time.
  static Layout Pile(std::vector<Layout> parts);

  // The same within a margin, or inside the control `id` such as a group box.
  Layout Within(const Edges& edges) const;
  Layout Within(int margin) const { return Within({margin, margin, margin, margin}); }
  Layout Within(int id, const Edges& edges) const;

  Size size() const noexcept { return size_; }
  void Place(const Box& box, const std::function<void(int id, const Box& place)>& place) const;

 private:
  enum class Kind { kControl, kSpace, kRow, kColumn, kPile, kFrame };
  static constexpr int kNone = 0;

  explicit Layout(Kind kind) noexcept : kind_(kind) {}
  static Layout Line(Kind kind, int gap, std::vector<Layout> parts);
  void PlaceLine(const Box& box, const std::function<void(int, const Box&)>& place) const;

  Kind kind_;
  int id_ = kNone;
  Size size_;
  int placed_height_ = 0;  // of a combo box; else 0
  int gap_ = 0;
  Edges edges_ = {};
  std::vector<Layout> parts_;
};

}  // namespace pylon
