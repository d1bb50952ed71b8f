// The named video formats. A format word holds the table index in its low byte and, beside it, the
// bits of a 3D layout; a full-size layout doubles the picture of the row.
#pragma once

#include <cstdint>

enum TVideoFormat : int32_t {
  eTVF_Custom = 0,
  eTVF_NTSC,
  eTVF_NTSC_2398p,
  eTVF_NTSC_16x9,
  eTVF_PAL,
  eTVF_PAL_16x9,
  eTVF_HD720_50p,
  eTVF_HD720_5994p,
  eTVF_HD720_60p,
  eTVF_HD1080_2398p,
  eTVF_HD1080_24p,
  eTVF_HD1080_25p,
  eTVF_HD1080_2997p,
  eTVF_HD1080_30p,
  eTVF_HD1080_50i,
  eTVF_HD1080_5994i,
  eTVF_HD1080_60i,
  eTVF_HD1080_50p,
  eTVF_HD1080_5994p,
  eTVF_HD1080_60p,
  eTVF_2K_DCI_2398p,
  eTVF_2K_DCI_24p,
  eTVF_2K_DCI_25p,
  eTVF_2K_DCI_50p,
  eTVF_2K_DCI_5994p,
  eTVF_2K_DCI_60p,
  eTVF_2K_2398p,
  eTVF_2K_24p,
  eTVF_2K_25p,
  eTVF_4K_UHD_50i,
  eTVF_4K_UHD_5994i,
  eTVF_4K_UHD_60i,
  eTVF_4K_UHD_2398p,
  eTVF_4K_UHD_24p,
  eTVF_4K_UHD_25p,
  eTVF_4K_UHD_2997p,
  eTVF_4K_UHD_30p,
  eTVF_4K_DCI_2398p,
  eTVF_4K_DCI_24p,
  eTVF_4K_DCI_25p,
  eTVF_4K_UHD_50p,
  eTVF_4K_UHD_5994p,
  eTVF_4K_UHD_60p,
  eTVF_4K_DCI_50p,
  eTVF_4K_DCI_5994p,
  eTVF_4K_DCI_60p,
  eTVF_Disabled,
  eTVF_Count
};

// 3D layout bits of a format word.
inline constexpr int32_t kLayoutHalfSideBySide = 0x0200;
inline constexpr int32_t kLayoutHalfTopAndBottom = 0x0400;
inline constexpr int32_t kLayoutAuto = 0x0800;
inline constexpr int32_t kLayoutFullSize = 0x1000;
inline constexpr int32_t kLayoutPacking = kLayoutHalfSideBySide | kLayoutHalfTopAndBottom;  // 0x600
inline constexpr int32_t kLayoutBits = kLayoutPacking | kLayoutFullSize;                  // 0x1600
inline constexpr int32_t kLayoutSideBySide = kLayoutFullSize | kLayoutHalfSideBySide;
inline constexpr int32_t kLayoutTopAndBottom = kLayoutFullSize | kLayoutHalfTopAndBottom;
inline constexpr int32_t kFormatIndexMask = 0xFF;

struct TVideoFormatRow {
  const wchar_t* shortName;
  int32_t rateNum;
  int32_t rateDen;
  int32_t scan;
  int32_t width;
  int32_t height;
  int16_t aspectX;
  int16_t aspectY;
  int32_t formatClass;  // 0: standard definition (UYVY by default); -1: no picture; other: HDYC by default
  int32_t extraLines;   // vertical blanking a picture may carry and still count as this format
  double Rate() const { return rateDen ? static_cast<double>(rateNum) / rateDen : 0.0; }
};

inline int32_t FormatIndex(int32_t format) { return format & kFormatIndexMask; }
// Magnitude of a line count; heights carry the picture's orientation in their sign.
inline int32_t LineCount(int32_t height) {
  return height >= 0 ? height : (height == INT32_MIN ? INT32_MAX : -height);
}
// The row of a format word's index, or null past the table.
const TVideoFormatRow* VideoFormatRow(int32_t format);
// A layout is only defined for the HD rows, and not every HD row can carry every layout.
bool VideoFormatIsValid(int32_t format);
// "3D-SbS" and friends; null when the word names no layout.
const wchar_t* LayoutText(int32_t format);
// The row's picture size, doubled where the layout asks for full size.
int32_t LayoutWidth(int32_t format, int32_t rowWidth);
int32_t LayoutHeight(int32_t format, int32_t rowHeight);
// The colour a row gets when the record names none; 0 for rows without a picture.
uint32_t FormatClassColour(int32_t formatClass);
