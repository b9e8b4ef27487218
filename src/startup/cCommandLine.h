#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace pylon {

// The program's argument text as named switches with values and a list of plain arguments.
//
// Switches are registered first; the text is parsed when it is assigned, so a switch registered
// later counts from the next assignment on. Names match in any case. Nothing here reports an error:
// an unknown switch is a plain argument, a value too many is dropped, and what was not given reads
// as empty text or false. Used by one thread.
class cCommandLine {
 public:
  // Joins the values of one switch: a character that ordinary arguments don't hold.
  static constexpr char16_t kSeparator = 254;
  static constexpr size_t kMostValues = 50;  // kept for a switch, and for the plain arguments

  const std::u16string& CommandLine() const noexcept { return text_; }
  void SetCommandLine(std::u16string_view text);

  // The first registration of a name stays.
  void AddSwitch(std::u16string_view name, bool TakesValue);

  std::u16string MainArg() const;  // the plain arguments, joined
  // The values of the first switch of this name, joined.
  std::u16string SwitchValue(std::u16string_view name) const;
  bool HasSwitch(std::u16string_view name) const;

 private:
  struct Entry {
    std::u16string name;  // lower case, without the prefix; empty for the plain arguments
    std::vector<std::u16string> values;  // <= kMostValues
  };

  void Take(std::u16string_view token, size_t& current);
  static void AddValue(Entry& entry, std::u16string value);
  const Entry* Find(std::u16string_view name) const;

  std::u16string text_;
  std::map<std::u16string, bool> switches_;  // by lower-case name: whether it takes values
  std::vector<Entry> entries_{Entry()};      // the plain arguments, then the switches as given
};

// The arguments in a process's command line: the text behind the program's name.
std::u16string_view ArgumentText(std::u16string_view command_line) noexcept;

}  // namespace pylon
