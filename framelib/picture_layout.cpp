#include "framelib/picture_layout.h"

#include <cstdlib>

#include "media/colour_formats.h"

namespace {

// Larger pictures than this are refused before any arithmetic can wrap: 16K x 16K at 32 bits is 1 GiB.
constexpr int64_t kMaxImageBytes = int64_t{1} << 31;

}  // namespace

TPictureKind PictureLayoutOf(const TVideoProps& v, TPictureLayout* layout) {
  if (v.width == 0 || v.height == 0 || v.colourFormat == 0) return TPictureKind::None;
  if (v.width < 0 || !ColourIsSupported(v.colourFormat)) return TPictureKind::Invalid;
  const int32_t least = ColourRowBytes(v.colourFormat, v.width);
  if (least <= 0) return TPictureKind::Invalid;
  const int32_t rowBytes = v.rowBytes > least ? v.rowBytes : least;
  const int32_t lines = v.height == INT32_MIN ? INT32_MAX : std::abs(v.height);
  const int64_t bytes = ColourImageBytes(v.colourFormat, rowBytes, lines);
  if (bytes <= 0 || bytes > kMaxImageBytes) return TPictureKind::Invalid;
  if (layout) *layout = {rowBytes, lines, bytes, ColourIsRGB(v.colourFormat) && v.height > 0};
  return TPictureKind::Picture;
}
