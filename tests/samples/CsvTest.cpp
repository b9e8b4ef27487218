#include "samples/inventory/Csv.h"

#include <gtest/gtest.h>

#include <random>

#include "samples/inventory/Files.h"

namespace inventory {
namespace {

// "3: a|b" for the cells of the row in line 3, "!2" behind it for a bad cell.
std::string Describe(std::u16string_view text) {
  std::string lines;
  for (const CsvRow& row : ParseCsv(text)) {
    std::u16string cells;
    for (const std::u16string& cell : row.cells) cells += cell + u"|";
    if (!row.cells.empty()) cells.pop_back();
    lines += std::to_string(row.line) + ": " + ToUtf8(cells) +
             (row.bad_cell ? " !" + std::to_string(row.bad_cell) : "") + "\n";
  }
  return lines;
}

TEST(Csv, ReadsRows) {
  const struct {
    const char16_t* text;
    const char* rows;
  } cases[] = {
      {u"", ""},
      {u"a,b", "1: a|b\n"},
      {u"a,b\r\nc,d\r\n", "1: a|b\n2: c|d\n"},
      {u"a\nb\rc\r\nd", "1: a\n2: b\n3: c\n4: d\n"},
      {u"a\r\n\r\nb", "1: a\n2: \n3: b\n"},
      {u",\n,,", "1: |\n2: ||\n"},
      {u"\"\"", "1: \n"},
      {u" a , b ", "1:  a | b \n"},
      {u"\"a,b\",c", "1: a,b|c\n"},
      {u"\"a\"\"b\",\"\"\"\"", "1: a\"b|\"\n"},
      {u"\"a\r\nb\nc\",d\ne", "1: a\r\nb\nc|d\n4: e\n"},
      {u"5\" pipe,6\"", "1: 5\" pipe|6\"\n"},
      {u"a,\"b\"c,d\ne", "1: a|bc|d !2\n2: e\n"},
      {u"\"a\" ,\"b\"\"c\"d", "1: a |b\"cd !1\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(Describe(c.text), c.rows) << ToUtf8(c.text);
  EXPECT_NE(ParseCsv(u"\"\"")[0].cells.size(), ParseCsv(u"\n")[0].cells.size());
}

TEST(Csv, AQuoteThatIsNeverClosedIsAnErrorOfItsLine) {
  for (const char16_t* text : {u"a\nb,\"c\nd,e\n", u"a\n\"", u"a\r\"b\"\""}) {
    try {
      ParseCsv(text);
      ADD_FAILURE() << ToUtf8(text);
    } catch (const TableError& error) {
      EXPECT_TRUE(error.reason.starts_with(u"line 2:")) << ToUtf8(error.reason);
    }
  }
}

TEST(Csv, WhatIsWrittenReadsBack) {
  std::mt19937 random(1);
  const auto below = [&](int end) { return std::uniform_int_distribution(0, end - 1)(random); };
  constexpr std::u16string_view kCharacters = u"ab,\"\r\n \u00E9\u20AC";
  for (int round = 0; round < 2000; ++round) {
    std::vector<std::vector<std::u16string>> table(1 + static_cast<size_t>(below(4)));
    std::u16string text, raw;
    for (auto& row : table) {
      row.resize(1 + static_cast<size_t>(below(4)));
      for (std::u16string& cell : row) {
        for (int i = below(6); i > 0; --i) {
          cell += kCharacters[static_cast<size_t>(below(static_cast<int>(kCharacters.size())))];
        }
      }
      text += FormatCsv(row) + u"\r\n";
    }
    const std::vector<CsvRow> rows = ParseCsv(text);
    ASSERT_EQ(rows.size(), table.size()) << ToUtf8(text);
    for (size_t i = 0; i < rows.size(); ++i) {
      EXPECT_EQ(rows[i].cells, table[i]) << ToUtf8(text);
      EXPECT_EQ(rows[i].bad_cell, 0U);
      raw += rows[i].raw + u"\r\n";
    }
    EXPECT_EQ(raw, text) << "a row that nobody changed stays as it is";
  }
}

}  // namespace
}  // namespace inventory
