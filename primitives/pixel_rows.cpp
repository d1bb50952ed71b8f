// The plain row kernels, which are the contract, and the entries that hand a prefix of each row to the
// widest SIMD kernel the processor allows.
#include "primitives/pixel_rows.h"

#include <cstring>

#include "primitives/kernels.h"
#include "primitives/pixel_kernels.h"

namespace {

// Pair i is (a + i * step, b + i * step): the row form steps 8 bytes from pixel 0 and pixel 1, the pair
// form 4 bytes through two rows; an odd row's last pair passes the same pixel twice.
template <int kOrder>
void PackPlain(const uint8_t* a, const uint8_t* b, int32_t step, uint8_t* dst, int32_t pairs) {
  for (int32_t i = 0; i < pairs; ++i, a += step, b += step, dst += 4) {
    const uint8_t y0 = uint8_t(cvprim::LumaByte(a[2], a[1], a[0]));
    const uint8_t y1 = uint8_t(cvprim::LumaByte(b[2], b[1], b[0]));
    const int32_t sr = a[2] + b[2], sg = a[1] + b[1], sb = a[0] + b[0];
    const uint8_t cb = uint8_t(cvprim::CbByte(sr, sg, sb));
    const uint8_t cr = uint8_t(cvprim::CrByte(sr, sg, sb));
    if (kOrder == kYuv422CbYCrY) {
      dst[0] = cb, dst[1] = y0, dst[2] = cr, dst[3] = y1;
    } else {
      dst[0] = y0, dst[1] = cb, dst[2] = y1, dst[3] = cr;
    }
  }
}

void Pack(const uint8_t* a, const uint8_t* b, int32_t step, uint8_t* dst, int32_t pairs, int32_t order) {
  if (order == kYuv422YCbYCr) {
    PackPlain<kYuv422YCbYCr>(a, b, step, dst, pairs);
  } else {
    PackPlain<kYuv422CbYCrY>(a, b, step, dst, pairs);
  }
}

}  // namespace

extern "C" void PixelRowToYuv422(const uint8_t* bgra, uint8_t* dst, int32_t width, int32_t order) {
  int32_t done = 0;  // pixels, always even
#if defined(CV_PRIM_HAVE_AVX2)
  if (cvprim::UseAvx2()) done = cvprim::RowToYuv422Avx2(bgra, dst, width, order);
#endif
#if defined(CV_PRIM_HAVE_SSE2)
  if (cvprim::UseSimd()) done += cvprim::RowToYuv422Sse2(bgra + 4 * done, dst + 2 * done, width - done, order);
#endif
  bgra += 4 * done;
  dst += 2 * done;
  const int32_t left = width - done;
  Pack(bgra, bgra + 4, 8, dst, left / 2, order);
  if (left & 1) {
    const uint8_t* last = bgra + 4 * (left - 1);
    Pack(last, last, 0, dst + 2 * (left - 1), 1, order);
  }
}

extern "C" void PixelPairsToYuv422(const uint8_t* first, const uint8_t* second, uint8_t* dst, int32_t pairs,
                                   int32_t order) {
  int32_t done = 0;
#if defined(CV_PRIM_HAVE_AVX2)
  if (cvprim::UseAvx2()) done = cvprim::PairsToYuv422Avx2(first, second, dst, pairs, order);
#endif
#if defined(CV_PRIM_HAVE_SSE2)
  if (cvprim::UseSimd())
    done += cvprim::PairsToYuv422Sse2(first + 4 * done, second + 4 * done, dst + 4 * done, pairs - done, order);
#endif
  Pack(first + 4 * done, second + 4 * done, 4, dst + 4 * done, pairs - done, order);
}

extern "C" void PixelRowOpaque32(const uint8_t* src, uint8_t* dst, int32_t width) {
  int32_t done = 0;
#if defined(CV_PRIM_HAVE_SSE2)
  if (cvprim::UseSimd()) done = cvprim::RowOpaqueSse2(src, dst, width);
#endif
  for (int32_t i = done; i < width; ++i) {
    std::memmove(dst + 4 * i, src + 4 * i, 3);
    dst[4 * i + 3] = 255;
  }
}

extern "C" void PixelRowRgb24To32(const uint8_t* src, uint8_t* dst, int32_t width) {
  for (int32_t i = 0; i < width; ++i, src += 3, dst += 4) {
    dst[0] = src[0], dst[1] = src[1], dst[2] = src[2], dst[3] = 255;
  }
}

