#pragma once

#include <string>
#include <string_view>

namespace pylon {

// How a line of the log or an error names its database. For everything that speaks of one.

// "Database C:\folder\Notes.pdb: the reason", for one in a file.
inline std::u16string DatabaseFileText(std::u16string_view path, std::u16string_view reason) {
  return u"Database " + std::u16string(path) + u": " + std::u16string(reason);
}

// "Database "Notes": the reason", for one known by its name.
inline std::u16string DatabaseText(std::u16string_view name, std::u16string_view reason) {
  return DatabaseFileText(u'"' + std::u16string(name) + u'"', reason);
}

}  // namespace pylon
