#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "History.h"

// Decides what a sync has to do, from what the file and the table hold now and what both held after
// the last sync. Touches neither; README.md has the decisions as a table.
namespace inventory {

// A row of either side in the form in which they compare: the bytes of the record that it makes,
// and its cells as the table gives them back. With a problem it has neither.
struct Values {
  std::u16string key;  // as the table gives it back; empty: it can't be told
  std::string bytes;
  std::vector<std::u16string> cells;
  std::u16string problem;  // why it is left alone; empty when it isn't
};

struct TableRow : Values {
  size_t at = 0;    // its place among the file's rows
  size_t line = 0;  // where it begins in the file, from 1
};

struct TableRecord : Values {
  long index = 0;
  long id = 0;  // 0 where the handheld has yet to give one
  int category = 0;
  int attributes = 0;
  bool dirty = false;     // changed on the handheld since its last sync
  bool deleted = false;   // on the handheld
  bool archived = false;  // deleted, but a copy is wanted on the PC
};

struct Step {
  enum class Action {
    kSame,          // nothing to do
    kToRecord,      // the row's values go to its record, or to a new one
    kToRow,         // the record's values go to its row, or to a new one
    kConflict,      // the same, but the row changed as well and is kept elsewhere
    kRemoveRecord,  // as its row is gone
    kRemoveRow,     // as its record was deleted
    kSkip,          // one of the two has a problem: both stay as they are
  };
  Action action;
  const TableRow* row = nullptr;
  const TableRecord* record = nullptr;
};

// Gives a problem to all but one of several rows, or records that are not deleted, with one key,
// and takes their key away. Of rows the first one stays, of records the one that the history knows.
void RefuseDoubles(std::vector<TableRow>& rows);
void RefuseDoubles(std::vector<TableRecord>& records, const History& history);

// What the index knows of these rows and records; `entry` gives the number of a key, 0 for none.
//
// Left out is what can't be true: a record that has other bytes than its entry says, though the
// handheld did not change it, belongs to another database, or was saved by a sync that was killed
// before it could save the index. Then the entries of records that the handheld changed or deleted
// are left out as well, since its changes can't be told. `outdated` tells of entries left out.
History ReadHistory(const std::vector<TableRow>& rows, const std::vector<TableRecord>& records,
                    const std::function<std::int32_t(const std::u16string&)>& entry,
                    const Holds& holds, bool& outdated);

// The steps point into `rows` and `records`. As long as there is a row whose key can't be told, a
// record whose row is gone is left alone: it may be that row's.
std::vector<Step> MakePlan(const std::vector<TableRow>& rows,
                           const std::vector<TableRecord>& records, const History& history);

}  // namespace inventory
