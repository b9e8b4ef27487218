#include "toolkit/Layout.h"

#include <gtest/gtest.h>

#include <map>

namespace pylon {

void PrintTo(const Box& box, std::ostream* out) {
  *out << box.x << ',' << box.y << ' ' << box.width << 'x' << box.height;
}
void PrintTo(const Layout::Size& size, std::ostream* out) {
  *out << size.width << 'x' << size.height;
}

namespace {

using L = Layout;
constexpr int kRest = L::kRest;

L Cell(int id, int width, int height) { return L::Control(id, width, height); }

TEST(Layout, PlacesItsPartsAndKnowsItsSize) {
  const Box area = {10, 20, 100, 50};
  const struct {
    const char* name;
    L layout;
    L::Size size;
    std::map<int, Box> places;
  } cases[] = {
      {"a control fills what it may", Cell(1, kRest, kRest), {kRest, kRest}, {{1, area}}},
      {"a low control is centred, a narrow one at the left",
       Cell(1, 30, 20),
       {30, 20},
       {{1, {10, 35, 30, 20}}}},
      {"a row",
       L::Row(5, {Cell(1, 20, 10), Cell(2, 30, 16)}),
       {55, 16},
       {{1, {10, 40, 20, 10}}, {2, {35, 37, 30, 16}}}},
      {"a row whose middle takes the rest",
       L::Row(5, {Cell(1, 20, 50), Cell(2, kRest, 50), Cell(3, 10, 50)}),
       {kRest, 50},
       {{1, {10, 20, 20, 50}}, {2, {35, 20, 60, 50}}, {3, {100, 20, 10, 50}}}},
      {"two that share the rest, whose last pixel is the second's",
       L::Row(1, {Cell(1, kRest, 50), Cell(2, kRest, 50)}),
       {kRest, 50},
       {{1, {10, 20, 49, 50}}, {2, {60, 20, 50, 50}}}},
      {"a space in place of the gap",
       L::Row(5, {Cell(1, 20, 50), L::Space(kRest), Cell(2, 20, 50)}),
       {kRest, 50},
       {{1, {10, 20, 20, 50}}, {2, {90, 20, 20, 50}}}},
      {"a column",
       L::Column(5, {Cell(1, kRest, 10), L::Space(1), Cell(2, 30, kRest), Cell(3, 40, 8)}),
       {kRest, kRest},
       {{1, {10, 20, 100, 10}}, {2, {10, 31, 30, 26}}, {3, {10, 62, 40, 8}}}},
      {"a row in a column is as high as its highest part",
       L::Column(2, {L::Row(0, {Cell(1, 10, 20), Cell(2, kRest, 6)}), Cell(3, kRest, kRest)}),
       {kRest, kRest},
       {{1, {10, 20, 10, 20}}, {2, {20, 27, 90, 6}}, {3, {10, 42, 100, 28}}}},
      {"a combo box is placed with its list",
       L::Row(0, {L::Combo(1, 40, 20, 200), Cell(2, 10, 30)}),
       {50, 30},
       {{1, {10, 35, 40, 200}}, {2, {50, 30, 10, 30}}}},
      {"a pile",
       L::Pile({Cell(1, kRest, kRest), Cell(2, kRest, kRest)}),
       {kRest, kRest},
       {{1, area}, {2, area}}},
      {"a margin", Cell(1, kRest, 10).Within(4), {kRest, 18}, {{1, {14, 40, 92, 10}}}},
      {"inside a group box",
       Cell(1, kRest, kRest).Within(9, {1, 2, 3, 4}),
       {kRest, kRest},
       {{9, area}, {1, {11, 22, 96, 44}}}},
      {"no room",
       L::Row(5, {Cell(1, 90, 50), Cell(2, kRest, 50), Cell(3, 90, 80)}).Within(40),
       {kRest, 160},
       {{1, {50, 60, 90, 0}}, {2, {145, 60, 0, 0}}, {3, {150, 60, 90, 0}}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.layout.size(), c.size);
    std::map<int, Box> places;
    c.layout.Place(area, [&](int id, const Box& box) { places[id] = box; });
    EXPECT_EQ(places, c.places);
  }
}

}  // namespace
}  // namespace pylon
