#include "conduits/IniStoreFile.h"

#include "files/cFileIO.h"

namespace pylon {
namespace {

class IniStoreFile final : public StoreFile {
 public:
  IniStoreFile(std::u16string_view name, const AnsiCodePage& code_page) : file_({}, code_page) {
    file_.SetFullFileName(name);
  }

  void SetFolder(std::u16string_view folder) override { file_.SetFilePath(folder); }
  std::u16string Read(std::u16string_view section, std::u16string_view key,
                      std::u16string_view default_value) override {
    return file_.ReadINI(section, key, default_value);
  }
  std::optional<std::u16string> Write(std::u16string_view section, std::u16string_view key,
                                      std::u16string_view value) override {
    file_.ValidateDirectory({});
    if (file_.WriteIni(section, key, value)) return std::nullopt;
    std::u16string reason;
    int32_t number = 0;
    file_.ReadErrorHandler(reason, number);
    return reason;
  }

 private:
  cFileIO file_;
};

}  // namespace

StoreFileFactory IniStoreFiles(const AnsiCodePage& code_page) {
  return [&code_page](std::u16string_view name) {
    return std::make_unique<IniStoreFile>(name, code_page);
  };
}

}  // namespace pylon
