#include "Files.h"

#include <fstream>
#include <iterator>
#include <system_error>

namespace inventory {

namespace fs = std::filesystem;

std::optional<std::string> ReadBytes(const fs::path& path) {
  std::error_code error;
  if (!fs::exists(path, error) && !error) return std::nullopt;
  std::ifstream file(path, std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(file), {}};
  if (!file.is_open() || file.bad()) throw FileError{path.u16string() + u" can't be read"};
  return bytes;
}

void WriteBytes(const fs::path& path, std::string_view bytes) {
  fs::path temporary = path;
  temporary += ".new";
  std::error_code error;
  {
    std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (file) fs::rename(temporary, path, error);
    if (file && !error) return;
  }
  std::error_code ignored;
  fs::remove(temporary, ignored);
  throw FileError{path.u16string() + u" can't be written; a program may have it open"};
}

TableText ReadText(std::string_view bytes, const sample::SystemText& system) {
  const sample::FileText file = sample::ReadFileText(bytes, system);
  if (!file.text) {
    const bool wide = file.encoding == sample::FileText::Encoding::kUtf16;
    throw TableError{wide ? u"it is no text: its UTF-16 is damaged"
                          : u"it is no text: its UTF-8 is damaged"};
  }
  if (file.text->find(u'\0') != std::u16string::npos) {
    throw TableError{u"it is no text: it has zero bytes"};
  }
  return {*file.text, file.marked};
}

std::string WriteText(const TableText& file) {
  return std::string(file.marked ? sample::kUtf8Mark : "") + ToUtf8(file.text);
}

}  // namespace inventory
