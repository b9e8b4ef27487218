#include "appforge/AppforgeSignature.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <span>
#include <utility>

#include "base/AutomationError.h"
#include "base/Bytes.h"
#include "base/Text.h"
#include "pdb/ByteOrder.h"

namespace pylon {
namespace {

constexpr std::u16string_view kNewSuffix = u".new";
constexpr int16_t kPenUp = -1;
constexpr int32_t kMaxSide = 32767;                 // the largest coordinate of a point
constexpr int64_t kMaxPixels = int64_t{64} << 20U;  // 192 MB: far more than any signature needs
constexpr int32_t kMaxFontPoints = 2160;            // 30 inches

AutomationError BadArgument(std::u16string description) {
  return AutomationError(ErrorNumber::kInvalidArgument, std::move(description));
}

int32_t Side(float given, int32_t designed, std::u16string_view name) {
  if (std::isnan(given)) throw BadArgument(std::u16string(name) + u" is not a number.");
  if (given <= 0) return designed;
  if (given > kMaxSide) {
    throw AutomationError(ErrorNumber::kOverflow,
                          std::u16string(name) + u" is more than 32767 pixels.");
  }
  return std::max(static_cast<int32_t>(std::lround(given)), 1);
}

// BITMAPFILEHEADER and BITMAPINFOHEADER.
// https://learn.microsoft.com/windows/win32/gdi/bitmap-storage
class BitmapHeaders {
 public:
  static constexpr size_t kFileHeaderSize = 14;
  static constexpr size_t kInfoHeaderSize = 40;
  static constexpr size_t kSize = kFileHeaderSize + kInfoHeaderSize;

  BitmapHeaders(int32_t width, int32_t height, size_t pixel_bytes) {
    static constexpr uint64_t kPixelsPerMetre = SignaturePicture::kPixelsPerInch * 10000 / 254;
    Put<2>(0x4D42);  // "BM"
    Put<4>(kSize + pixel_bytes);
    Put<4>(0);
    Put<4>(kSize);  // where the pixels start
    Put<4>(kInfoHeaderSize);
    Put<4>(static_cast<uint64_t>(width));
    Put<4>(static_cast<uint64_t>(height));  // positive: the lowest row comes first
    Put<2>(1);                              // planes
    Put<2>(24);                             // bits a pixel
    Put<4>(0);                              // not compressed
    Put<4>(pixel_bytes);
    Put<4>(kPixelsPerMetre);
    Put<4>(kPixelsPerMetre);
    Put<4>(0);  // no palette
    Put<4>(0);
  }
  ByteSpan bytes() const noexcept { return bytes_; }

 private:
  template <size_t N>
  void Put(uint64_t value) {
    StoreUnsigned(value, std::span<std::byte, N>(bytes_.data() + at_, N), ByteOrder::kLittle);
    at_ += N;
  }

  std::array<std::byte, kSize> bytes_ = {};
  size_t at_ = 0;  // <= kSize
};

bool Write(IPCFile& file, ByteSpan bytes) {
  return file.WriteByteArray(bytes, -1, {}) == static_cast<int32_t>(bytes.size());
}

// Writes headers and pixels beside the named file and puts them in its place.
void ReplaceFile(IPCFile& file, std::u16string_view path, ByteSpan headers, ByteSpan pixels) {
  file.SetFullFileName(path);
  const std::u16string full = file.FullFileName();
  const std::u16string name = file.FileName();
  if (name.empty()) throw BadArgument(u"'" + std::u16string(path) + u"' names no file.");
  const auto fail = [&](std::u16string_view what, bool delete_new) {
    std::u16string reason;
    int32_t number = 0;
    if (file.ReadErrorHandler(reason, number)) reason = u" (" + reason + u")";
    file.CloseFile();
    if (delete_new) file.DeleteFile();
    throw AutomationError(
        ErrorNumber::kPathFileAccess,
        u"Picture " + full + u": it can't be saved, " + std::u16string(what) + reason);
  };

  // Not deleted then: another process has what can't be opened.
  if (!file.OpenFile(name + std::u16string(kNewSuffix), u"W", {})) {
    fail(u"the new file can't be opened", false);
  }
  if (!Write(file, headers) || !Write(file, pixels)) fail(u"not all of it was written", true);
  if (!file.CloseFile()) fail(u"the new file can't be completed", true);
  if (!file.ReplaceFile(name)) fail(u"the new file can't take its place", true);
}

}  // namespace

void AppforgeSignature::Clear() noexcept {
  signature_.clear();
  stamp_.clear();
}

std::vector<SignatureLine> AppforgeSignature::Lines() const {
  std::vector<SignatureLine> lines;
  lines.reserve(signature_.size() / 2);
  std::optional<SignaturePoint> previous;
  for (size_t i = 0; i < signature_.size();) {
    const auto x = static_cast<int16_t>(signature_[i++]);
    if (x == kPenUp) {
      if (previous) lines.push_back({*previous, *previous});
      previous.reset();
      continue;
    }
    if (i == signature_.size()) {
      throw BadArgument(u"The signature ends in the middle of a point.");
    }
    const SignaturePoint point = {x, static_cast<int16_t>(signature_[i++])};
    if (previous) lines.push_back({*previous, point});
    previous = point;
  }
  return lines;
}

void AppforgeSignature::CreateBMP(std::u16string_view sFileName, const SignaturePicture& picture,
                                  SignatureSurface& surface, IPCFile& file) const {
  static const SignaturePicture kDefault;
  const int32_t width =
      Side(picture.ImageWidth, SignaturePicture::kDesignedWidth, u"The picture's width");
  const int32_t height =
      Side(picture.ImageHeight, SignaturePicture::kDesignedHeight, u"The picture's height");
  if (int64_t{width} * height > kMaxPixels) {
    throw AutomationError(ErrorNumber::kOutOfMemory,
                          u"A picture of " + ToText(width) + u" x " + ToText(height) +
                              u" pixels is too large; 67108864 pixels are the most.");
  }
  if (picture.StampFontSize > kMaxFontPoints) {
    throw BadArgument(u"The stamp's font can't be larger than 2160 points.");
  }
  const std::vector<SignatureLine> lines = Lines();

  surface.Clear(width, height, picture.BackColor);
  surface.DrawLines(lines, picture.SignatureColor);
  if (!stamp_.empty()) {
    surface.Print(stamp_,
                  picture.StampFontName.empty() ? kDefault.StampFontName : picture.StampFontName,
                  picture.StampFontSize <= 0 ? kDefault.StampFontSize : picture.StampFontSize,
                  picture.StampColor);
  }
  const ByteSpan pixels = surface.Pixels();
  ReplaceFile(file, sFileName, BitmapHeaders(width, height, pixels.size()).bytes(), pixels);
}

}  // namespace pylon
