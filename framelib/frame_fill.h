// MarkupFill: one rectangle of a colour laid over the picture. The software loop paints the part of a
// shot outside `visible` with it, so it shades exactly as the GPU's final pass does there.
//
// Markup, the rectangle form "color=%s width=%d height=%d": items name=value separated by blanks, names
// in any letter case and order, a value optionally in single or double quotes; unknown items are passed
// over. `color` takes every form ParseColor reads ("Black(170)", "#RRGGBB", "#AARRGGBB", "0x..." numbers,
// names with an alpha in parentheses); missing or unreadable it is 0xAA000000, the default of the
// background colour, black. `width` and `height` are decimal; missing or unreadable they are 0, and
// nothing is painted. The rectangle's top left corner is (x, y), counted from the picture's top row
// whatever its row order; what lies outside the picture is cut off, negative and huge sizes included.
//
// Opacity is the share of the picture that stays, as the byte A of the system's colours: the picture
// keeps k = opacity clamped to 0 .. 1, and the colour covers the rest. Per channel in 32-bit float,
// stored rounded to the nearest byte:
//   out = picture x k + colour x (1 - k)
// The colour's own alpha byte is not applied on top: FillOutsideVisible derives the opacity from it,
// passing A / 255 with the very text whose A it is, and this is then the GPU's shading
// c x A + colour x (1 - A) byte for byte. A NaN opacity takes the colour's own A / 255 instead, for
// callers that want the colour text alone to decide.
//
// Pixels. ARGB32 and RGB32 in either row order: the colour channels are shaded and the fourth byte
// stays, as the GPU's ARGB program keeps the picture's alpha. HDYC, UYVY, YUY2 and YVYU: the colour is
// turned into studio-range BT.601 Y, Cb, Cr with the coefficients of the HDYC program, and each byte is
// shaded with its own component; the shading is affine, so this equals shading before packing up to the
// rounding of the bytes. A pixel pair shares its chroma: a pair with one pixel inside has its chroma
// shaded. Any other colour: CV_E_FORMAT_REFUSED.
//
// Status: S_OK when pixels were painted; S_FALSE when nothing was (an empty rectangle, one wholly
// outside, or k = 1, which would leave every byte as it is); E_INVALIDARG for a frame without a picture.
#pragma once

#include <cstdint>

#include "CVDeviceSCR.h"
#include "props/value_codecs.h"

class TFrame;

// What a markup text asks for.
struct TFillMarkup {
  Colour colour;
  int32_t width;
  int32_t height;
};

// The default colour of a rectangle whose markup names none it can read.
inline constexpr Colour kFillDefaultColour = 0xAA000000;

// Reads the markup as above; a null text gives the defaults.
TFillMarkup ParseFillMarkup(const wchar_t* markup);

// TFrame::MarkupFill.
HRESULT FillMarkupRect(TFrame& target, int32_t x, int32_t y, double opacity, const wchar_t* markup);
