// Overlay: one frame's picture blended into another's, as the overlay draws of the GPU path do it, so
// that the software loop's marks (highlight disc, click ring, pointer) give the same bytes as the
// hardware loop's for the same pictures.
//
// Pixels. Targets ARGB32 and RGB32, sources ARGB32 and RGB32, each in either row order. An RGB32 source
// counts as opaque; an RGB32 target keeps its fourth byte. Any other colour of either frame gives
// CV_E_FORMAT_REFUSED (the packed YUV colours included: blending them would mean unpacking to RGB and
// packing again, and the engine only ever overlays onto ARGB32 pictures).
//
// Placement. The rectangle (x, y, width, height) is in pixels of the target and may be fractional. The
// source is sampled as the GPU's rasteriser and linear sampler would: a target pixel is covered when its
// centre lies in [x, x + width) x [y, y + height), and it takes the bilinear sample of the source at
// the matching point, texel centres at i + 0.5, edges clamped. So a fractional x or y samples between
// texels rather than rounding the position, and a source drawn at its own size at a whole-pixel
// position is copied exactly. The part outside the target is cut off.
//
// Blend, per colour channel in 32-bit float on values byte / 255, stored rounded to the nearest byte:
//   a = source alpha x opacity
//   straight (kOverlayBlend):       out = src x a       + dst x (1 - a)
//   premultiplied (also flag 2):    out = src x opacity + dst x (1 - a)
//   alpha of an ARGB32 target:      out = min(a, dst alpha)
// The straight rule is the GPU's blend state (SRC_ALPHA, INV_SRC_ALPHA, add). Its alpha operation is MIN,
// which ignores the factors ONE and ZERO, so the target's alpha drops to the source's over the whole
// covered rectangle, transparent parts included; at opacity 0 the colours stay and the alpha goes to 0.
// Opacity is clamped to 0 .. 1, and NaN counts as 0.
//
// Which pictures are which. All three marks of the engine are premultiplied pictures: the click rings
// (stock images 108 and 109) are stored so; the highlight disc after TintHighlightFrame has colour
// c x a / 255 beside its alpha a; the pointer picture is drawn onto a surface cleared to zero (which
// multiplies its colour by its alpha), the X server hands out cursor images premultiplied, and a
// monochrome pointer has only alpha 0 over colour 0, and alpha 255. Even so the engine passes flag 1 for
// every overlay, because the GPU blends every overlay with the straight state and the two loops have to
// agree: soft edges come out a little darker on both alike. The disc still differs between the loops
// before any blend: the GPU's coloured overlay program gives colour m x c with alpha m x (1 - A), scaled
// by the mask but not by the transparency, where TintHighlightFrame scales the colour by both; they
// agree at A = 0. kOverlayPremultiplied is there for callers that want the true composite.
//
// Status: S_OK when something was drawn; S_FALSE when nothing is covered (a size that isn't positive, or
// a rectangle wholly outside the target), and the target is untouched; E_POINTER for a null source or
// rectangle; E_INVALIDARG for a rectangle that isn't finite, unknown flag bits, a source that isn't a
// frame of this library, or a frame without a picture; CV_E_FORMAT_REFUSED as above; E_OUTOFMEMORY when
// the source's copy or the sample tables can't be had.
#pragma once

#include <cstdint>

#include "CVDeviceSCR.h"

class TFrame;

// Blend as the GPU's overlay state does, with straight alpha. What the engine passes; the library has no
// unblended copy, so a flags value without this bit means the same.
inline constexpr int32_t kOverlayBlend = 0x1;
// The source's colours are already multiplied by its alpha.
inline constexpr int32_t kOverlayPremultiplied = 0x2;

// TFrame::Overlay. The source is read under its own lock into a private copy before the target's lock
// is taken, so two frames overlaid onto each other from two threads can't deadlock, and a frame may be
// overlaid onto itself.
HRESULT OverlayFrame(TFrame& target, ICVFrame_I* source, const TOverlayRect* rect, int32_t flags, double opacity);
