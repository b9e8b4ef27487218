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

}  // namespace inventory
