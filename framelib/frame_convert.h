// FrameConvert: a new frame with a frame's picture in another pixel format and size.
//
// Sources: ARGB32, RGB32 and RGB24, in either row order (a positive height lies bottom-up, a negative
// one top-down) and with any row size at least the format's. Targets: ARGB32 and RGB32 (in the row
// order the sign of `height` gives), HDYC, UYVY and YUY2 (always top-down; the height's sign doesn't
// matter), at any size from 1 to kConvertMaxSide per side; a 4:2:2 frame of odd width pairs its last
// pixel with itself. How the picture fits the new size is the option text's scale-type
// (scale_options.h); the filters are those of PixelScaleConvert: a straight copy or pack at the same
// size, area averaging for reductions of more than 2 in an axis, bilinear otherwise.
//
// Bytes: HDYC and UYVY are Cb Y0 Cr Y1, YUY2 Y0 Cb Y1 Cr, with the values of the HDYC program. ARGB32
// keeps an ARGB32 source's alpha (resampled with the colour) and is opaque for RGB32 and RGB24 sources,
// whose fourth byte means nothing; RGB32 always has 255 in its fourth byte, so that a reader who takes
// it for ARGB sees an opaque picture.
//
// The new frame holds one reference for the caller and carries the source's time, labels, named
// values and sound; its format is the source's with the new pixel format, size and row size, no table
// format and no aspect pair. `hints` ("screen-cap" for screen pictures) is accepted and changes no byte.
// The source is read under its lock from start to end, so a concurrent FormatSet can't move or regrow
// its picture halfway; the pixels themselves belong to whoever holds the frame, as with PixelsGet.
//
// Status, with *frame null on every failure: E_POINTER for a null `frame`; 0x8004022A when the target
// or the source pixel format is outside the sets above; E_INVALIDARG for a size of 0, a negative width
// or a side above kConvertMaxSide (source or target); E_UNEXPECTED when the source has no picture;
// E_OUTOFMEMORY.
#pragma once

#include <cstdint>

#include "CVDeviceSCR.h"

class TFrame;

inline constexpr int32_t kConvertMaxSide = 16384;

HRESULT ConvertFrame(TFrame& source, uint32_t colourFormat, int32_t width, int32_t height, const wchar_t* options,
                     const wchar_t* hints, ICVFrame_I** frame);
