#include "samples/memos/Plan.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/samples/Latin1.h"

namespace memos {
namespace {

using sample::Latin1;

// The parts of a text between semicolons.
std::vector<std::string> Split(const std::string& text) {
  std::vector<std::string> parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream >> std::ws, part, ';');) parts.push_back(part);
  return parts;
}

std::u16string TitleOf(const std::string& memo) {
  return Latin1().FoldCase(NameFor(Latin1().Decode(memo)));
}

// "a.txt=text", in a category "1/a.txt=text". What can't become a memo begins with '!', what is in
// a folder without a category with '?', what is too deep with '%'.
MemoFile File(std::string text) {
  MemoFile file;
  const size_t mark = std::string("!?%").find(text[0]);
  if (mark != std::string::npos) {
    file.problem = u"too long";
    constexpr MemoFile::Place kPlaces[] = {MemoFile::Place::kCategory, MemoFile::Place::kNoCategory,
                                           MemoFile::Place::kTooDeep};
    file.place = kPlaces[mark];
    text.erase(0, 1);
  }
  if (text[1] == '/') {
    file.category = text[0] - '0';
    file.folder = {static_cast<char16_t>(text[0])};
    text.erase(0, 2);
  }
  const size_t equals = text.find('=');
  file.name = *FromUtf8(text.substr(0, equals));
  file.content = text.substr(equals + 1);
  file.title = TitleOf(file.content);
  return file;
}

// "7=text", in a category "7@2=text". '*' behind the id: changed, '-': deleted, '^': archived, '$':
// secret.
MemoRecord Record(const std::string& text) {
  MemoRecord record;
  const size_t equals = text.find('=');
  const std::string head = text.substr(0, equals);
  const auto has = [&](char c) { return head.find(c) != std::string::npos; };
  record.id = std::stol(head);
  if (has('@')) record.category = std::stoi(head.substr(head.find('@') + 1));
  record.dirty = has('*');
  record.deleted = has('-');
  record.archived = has('^');
  record.secret = has('$');
  record.content = text.substr(equals + 1);
  record.title = TitleOf(record.content);
  return record;
}

// Of a sync that left this file and record behind: "7 a.txt=text".
void Add(const std::string& text, History& history) {
  const size_t blank = text.find(' ');
  const long id = std::stol(text);
  const MemoFile file = File(text.substr(blank + 1));
  history.ids[PathOf(file)] = id;
  history.records[id] = {ChecksumOf(file.content), file.category};
}

// "merge a.txt 7 = text @1": file, record, memo and category of a step, "-" for what is missing.
std::string Plan(const std::string& file_texts, const std::string& record_texts,
                 const std::string& last) {
  std::vector<MemoFile> files;
  std::vector<MemoRecord> records;
  History history;
  for (const std::string& text : Split(file_texts)) files.push_back(File(text));
  for (const std::string& text : Split(record_texts)) records.push_back(Record(text));
  for (const std::string& text : Split(last)) Add(text, history);
  constexpr const char* kNames[] = {"merge", "conflict", "remove", "delete", "archive", "skip"};
  std::string result;
  for (const Step& step : MakePlan(files, records, history)) {
    result += (result.empty() ? "" : "; ") + std::string(kNames[static_cast<int>(step.action)]) +
              " " + (step.file ? ToUtf8(step.file->name) : "-") + " " +
              (step.record ? std::to_string(step.record->id) : "-");
    if (step.memo) result += " = " + *step.memo + " @" + std::to_string(step.category);
    if (step.copy) result += " copy " + ToUtf8(step.copy->name);
    if (step.secret) result += " secret";
  }
  return result;
}

