#pragma once

#include <string>
#include <string_view>

#include "files/IPCFile.h"

namespace pylon::testing {

// What the file objects of tests share: name, folder, cursor and the last failure.
class NamedFile : public IPCFile {
 public:
  void Reset() override { cursor_ = 0; }
  void SetCursorPos(int32_t position) override { cursor_ = position; }
  int32_t CurrentPos() override { return cursor_; }
  bool IsEOF() override { return cursor_ >= FileSize(); }

  std::u16string FullFileName() override { return FullNameOf(name_); }
  void SetFullFileName(std::u16string_view name) override {
    const size_t separator = name.rfind(u'\\');
    if (separator != name.npos) folder_ = name.substr(0, separator);
    name_ = name.substr(separator == name.npos ? 0 : separator + 1);
  }
  std::u16string FileName() override { return name_; }
  std::u16string FileNameNoExt() override { return name_.substr(0, name_.rfind(u'.')); }
  std::u16string FilePath() override { return folder_; }
  void SetFilePath(std::u16string_view folder) override { folder_ = folder; }
  std::u16string FileExt() override {
    const size_t point = name_.rfind(u'.');
    return point == name_.npos ? std::u16string() : name_.substr(point + 1);
  }
  void SetFileExt(std::u16string_view extension) override {
    name_ = FileNameNoExt() + u"." + std::u16string(extension);
  }

  bool ReadErrorHandler(std::u16string& message, int32_t& number) override {
    message = failure_;
    number = failure_.empty() ? 0 : 57;
    return !failure_.empty();
  }

  // Nothing under test asks for these.
  void ValidateFile(std::u16string_view) override {}
  void SetTempFileInfo(std::u16string_view) override {}
  bool OpenTempFile(std::u16string_view, std::u16string_view, std::u16string_view) override {
    return false;
  }
  bool MoveFile(std::u16string_view) override { return false; }
  bool CopyFile(std::u16string_view) override { return false; }
  Date CreateDateTime() override { return 0; }
  void SetCreateDateTime(Date) override {}
  Date ModifyDateTime() override { return 0; }
  void SetModifyDateTime(Date) override {}

 protected:
  std::u16string FullNameOf(std::u16string_view name) const {
    return folder_ + u"\\" + std::u16string(name);
  }
  bool Fail(std::u16string_view failure) {
    failure_ = failure;
    return false;
  }

  std::u16string folder_;
  std::u16string name_;
  std::u16string failure_;
  int32_t cursor_ = 0;
};

}  // namespace pylon::testing
