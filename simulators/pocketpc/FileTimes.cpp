#include "FileTimes.h"

#include <cwchar>
#include <vector>

#include "../common/Log.h"
#include "Errors.h"
#include "Handles.h"

namespace pocketpc {
namespace {

OwnedHandle Open(const std::wstring& file, DWORD access, DWORD disposition) {
  return OwnedHandle(NullIfInvalid(::CreateFileW(VerbatimPath(file).c_str(), access,
                                                 FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                                 disposition, FILE_ATTRIBUTE_NORMAL, nullptr)));
}

std::wstring Utf16(const std::string& utf8) {
  std::wstring text(utf8.size(), L'\0');
  if (utf8.empty()) return text;
  const int length = ::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(),
                                           static_cast<int>(utf8.size()), text.data(),
                                           static_cast<int>(text.size()));
  Check(length > 0, ERROR_INVALID_DATA);
  text.resize(static_cast<size_t>(length));
  return text;
}

}  // namespace

int64_t Ticks(const FILETIME& time) noexcept {
  return static_cast<int64_t>(static_cast<uint64_t>(time.dwHighDateTime) << 32 |
                              time.dwLowDateTime);
}

FILETIME FromTicks(int64_t ticks) noexcept {
  return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

FileTimes::FileTimes(std::wstring file) : file_(std::move(file)) { Read(); }

std::optional<FILETIME> FileTimes::Of(const std::wstring& path) const {
  const auto found = created_.find(path);
  if (found == created_.end()) return std::nullopt;
  return FromTicks(found->second);
}

void FileTimes::Set(const std::wstring& path, const FILETIME& created) {
  created_[path] = Ticks(created);
  Write();
}

void FileTimes::Forget(const std::wstring& path) {
  if (created_.erase(path) != 0) Write();
}

void FileTimes::Move(const std::wstring& from, const std::wstring& to) {
  const auto is_at_or_below = [](std::wstring_view path, std::wstring_view folder) {
    return path.size() >= folder.size() &&
           EqualIgnoringCase(path.substr(0, folder.size()), folder) &&
           (path.size() == folder.size() || path[folder.size()] == L'\\');
  };
  decltype(created_) moved;
  const size_t changed = std::erase_if(created_, [&](const auto& entry) {
    const auto& [path, time] = entry;
    const bool moves = is_at_or_below(path, from);
    if (moves) moved.emplace(to + path.substr(from.size()), time);
    // What was there before has been removed behind the device's back.
    return moves || is_at_or_below(path, to);
  });
  if (changed == 0) return;
  created_.merge(moved);
  Write();
}

// Lines of a number, a blank and a path.
void FileTimes::Read() {
  const OwnedHandle file = Open(file_, GENERIC_READ, OPEN_EXISTING);
  if (!file) {
    const DWORD error = ::GetLastError();
    Check(error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND, error);
    return;
  }
  std::string utf8(::GetFileSize(file.get(), nullptr), '\0');
  DWORD read = 0;
  CheckWindows(
      ::ReadFile(file.get(), utf8.data(), static_cast<DWORD>(utf8.size()), &read, nullptr));
  utf8.resize(read);
  const std::wstring text = Utf16(utf8);
  for (size_t start = 0; start < text.size();) {
    const size_t end = std::min(text.find(L'\n', start), text.size());
    wchar_t* blank = nullptr;
    const int64_t time = std::wcstoll(text.c_str() + start, &blank, 10);
    const size_t path = static_cast<size_t>(blank - text.c_str()) + 1;
    Check(*blank == L' ' && path < end, ERROR_INVALID_DATA);
    created_[text.substr(path, end - path)] = time;
    start = end + 1;
  }
}

void FileTimes::Write() const {
  std::wstring text;
  for (const auto& [path, time] : created_) {
    text.append(std::to_wstring(time)).append(L" ").append(path).append(L"\n");
  }
  const std::string utf8 = simulator::Utf8(text);
  const OwnedHandle file = Open(file_, GENERIC_WRITE, CREATE_ALWAYS);
  CheckWindows(file != nullptr);
  DWORD written = 0;
  CheckWindows(
      ::WriteFile(file.get(), utf8.data(), static_cast<DWORD>(utf8.size()), &written, nullptr));
  Check(written == utf8.size(), ERROR_DISK_FULL);
}

}  // namespace pocketpc
