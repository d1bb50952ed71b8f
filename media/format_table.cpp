#include "media/format_table.h"

#include "media/colour_formats.h"

namespace {

constexpr TVideoFormatRow kRows[eTVF_Count] = {
    {L"Custom", 0, 1, 0, 0, 0, 0, 0, -1, 0},
    {L"NTSC", 30000, 1001, 2, 720, 486, 4, 3, 0, 39},
    {L"NTSC-23p", 24000, 1001, 3, 720, 486, 4, 3, 0, 39},
    {L"NTSC-16x9", 30000, 1001, 2, 720, 486, 16, 9, 0, 39},
    {L"PAL", 25, 1, 1, 720, 576, 4, 3, 0, 49},
    {L"PAL-16x9", 25, 1, 1, 720, 576, 16, 9, 0, 49},
    {L"HD720-50p", 50, 1, 3, 1280, 720, 16, 9, 1, 30},
    {L"HD720-59p", 60000, 1001, 3, 1280, 720, 16, 9, 1, 30},
    {L"HD720-60p", 60, 1, 3, 1280, 720, 16, 9, 1, 30},
    {L"HD1080-23p", 24000, 1001, 3, 1920, 1080, 16, 9, 1, 45},
    {L"HD1080-24p", 24, 1, 3, 1920, 1080, 16, 9, 1, 45},
    {L"HD1080-25p", 25, 1, 3, 1920, 1080, 16, 9, 1, 45},
    {L"HD1080-29p", 30000, 1001, 3, 1920, 1080, 16, 9, 1, 45},
    {L"HD1080-30p", 30, 1, 3, 1920, 1080, 16, 9, 1, 45},
    {L"HD1080-50i", 25, 1, 1, 1920, 1080, 16, 9, 1, 45},
    {L"HD1080-59i", 30000, 1001, 1, 1920, 1080, 16, 9, 1, 45},
    {L"HD1080-60i", 30, 1, 1, 1920, 1080, 16, 9, 1, 45},
    {L"HD1080-50p", 50, 1, 3, 1920, 1080, 16, 9, 1, 45},
    {L"HD1080-59p", 60000, 1001, 3, 1920, 1080, 16, 9, 1, 45},
    {L"HD1080-60p", 60, 1, 3, 1920, 1080, 16, 9, 1, 45},
    {L"2K-DCI-23p", 24000, 1001, 3, 2048, 1080, 256, 135, 2, 0},
    {L"2K-DCI-24p", 24, 1, 3, 2048, 1080, 256, 135, 2, 0},
    {L"2K-DCI-25p", 25, 1, 3, 2048, 1080, 256, 135, 2, 0},
    {L"2K-DCI-50p", 50, 1, 3, 2048, 1080, 256, 135, 2, 0},
    {L"2K-DCI-59p", 60000, 1001, 3, 2048, 1080, 256, 135, 2, 0},
    {L"2K-DCI-60p", 60, 1, 3, 2048, 1080, 256, 135, 2, 0},
    {L"2K-23p", 24000, 1001, 3, 2048, 1556, 239, 100, 2, 0},
    {L"2K-24p", 24, 1, 3, 2048, 1556, 239, 100, 2, 0},
    {L"2K-25p", 25, 1, 3, 2048, 1556, 239, 100, 2, 0},
    {L"4K-UHD-50i", 25, 1, 1, 3840, 2160, 16, 9, 4, 0},
    {L"4K-UHD-59i", 30000, 1001, 1, 3840, 2160, 16, 9, 4, 0},
    {L"4K-UHD-60i", 30, 1, 1, 3840, 2160, 16, 9, 4, 0},
    {L"4K-UHD-23p", 24000, 1001, 3, 3840, 2160, 16, 9, 4, 0},
    {L"4K-UHD-24p", 24, 1, 3, 3840, 2160, 16, 9, 4, 0},
    {L"4K-UHD-25p", 25, 1, 3, 3840, 2160, 16, 9, 4, 0},
    {L"4K-UHD-29p", 30000, 1001, 3, 3840, 2160, 16, 9, 4, 0},
    {L"4K-UHD-30p", 30, 1, 3, 3840, 2160, 16, 9, 4, 0},
    {L"4K-DCI-23p", 24000, 1001, 3, 4096, 2160, 256, 135, 4, 0},
    {L"4K-DCI-24p", 24, 1, 3, 4096, 2160, 256, 135, 4, 0},
    {L"4K-DCI-25p", 25, 1, 3, 4096, 2160, 256, 135, 4, 0},
    {L"4K-UHD-50p", 50, 1, 3, 3840, 2160, 16, 9, 8, 0},
    {L"4K-UHD-59p", 60000, 1001, 3, 3840, 2160, 16, 9, 8, 0},
    {L"4K-UHD-60p", 60, 1, 3, 3840, 2160, 16, 9, 8, 0},
    {L"4K-DCI-50p", 50, 1, 3, 4096, 2160, 256, 135, 8, 0},
    {L"4K-DCI-59p", 60000, 1001, 3, 4096, 2160, 256, 135, 8, 0},
    {L"4K-DCI-60p", 60, 1, 3, 4096, 2160, 256, 135, 8, 0},
    {L"Disabled", 0, 1, 0, 0, 0, 0, 0, -1, 0},
};

struct TLayoutName {
  int32_t bits;
  const wchar_t* text;
};

constexpr TLayoutName kLayouts[] = {
    {kLayoutHalfSideBySide, L"3D-HSbS"}, {kLayoutHalfTopAndBottom, L"3D-HTnB"},
    {kLayoutSideBySide, L"3D-SbS"},      {kLayoutTopAndBottom, L"3D-TnB"},
    {kLayoutAuto, L"3D-Auto"},
};

// "Auto" lies outside the packing bits, so the lookup keys on both.
int32_t LayoutKey(int32_t format) { return format & (kLayoutBits | kLayoutAuto); }

}  // namespace

const TVideoFormatRow* VideoFormatRow(int32_t format) {
  const int32_t index = FormatIndex(format);
  return index < eTVF_Count ? &kRows[index] : nullptr;
}

const wchar_t* LayoutText(int32_t format) {
  const int32_t key = LayoutKey(format);
  for (const TLayoutName& l : kLayouts) {
    if (l.bits == key) return l.text;
  }
  return nullptr;
}

bool VideoFormatIsValid(int32_t format) {
  const int32_t index = FormatIndex(format);
  if (index >= eTVF_Count) return false;
  if (LayoutKey(format) == 0) return true;
  if (!LayoutText(format)) return false;
  if (index < eTVF_HD720_50p || index > eTVF_HD1080_60p) return false;
  // Halving the lines of an interlaced picture would tear its fields apart; a doubled 1080p at 50 and
  // above is more than a single link carries.
  if (index >= eTVF_HD1080_50i && index <= eTVF_HD1080_60i && (format & kLayoutHalfTopAndBottom)) return false;
  if (index >= eTVF_HD1080_50p && (format & kLayoutFullSize)) return false;
  return true;
}

int32_t LayoutWidth(int32_t format, int32_t rowWidth) {
  const bool doubled = (format & kLayoutSideBySide) == kLayoutSideBySide;
  return doubled ? rowWidth * 2 : rowWidth;
}

int32_t LayoutHeight(int32_t format, int32_t rowHeight) {
  const bool doubled = (format & kLayoutTopAndBottom) == kLayoutTopAndBottom;
  return doubled ? rowHeight * 2 : rowHeight;
}

uint32_t FormatClassColour(int32_t formatClass) {
  if (formatClass < 0) return 0;
  return formatClass == 0 ? kColourUYVY : kColourHDYC;
}
