#include "framelib/frame_convert.h"

#include <cstdlib>
#include <new>

#include "framelib/frame.h"
#include "framelib/picture_layout.h"
#include "framelib/scale_options.h"
#include "media/colour_formats.h"
#include "primitives/pixel_convert.h"
#include "primitives/primitives.h"

namespace {

int32_t SourceLayoutOf(uint32_t colour) {
  switch (colour) {
    case kColourARGB32: return kPixelSourceBgra;
    case kColourRGB32: return kPixelSourceBgrx;
    case kColourRGB24: return kPixelSourceBgr;
    default: return -1;
  }
}

int32_t TargetLayoutOf(uint32_t colour) {
  switch (colour) {
    case kColourARGB32: return kPixelTargetBgra;
    case kColourRGB32: return kPixelTargetBgrx;
    case kColourHDYC:
    case kColourUYVY: return kPixelTargetCbYCrY;
    case kColourYUY2: return kPixelTargetYCbYCr;
    default: return -1;
  }
}

bool SideOk(int32_t side) { return side >= 1 && side <= kConvertMaxSide; }

// The top row's address and the step down, whichever way the rows lie in memory.
template <typename Byte>
void TopAndStep(Byte* base, const TPictureLayout& layout, Byte** top, int32_t* step) {
  *top = base + PictureLineOffset(layout, 0);
  *step = layout.bottomUp ? -layout.rowBytes : layout.rowBytes;
}

}  // namespace

HRESULT ConvertFrame(TFrame& source, uint32_t colourFormat, int32_t width, int32_t height, const wchar_t* options,
                     const wchar_t* /*hints*/, ICVFrame_I** frame) {
  if (!frame) return E_POINTER;
  *frame = nullptr;
  const int32_t targetLayout = TargetLayoutOf(colourFormat);
  if (targetLayout < 0) return CV_E_FORMAT_REFUSED;
  if (!SideOk(width) || height == INT32_MIN || !SideOk(std::abs(height))) return E_INVALIDARG;

  TConvertOptions parsed;
  try {
    parsed = ParseConvertOptions(options);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }

  TVideoProps target{};
  target.colourFormat = colourFormat;
  target.width = width;
  target.height = ColourIsRGB(colourFormat) ? height : std::abs(height);
  target.rowBytes = ColourRowBytes(colourFormat, width);
  TPictureLayout targetShape{};
  if (PictureLayoutOf(target, &targetShape) != TPictureKind::Picture) return E_INVALIDARG;

  // The new picture is made before the source is locked: every byte of it gets written, so it needn't be
  // cleared, and the source waits for no allocation of that size.
  TFrame* made = TFrame::New();
  if (!made) return E_OUTOFMEMORY;
  if (!TByteBuffer::Make(targetShape.imageBytes, false, &made->picture_)) {
    made->Release();
    return E_OUTOFMEMORY;
  }
  made->pictureBytes_ = targetShape.imageBytes;

  HRESULT hr = S_OK;
  {
    TFrame::Guard guard(source.lock_);
    const TVideoProps& v = source.props_.video;
    TPictureLayout shape{};
    const int32_t sourceLayout = SourceLayoutOf(v.colourFormat);
    if (PictureLayoutOf(v, &shape) != TPictureKind::Picture || !source.picture_.Data() ||
        source.picture_.Size() < shape.imageBytes) {
      hr = E_UNEXPECTED;
    } else if (sourceLayout < 0) {
      hr = CV_E_FORMAT_REFUSED;
    } else if (!SideOk(v.width) || !SideOk(shape.lines)) {
      hr = E_INVALIDARG;
    } else {
      TPixelSource from{};
      TopAndStep<const uint8_t>(source.picture_.Data(), shape, &from.top, &from.step);
      from.width = v.width;
      from.height = shape.lines;
      from.layout = sourceLayout;
      TPixelTarget to{};
      TopAndStep<uint8_t>(made->picture_.Data(), targetShape, &to.top, &to.step);
      to.width = width;
      to.height = targetShape.lines;
      to.layout = targetLayout;
      const TScalePlacement place = PlaceScaled(parsed.scaleType, from.width, from.height, to.width, to.height);
      const TPixelRect fromRect{place.from.x, place.from.y, place.from.width, place.from.height};
      const TPixelRect toRect{place.to.x, place.to.y, place.to.width, place.to.height};
      const int32_t status = PixelScaleConvert(&from, &fromRect, &to, &toRect);
      if (status == kPrimNoMemory) {
        hr = E_OUTOFMEMORY;
      } else if (status != kPrimOk) {
        hr = E_FAIL;
      } else if (!source.audio_.CopyTo(&made->audio_) || !source.labels_.CopyTo(&made->labels_) ||
                 !source.values_.CopyTo(&made->values_)) {
        hr = E_OUTOFMEMORY;
      } else {
        made->props_ = source.props_;
        made->time_ = source.time_;
      }
    }
  }
  if (FAILED(hr)) {
    made->Release();
    return hr;
  }

  TVideoProps& out = made->props_.video;
  out.videoFormat = 0;
  out.colourFormat = target.colourFormat;
  out.width = target.width;
  out.height = target.height;
  out.rowBytes = targetShape.rowBytes;
  out.aspectX = 0;
  out.aspectY = 0;
  *frame = made;
  return S_OK;
}