TEST(MemoPlan, FindsTheRecordOfEachFile) {
  const struct {
    const char *name, *files, *records, *last, *steps;
  } cases[] = {
      // clang-format off
      {"nothing changed", "a=old", "7=old", "7 a=old", "merge a 7 = old @0"},
      {"file gone, record moved", "", "7@3=old", "7 a=old", "merge - 7 = old @3"},
      {"record deleted", "a=old", "7-=old", "7 a=old", "delete a 7"},
      {"record deleted, file changed", "a=new", "7-=old", "7 a=old", "merge a - = new @0"},
      {"record archived", "a=old", "7-^=old", "7 a=old", "archive - 7 = old @0; delete a 7"},
      {"record moved", "a=old", "7@2=old", "7 a=old", "merge a 7 = old @2"},
      {"record moved, file changed", "a=new", "7@2=old", "7 a=old", "merge a 7 = new @2"},
      {"file moved", "1/a=old", "7=old", "7 a=old", "merge a 7 = old @1"},
      {"file and record moved", "1/a=old", "7@2=old", "7 a=old", "merge a 7 = old @1"},
      {"file renamed", "b=old", "7=old", "7 a=old", "merge b 7 = old @0"},
      {"file renamed, record moved", "b=old", "7*@2=old", "7 a=old", "merge b 7 = old @2"},
      {"file renamed, record changed", "b=old", "7*=new", "7 a=old", "merge b 7 = new @0"},
      {"file moved, record changed", "1/a=old", "7*=new", "7 a=old", "merge a 7 = new @1"},
      {"file renamed, record deleted", "b=old", "7-=old", "7 a=old", "merge b - = old @0"},
      {"file renamed and changed below its title", "b=old\nmore", "7=old", "7 a=old",
       "merge b 7 = old\nmore @0"},
      {"title changed in the file", "a=Other", "7=old", "7 a=old", "merge a 7 = Other @0"},
      {"two files that took each other's name", "a=two; b=one", "7=one; 8=two", "7 a=one; 8 b=two",
       "merge a 8 = two @0; merge b 7 = one @0"},
      {"the same, records changed", "a=two; b=one", "7*=one!; 8*=two!", "7 a=one; 8 b=two",
       "merge a 8 = two! @0; merge b 7 = one! @0"},
      {"killed after one file was renamed and another took its name", "a=two; b=ONE",
       "7*=ONE; 8*=two", "7 a=one", "merge a 8 = two @0; merge b 7 = ONE @0"},
      {"killed after the copy of a conflict", "a (conflict) (2)=here; a=here", "7*=there",
       "7 a=old", "merge a (conflict) (2) - = here @0; conflict a 7 = there @0 copy a (conflict) (2)"},
      {"an older conflict's copy is another memo", "a (conflict)=here; a=here", "7*=there; 8=here",
       "7 a=old; 8 a (conflict)=here", "merge a (conflict) 8 = here @0; conflict a 7 = there @0"},
      {"unreadable", "!a=", "7=old", "7 a=old", "skip a 7"},
      {"too long a memo that came from the handheld", "!a=long", "7=long", "7 a=long",
       "merge a 7 = long @0"},
      {"the same, renamed", "!b=long", "7=long", "7 a=long", "merge b 7 = long @0"},
      {"moved to a folder that can't be a category", "?b=old; ?c=two", "7=old; 8*=new",
       "7 a=old; 8 1/c=two", "skip b 7; skip c 8"},
      {"new in a folder that can't be a category", "?b=new; %c=new", "", "", "skip b -"},
      {"moved too deep, a copy is not", "b=old; %d=old; %c=two", "7=old; 8=two",
       "7 a=old; 8 c=two", "merge b 7 = old @0; skip c 8"},
      {"file changed, a copy has its old text", "a=new; z=old", "7=old", "7 a=old",
       "merge a 7 = new @0; merge z - = old @0"},
      {"what a secret record leaves is secret: copy", "a=here", "7$*=there", "7 a=old",
       "conflict a 7 = there @0 secret"},
      {"added again", "a=here", "7$-=old", "7 a=old", "merge a - = here @0 secret"},
      {"blanked on the handheld", "!a= \n", "7= \n", "7 a= \n", "merge a 7 =  \n @0"},
      {"no longer blank", "!a= \n", "7*=new", "7 a= \n", "merge a 7 = new @0"},
      {"removes last", "dead=dead; new=new", "1=gone; 2-=dead; 3=added", "1 gone=gone; 2 dead=dead",
       "merge new - = new @0; merge - 3 = added @0; delete dead 2; remove - 1"},

      {"new: same text", "any=T\n1", "7=T\n1", "", "merge any 7 = T\n1 @0"},
      {"in another category", "1/any=T\n1", "7=T\n1", "", "merge any 7 = T\n1 @1"},
      {"its own category first", "1/any=T", "7=T; 8@1=T", "",
       "merge any 8 = T @1; merge - 7 = T @0"},
      {"new: same title, and nobody knows which is newer", "t=t\nhere", "7=T\nthere", "",
       "conflict t 7 = T\nthere @0"},
      {"the same, killed after the copy", "t (conflict)=T\nhere; t=T\nhere", "7=T\nthere", "",
       "merge t (conflict) - = T\nhere @0; conflict t 7 = T\nthere @0 copy t (conflict)"},
      {"another category: two memos", "1/t=T\nhere", "7=T\nthere", "",
       "merge t - = T\nhere @1; merge - 7 = T\nthere @0"},
      {"duplicates pair one to one", "1=T; 2=T; 3=T", "7=T; 8=T", "",
       "merge 1 7 = T @0; merge 2 8 = T @0; merge 3 - = T @0"},
      {"records without ids", "", "0=T; 0=T", "", "merge - 0 = T @0; merge - 0 = T @0"},
      // clang-format on
  };
  for (const auto& c : cases) EXPECT_EQ(Plan(c.files, c.records, c.last), c.steps) << c.name;
}

}  // namespace
}  // namespace memos
