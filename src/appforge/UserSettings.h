#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pylon {

// The settings store of the current user: texts by application, section and key.
//
// Names are not empty and hold no NUL; a backslash in application or section stands between two
// names that are not empty either. Whether case counts is up to the store. Writing and deleting
// raise error 5 for a name that is too long to be there; all raise error 57 when the store fails.
class UserSettings {
 public:
  virtual ~UserSettings() = default;

  // Nothing when there is no such key, or when it holds something else than text.
  virtual std::optional<std::u16string> Read(std::u16string_view application,
                                             std::u16string_view section,
                                             std::u16string_view key) = 0;
  virtual void Write(std::u16string_view application, std::u16string_view section,
                     std::u16string_view key, std::u16string_view value) = 0;
  // False when there is no such key.
  virtual bool Delete(std::u16string_view application, std::u16string_view section,
                      std::u16string_view key) = 0;
};

}  // namespace pylon
