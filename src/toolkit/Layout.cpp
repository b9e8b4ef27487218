#include "toolkit/Layout.h"

#include <algorithm>
#include <utility>

namespace pylon {
namespace {

int Larger(int a, int b) noexcept {
  return a == Layout::kRest || b == Layout::kRest ? Layout::kRest : std::max(a, b);
}

int Sum(int a, int b) noexcept {
  return a == Layout::kRest || b == Layout::kRest ? Layout::kRest : a + b;
}

Box Inner(const Box& box, const Layout::Edges& edges) noexcept {
  return {box.x + edges.left, box.y + edges.top, std::max(0, box.width - edges.left - edges.right),
          std::max(0, box.height - edges.top - edges.bottom)};
}

}  // namespace

Layout Layout::Control(int id, int width, int height) {
  Layout control(Kind::kControl);
  control.id_ = id;
  control.size_ = {width, height};
  return control;
}

Layout Layout::Combo(int id, int width, int height, int list_height) {
  Layout combo = Control(id, width, height);
  combo.placed_height_ = list_height;
  return combo;
}

Layout Layout::Space(int length) {
  Layout space(Kind::kSpace);
  space.gap_ = length;
  return space;
}

Layout Layout::Row(int gap, std::vector<Layout> parts) {
  return Line(Kind::kRow, gap, std::move(parts));
}

Layout Layout::Column(int gap, std::vector<Layout> parts) {
  return Line(Kind::kColumn, gap, std::move(parts));
}

Layout Layout::Pile(std::vector<Layout> parts) {
  Layout pile(Kind::kPile);
  for (const Layout& part : parts) {
    pile.size_ = {Larger(pile.size_.width, part.size_.width),
                  Larger(pile.size_.height, part.size_.height)};
  }
  pile.parts_ = std::move(parts);
  return pile;
}

// Gaps become spaces, which are as long as they say.
Layout Layout::Line(Kind kind, int gap, std::vector<Layout> parts) {
  Layout line(kind);
  const bool row = kind == Kind::kRow;
  for (Layout& part : parts) {
    const bool space = part.kind_ == Kind::kSpace;
    if (!space && !line.parts_.empty() && line.parts_.back().kind_ != Kind::kSpace) {
      line.parts_.push_back(Line(Kind::kSpace, gap, {}));
      line.parts_.back().gap_ = gap;
    }
    line.parts_.push_back(std::move(part));
  }
  for (Layout& part : line.parts_) {
    if (part.kind_ == Kind::kSpace) {
      part.size_ = row ? Size{part.gap_, 0} : Size{0, part.gap_};
    }
    Size& size = line.size_;
    size = row ? Size{Sum(size.width, part.size_.width), Larger(size.height, part.size_.height)}
               : Size{Larger(size.width, part.size_.width), Sum(size.height, part.size_.height)};
  }
  return line;
}

Layout Layout::Within(const Edges& edges) const { return Within(kNone, edges); }

Layout Layout::Within(int id, const Edges& edges) const {
  Layout frame(Kind::kFrame);
  frame.id_ = id;
  frame.edges_ = edges;
  frame.size_ = {Sum(size_.width, edges.left + edges.right),
                 Sum(size_.height, edges.top + edges.bottom)};
  frame.parts_ = {*this};
  return frame;
}

void Layout::Place(const Box& box,
                   const std::function<void(int id, const Box& place)>& place) const {
  switch (kind_) {
    case Kind::kSpace:
      return;
    case Kind::kControl: {
      Box own = box;
      if (size_.width != kRest) own.width = std::min(size_.width, box.width);
      if (size_.height != kRest && size_.height < box.height) {
        own.y += (box.height - size_.height) / 2;
        own.height = size_.height;
      }
      if (placed_height_ != 0) own.height = placed_height_;
      return place(id_, own);
    }
    case Kind::kPile:
      for (const Layout& part : parts_) part.Place(box, place);
      return;
    case Kind::kFrame:
      if (id_ != kNone) place(id_, box);
      return parts_.front().Place(Inner(box, edges_), place);
    case Kind::kRow:
    case Kind::kColumn:
      return PlaceLine(box, place);
  }
}

void Layout::PlaceLine(const Box& box, const std::function<void(int, const Box&)>& place) const {
  const bool row = kind_ == Kind::kRow;
  const auto length = [row](const Layout& part) {
    return row ? part.size_.width : part.size_.height;
  };
  int rest = row ? box.width : box.height;
  int sharers = 0;
  for (const Layout& part : parts_) {
    if (length(part) == kRest) {
      ++sharers;
    } else {
      rest -= length(part);
    }
  }
  rest = std::max(rest, 0);
  Box at = box;
  for (const Layout& part : parts_) {
    int own = length(part);
    if (own == kRest) {
      own = rest / std::max(sharers, 1);
      --sharers;
      rest -= own;
    }
    (row ? at.width : at.height) = own;
    part.Place(at, place);
    (row ? at.x : at.y) += own;
  }
}

}  // namespace pylon
