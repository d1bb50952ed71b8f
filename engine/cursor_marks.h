// The marks of a pass, in the order that puts the pointer on top: the highlight disc, the click ring,
// the pointer. The hardware loop paints them into the texture of `current` through the gpu seam; the
// software loop blends them into the raw shot frame through the frame library. No result of a mark
// stops the pass.
//
// Threads: the capture thread only.
#pragma once

#include <cstdint>

#include "CVDeviceSCR.h"
#include "engine/capture_region.h"
#include "engine/cursor_overlay.h"
#include "engine/gpu_pipeline.h"

// Which of the three stock pictures lies where, in the order they are loaded.
inline constexpr int kStockIndexLeftClick = 0;   // image 108
inline constexpr int kStockIndexRightClick = 1;  // image 109
inline constexpr int kStockIndexHighlight = 2;   // image 107

// The side of the click ring for a counter value: 101 at 8 down to 17 at 1.
inline int32_t ClickRingSize(int32_t counter) { return 12 * (counter < 0 ? -counter : counter) + 5; }

// ---- hardware loop ----

// Paints `overlay` stretched over `rect` (desktop coordinates) into `target`, the picture of
// `region.current`. With a colour that isn't 0 the overlay's first channel is a mask of that colour, its
// top byte a transparency. S_FALSE when `rect` doesn't touch `current`; E_FAIL when a view or the
// vertex buffer can't be made.
HRESULT DrawOverlayTexture(TGpuPipeline& gpu, cvplat::IGpuTexture2D* target, const TCaptureRegion& region,
                           cvplat::IGpuTexture2D* overlay, const TRect& rect, const uint32_t* colour);
// The pointer's picture at `position` (its top left corner; null: where the pointer is now).
HRESULT DrawCursorTexture(TGpuPipeline& gpu, TCursorOverlay& cursor, cvplat::IGpuTexture2D* target,
                          const int32_t* position, const TCaptureRegion& region);
void DrawHardwareMarks(TGpuPipeline& gpu, TCursorOverlay& cursor, const TCursorState& state,
                       cvplat::IGpuTexture2D* target, const TCaptureRegion& region, XMLParse::CoXMLNode* props);

// ---- software loop ----

// The highlight disc from its mask (RGB32, the first byte of a pixel the mask value) in `colour`: a new
// ARGB32 frame of the mask's size with premultiplied colour. The result of FrameCreate; E_POINTER without
// a mask, factory or output, CV_E_FORMAT_REFUSED for a mask that isn't 32-bit RGB.
HRESULT TintHighlightFrame(ICVFrame_I* mask, uint32_t colour, ICVFactory* factory, ICVFrame_I** frame);
void DrawSoftwareMarks(ICVFactory* factory, ICVFrame_I* const stockFrames[3], TCursorOverlay& cursor,
                       const TCursorState& state, ICVFrame_I* target, const TCaptureRegion& region,
                       XMLParse::CoXMLNode* props);
