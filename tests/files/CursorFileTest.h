#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "base/Text.h"
#include "files/CursorFile.h"
#include "tests/support/FileText.h"

namespace pylon::testing {

// What the file's error handler has; a number goes with a message, and none without.
inline std::u16string PendingError(IPCFile& file) {
  std::u16string message;
  int32_t number = 0;
  const bool pending = file.ReadErrorHandler(message, number);
  EXPECT_EQ(pending, number != 0);
  EXPECT_EQ(pending, !message.empty());
  return message;
}
inline std::string ReadBytes(IPCFile& file, int32_t offset, int32_t count) {
  Bytes bytes = ToBytes("left over");
  const int32_t read = file.ReadByteArray(bytes, offset, count, {});
  EXPECT_EQ(static_cast<size_t>(read), bytes.size());
  return TextOf(bytes);
}
inline int32_t WriteBytes(IPCFile& file, std::string_view text, int32_t offset) {
  return file.WriteByteArray(ToBytes(text), offset, {});
}

// A folder in which a file object can be tried: names are in its own terms and below the folder.
// What the place itself is asked goes past the classes under test.
class FilePlace {
 public:
  virtual ~FilePlace() = default;
  virtual std::unique_ptr<CursorFile> NewFile() = 0;
  virtual std::u16string folder() const = 0;  // without a separator at its end
  virtual bool Exists(std::u16string_view name) = 0;
  virtual std::string Read(std::u16string_view name) = 0;  // "no such file" when missing
  virtual void Write(std::u16string_view name, std::string_view bytes) = 0;
  virtual void Delete(std::u16string_view name) = 0;
  virtual Date Now() = 0;
  virtual bool empties_at_open() const { return false; }  // the mode "W"
  std::u16string File(std::u16string_view name) const {
    return folder() + u"\\" + std::u16string(name);
  }
};

struct PlaceKind {
  const char* name;
  std::function<std::unique_ptr<FilePlace>()> make;
};

// What all file objects have in common is tried in every place; see where it is instantiated.
class CursorFileTest : public ::testing::TestWithParam<PlaceKind> {
 protected:
  CursorFileTest() { file_->SetFilePath(place_->folder()); }

  std::u16string Error() { return PendingError(*file_); }
  std::string Read(int32_t offset, int32_t count) { return ReadBytes(*file_, offset, count); }
  int32_t Write(std::string_view text, int32_t offset) { return WriteBytes(*file_, text, offset); }

  std::unique_ptr<FilePlace> place_ = GetParam().make();
  std::unique_ptr<CursorFile> file_ = place_->NewFile();
};

inline std::string PlaceName(const ::testing::TestParamInfo<PlaceKind>& info) {
  return info.param.name;
}

}  // namespace pylon::testing
