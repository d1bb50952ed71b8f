// TextDraw: one line of marked-up text drawn into a frame's picture, over a see-through box.
//
// Style. Items name='value' separated by blanks (double quotes and bare values are taken too); names
// ignore case, unknown names are passed over, and a value that doesn't read leaves that item's default:
//   color     colour of the text in any form of the colour codec; default white. The text is solid:
//             its coverage alone decides how much of the picture shows between the strokes, and the
//             colour's alpha is not looked at.
//   bg-color  colour of the box behind the line; its alpha A leaves A / 255 of the picture showing, as
//             everywhere a colour lies over the picture ("black(100)" keeps 100 / 255 of it). Default:
//             no box. A colour without alpha ("black") has A = 255 and so draws no box either.
//   face      font family; default (and for an empty value) the machine's monospace face. A family the
//             machine lacks falls back to that face as well.
//
// Size. The em of the font is size x picture height / kTextSizeDivisor pixels, rounded, at least
// kTextMinPixels and at most the raster's limit; a size that is not above 0 counts as 1. So on a 1080-line
// picture size 1 draws with an em of 36 pixels, size 2 with 72.
//
// The box. As high as the font's ascent plus descent, and as wide as the line's advances plus
// TextPadding(em) on either side. The line's first pen position is that padding right of the box's left
// edge, its baseline ascent rows below the box's top edge.
//
// Placement. With `relative` 1, x and width are fractions of the picture's width, y and height of its
// height; otherwise pixels. They make an area: left x, top y, right x + width, bottom y + height; a width
// or height of 0 leaves the same margin on the far side as on the near one (right = picture width - x).
// The flags place the box in the area:
//   0x01  centred across the area            (else 0x02, else its left edge on the area's left)
//   0x02  its right edge on the area's right
//   0x10  centred down the area              (else 0x20, else its top edge on the area's top)
//   0x20  its bottom edge on the area's bottom
// The engine's two lines, both at 0, 0.05, 0, 0 relative: the timecode (0x21) sits centred with its box's
// bottom 5% above the picture's bottom, the key line (0x01) centred with its box's top 5% below the
// picture's top; with at most size 2 they stay apart on any picture of 40 lines or more.
//
// Pictures: ARGB32 and RGB32 in either line order, and the packed 4:2:2 formats HDYC, UYVY, YUY2 and
// YVYU. In RGB the box and then the text blend each colour byte; ARGB's alpha byte grows as by "over"
// compositing, RGB32's fourth byte is left alone. In 4:2:2 the colours become studio-range BT.601 values,
// the same bytes as the HDYC conversion gives (white Y 235, Cb Cr 128; black Y 16), luma blends per
// pixel and chroma per pair with the mean of the pair's two weights. Blends are exact at both ends (no
// coverage keeps the picture, full coverage puts the colour) and within one step in between. Everything
// is cut at the picture's edges; nothing outside the picture is written.
//
// Status: S_OK drawn; S_FALSE for a null or empty text (nothing drawn); E_POINTER for a null placement;
// E_UNEXPECTED for a frame without a picture; CV_E_FORMAT_REFUSED for any other picture format;
// CV_E_DEVICE_NOT_AVAILABLE when the machine has no text raster; a failure of the raster as it gives it.
#pragma once

#include <cstdint>
#include <string>

#include "CVDeviceSCR.h"
#include "props/value_codecs.h"

namespace cvplat {
class ITextRaster;
}

inline constexpr int32_t kTextCentreAcross = 0x01;
inline constexpr int32_t kTextRight = 0x02;
inline constexpr int32_t kTextCentreDown = 0x10;
inline constexpr int32_t kTextBottom = 0x20;

inline constexpr double kTextSizeDivisor = 30.0;
inline constexpr int32_t kTextMinPixels = 8;
// Space between the box's side and the line: an eighth of the em, at least one pixel.
inline int32_t TextPadding(int32_t em) { return em >= 16 ? em / 8 : 1; }

inline constexpr Colour kTextDefaultColour = 0xFFFFFFFF;  // white
inline constexpr Colour kTextNoBackground = 0xFF000000;   // alpha 255: the picture shows whole

struct TTextStyle {
  Colour colour = kTextDefaultColour;
  Colour background = kTextNoBackground;
  std::wstring face;  // empty: the machine's monospace face
};

// The style text read as described above; null or empty gives the defaults.
TTextStyle ParseTextStyle(const wchar_t* style);

// The em in pixels for `size` on a picture of `pictureLines` lines.
int32_t TextPixelSize(double size, int32_t pictureLines);

// Draws into `pixels`, a picture of format `video`, with `raster`.
HRESULT TextDrawPicture(const TVideoProps& video, uint8_t* pixels, const wchar_t* text, double size,
                        const TTextPlacement* placement, int32_t flags, const wchar_t* style,
                        cvplat::ITextRaster* raster);

// Draws into the frame's picture with the process's text raster.
HRESULT TextDraw(ICVFrame_I* frame, const wchar_t* text, double size, const TTextPlacement* placement,
                 int32_t flags, const wchar_t* style);