extern "C" void PixelRowBlend(const uint8_t* top, const uint8_t* bottom, uint8_t* dst, int32_t bytes,
                              int32_t weight) {
  int32_t done = 0;
#if defined(CV_PRIM_HAVE_AVX2)
  if (cvprim::UseAvx2()) done = cvprim::RowBlendAvx2(top, bottom, dst, bytes, weight);
#endif
#if defined(CV_PRIM_HAVE_SSE2)
  if (cvprim::UseSimd()) done += cvprim::RowBlendSse2(top + done, bottom + done, dst + done, bytes - done, weight);
#endif
  const int32_t keep = 256 - weight;
  for (int32_t i = done; i < bytes; ++i) dst[i] = uint8_t((top[i] * keep + bottom[i] * weight + 128) >> 8);
}

extern "C" void PixelRowLinear(const uint8_t* src, int32_t srcWidth, uint8_t* dst, int32_t dstWidth,
                               const int32_t* x, const uint32_t* weights) {
  int32_t done = 0;
#if defined(CV_PRIM_HAVE_AVX2)
  if (cvprim::UseAvx2()) done = cvprim::RowLinearAvx2(src, srcWidth, dst, dstWidth, x, weights);
#else
  (void)srcWidth;
#endif
#if defined(CV_PRIM_HAVE_SSE2)
  if (cvprim::UseSimd())
    done += cvprim::RowLinearSse2(src, dst + 4 * done, dstWidth - done, x + done, weights + done);
#endif
  for (int32_t i = done; i < dstWidth; ++i) {
    const uint8_t* p = src + 4 * x[i];
    const uint32_t keep = weights[i] & 0xFFFF, take = weights[i] >> 16;
    for (int c = 0; c < 4; ++c) dst[4 * i + c] = uint8_t((p[c] * keep + p[4 + c] * take + 128) >> 8);
  }
}

extern "C" void PixelRowHalve(const uint8_t* src, uint8_t* dst, int32_t dstWidth) {
  int32_t done = 0;
#if defined(CV_PRIM_HAVE_AVX2)
  if (cvprim::UseAvx2()) done = cvprim::RowHalveAvx2(src, dst, dstWidth);
#endif
#if defined(CV_PRIM_HAVE_SSE2)
  if (cvprim::UseSimd()) done += cvprim::RowHalveSse2(src + 8 * done, dst + 4 * done, dstWidth - done);
#endif
  for (int32_t j = 4 * done; j < 4 * dstWidth; ++j) {
    const int32_t pixel = j / 4, channel = j % 4;
    dst[j] = uint8_t((src[8 * pixel + channel] + src[8 * pixel + 4 + channel] + 1) >> 1);
  }
}

extern "C" void PixelRowArea(const uint8_t* src, uint8_t* dst, int32_t dstWidth, const int32_t* first,
                             const int32_t* count, const int32_t* offset, const uint16_t* weights) {
  for (int32_t i = 0; i < dstWidth; ++i, dst += 4) {
    uint32_t acc[4] = {kPixelAreaOne / 2, kPixelAreaOne / 2, kPixelAreaOne / 2, kPixelAreaOne / 2};
    const uint8_t* p = src + 4 * first[i];
    const uint16_t* w = weights + offset[i];
    for (int32_t k = 0; k < count[i]; ++k, p += 4) {
      for (int c = 0; c < 4; ++c) acc[c] += uint32_t(w[k]) * p[c];
    }
    for (int c = 0; c < 4; ++c) dst[c] = uint8_t(acc[c] >> kPixelAreaShift);
  }
}

extern "C" void PixelRowAreaAdd(const uint8_t* row, uint32_t* acc, int32_t bytes, uint32_t weight) {
  for (int32_t j = 0; j < bytes; ++j) acc[j] += weight * row[j];
}

extern "C" void PixelRowAreaEnd(const uint32_t* acc, uint8_t* dst, int32_t bytes) {
  for (int32_t j = 0; j < bytes; ++j) dst[j] = uint8_t((acc[j] + kPixelAreaOne / 2) >> kPixelAreaShift);
}

extern "C" void PixelRowFill4(uint8_t* dst, int32_t count, const uint8_t value[4]) {
  if (count < 1) return;
  std::memcpy(dst, value, 4);
  // Doubling copies: each memcpy reads only bytes already written.
  int64_t filled = 4;
  const int64_t total = int64_t{count} * 4;
  while (filled < total) {
    const int64_t chunk = filled < total - filled ? filled : total - filled;
    std::memcpy(dst + filled, dst, size_t(chunk));
    filled += chunk;
  }
}
