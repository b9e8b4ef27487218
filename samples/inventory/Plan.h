#pragma once

#include <string>
#include <vector>

#include "TwoWay.h"

// Decides what a sync has to do, from what the file and the table hold now and what both held after
// the last sync. Touches neither; README.md has the decisions as a table.
namespace inventory {

using sample::Action;
using sample::ChecksumOf;
using sample::History;

// Both sides compare by the bytes of a record, which are their content, and keep the cells as the
// table gives them back. With a problem they have neither. A key that can't be told is empty.
struct TableRow : sample::Item {
  std::u16string key;
  std::vector<std::u16string> cells;
  size_t at = 0;    // its place among the file's rows
  size_t line = 0;  // where it begins in the file, from 1
};

struct TableRecord : sample::Record {
  std::u16string key;
  std::vector<std::u16string> cells;
};

struct Step {
  Action action;
  const TableRow* row = nullptr;
  const TableRecord* record = nullptr;
};

// Gives a problem to all but one of several rows, or records that are not deleted, with one key,
// and takes their key away. Of rows the first one stays, of records the one that the history knows.
void RefuseDoubles(std::vector<TableRow>& rows);
void RefuseDoubles(std::vector<TableRecord>& records, const History& history);

// The steps point into `rows` and `records`. As long as there is a row whose key can't be told, a
// record whose row is gone is left alone: it may be that row's.
std::vector<Step> MakePlan(const std::vector<TableRow>& rows,
                           const std::vector<TableRecord>& records, const History& history);

}  // namespace inventory
