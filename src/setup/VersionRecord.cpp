#include "setup/VersionRecord.h"

#include <cstdio>
#include <vector>

#include "base/Win32.h"

// After Win32.h, which defines how <windows.h> is read.
#include <winver.h>

namespace pylon {
namespace {

struct Translation {
  WORD language = 0x0409;
  WORD code_page = 1200;
};

class Record {
 public:
  explicit Record(const std::u16string& file) {
    DWORD unused = 0;
    const DWORD size = ::GetFileVersionInfoSizeW(Wide(file), &unused);
    if (size == 0) return;
    bytes_.resize(size);
    if (!::GetFileVersionInfoW(Wide(file), 0, size, bytes_.data())) bytes_.clear();
    if (const auto* first = Query<Translation>(L"\\VarFileInfo\\Translation")) first_ = *first;
  }

  const VS_FIXEDFILEINFO* Numbers() const { return Query<VS_FIXEDFILEINFO>(L"\\"); }
  std::u16string Text(const wchar_t* name) const {
    wchar_t path[64];
    std::swprintf(path, 64, L"\\StringFileInfo\\%04x%04x\\%ls", first_.language, first_.code_page,
                  name);
    UINT length = 0;
    const auto* text = Query<wchar_t>(path, &length);
    if (!text || length == 0) return {};
    const std::wstring_view whole(text, length);
    return FromWide(whole.substr(0, whole.find(L'\0')));
  }

 private:
  template <class T>
  const T* Query(const wchar_t* path, UINT* length = nullptr) const {
    void* found = nullptr;
    UINT size = 0;
    if (bytes_.empty() || !::VerQueryValueW(bytes_.data(), path, &found, &size) || size == 0) {
      return nullptr;
    }
    if (length) *length = size;
    return static_cast<const T*>(found);
  }

  std::vector<BYTE> bytes_;
  Translation first_;
};

}  // namespace

VersionRecord VersionRecord::Of(const std::u16string& file) {
  const Record record(file);
  VersionRecord version;
  if (const VS_FIXEDFILEINFO* numbers = record.Numbers()) {
    version.major = HIWORD(numbers->dwFileVersionMS);
    version.minor = LOWORD(numbers->dwFileVersionMS);
    version.revision = HIWORD(numbers->dwFileVersionLS);
  }
  version.title = record.Text(L"InternalName");
  version.description = record.Text(L"FileDescription");
  version.legal_notice = record.Text(L"LegalCopyright");
  version.trademarks = record.Text(L"LegalTrademarks");
  return version;
}

}  // namespace pylon
