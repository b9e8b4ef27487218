#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace pylon {

// A private INI file of a SettingsStore. IniStoreFiles makes the real ones; those of tests are in
// memory.
class StoreFile {
 public:
  virtual ~StoreFile() = default;

  virtual void SetFolder(std::u16string_view folder) = 0;
  // The value without outer blanks; `default_value` for a file or key that is missing.
  virtual std::u16string Read(std::u16string_view section, std::u16string_view key,
                              std::u16string_view default_value) = 0;
  // Creates file and folder. Returns the reason when nothing was written.
  virtual std::optional<std::u16string> Write(std::u16string_view section, std::u16string_view key,
                                              std::u16string_view value) = 0;
};

using StoreFileFactory = std::function<std::unique_ptr<StoreFile>(std::u16string_view name)>;

}  // namespace pylon
