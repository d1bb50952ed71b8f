// De-interleaving conversions from packed integer frames into one float plane per channel.
#include "primitives/kernels.h"
#include "primitives/primitives.h"

namespace {

// A null plane is a null pointer too; it is checked before any size, for all planes there are.
bool PlanesPresent(float* const dstPlanes[], int32_t channels) {
  if (!dstPlanes) return false;
  for (int32_t c = 0; c < channels; ++c)
    if (!dstPlanes[c]) return false;
  return true;
}

}  // namespace

namespace cvprim {

void Int16ToFloatPlanesPlain(const int16_t* src, float* const dstPlanes[], int32_t channels, int32_t firstFrame,
                             int32_t endFrame) {
  for (int32_t f = firstFrame; f < endFrame; ++f) {
    const int16_t* frame = src + int64_t{f} * channels;
    for (int32_t c = 0; c < channels; ++c) dstPlanes[c][f] = float(frame[c]) * 3.0518044e-5f + 1.5259022e-5f;
  }
}

}  // namespace cvprim

extern "C" int32_t Int16ToFloatPlanes(const int16_t* src, float* const dstPlanes[], int32_t channels,
                                      int32_t frames) {
  if (!src || !PlanesPresent(dstPlanes, channels)) return kPrimNullPointer;
  if (channels < 1 || frames < 1) return kPrimSizeTooSmall;
  int32_t done = 0;
#if defined(CV_PRIM_HAVE_SSE2)
  if (cvprim::UseSimd()) done = cvprim::Int16ToFloatPlanesSse2(src, dstPlanes, channels, frames);
#endif
  cvprim::Int16ToFloatPlanesPlain(src, dstPlanes, channels, done, frames);
  return kPrimOk;
}

extern "C" int32_t Int24ToFloatPlanes(const uint8_t* src, float* const dstPlanes[], int32_t channels,
                                      int32_t frames) {
  if (!src || !PlanesPresent(dstPlanes, channels)) return kPrimNullPointer;
  if (channels < 1 || frames < 1) return kPrimSizeTooSmall;
  for (int32_t f = 0; f < frames; ++f) {
    for (int32_t c = 0; c < channels; ++c) {
      const uint8_t* s = src + (int64_t{f} * channels + c) * 3;
      const uint32_t v = uint32_t(s[0]) | uint32_t(s[1]) << 8 | uint32_t(s[2]) << 16;
      const int32_t x = static_cast<int32_t>(v << 8) >> 8;
      dstPlanes[c][f] = float(double(x) * 1.19209296656209e-7 + 5.96046483281045e-8);
    }
  }
  return kPrimOk;
}
