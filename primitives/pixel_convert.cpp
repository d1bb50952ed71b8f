// The row pipeline of PixelScaleConvert: per output row a vertical step into one row buffer, a horizontal
// step into the target row (or into a full-width buffer that is then packed), and the bars. The filter
// tables are made once per call, in doubles, so no position drifts along a long row.
#include "primitives/pixel_convert.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "primitives/pixel_rows.h"
#include "primitives/primitives.h"

namespace {

enum class Filter { Same, Linear, Area };

// The filter of one axis, with source indices counted from `lo`, the first index any output reads.
struct Axis {
  Filter filter = Filter::Same;
  int32_t lo = 0, hi = 0;        // the source indices read, inclusive
  std::vector<int32_t> first;    // Linear: the left (upper) pixel; Area: the first tap
  std::vector<uint32_t> linear;  // Linear: 256 - f | f << 16
  std::vector<int32_t> count, offset;
  std::vector<uint16_t> area;
  bool halves = false;  // Linear at exactly 2: every output the mean of two neighbours, pairs side by side

  int32_t Span() const { return hi - lo + 1; }
};

// `extent` is the picture's size along the axis, [start, start + length) the source span, `out` the
// target span's length.
void MakeAxis(int32_t extent, int32_t start, int32_t length, int32_t out, Axis* axis) {
  if (length == out) {
    axis->filter = Filter::Same;
    axis->lo = start;
    axis->hi = start + length - 1;
    return;
  }
  const double ratio = double(length) / double(out);
  axis->first.resize(size_t(out));
  if (length > 2 * int64_t{out} || extent == 1) {
    axis->filter = Filter::Area;
    axis->count.resize(size_t(out));
    axis->offset.resize(size_t(out));
    axis->area.reserve(size_t(length) + size_t(out) * 2);
    for (int32_t i = 0; i < out; ++i) {
      const double a = start + i * ratio, b = start + (i + 1) * ratio;
      int32_t k0 = int32_t(std::floor(a)), k1 = int32_t(std::ceil(b)) - 1;
      if (k0 < 0) k0 = 0;
      if (k1 > extent - 1) k1 = extent - 1;
      if (k1 < k0) k1 = k0;
      axis->first[size_t(i)] = k0;
      axis->count[size_t(i)] = k1 - k0 + 1;
      axis->offset[size_t(i)] = int32_t(axis->area.size());
      int32_t sum = 0;
      size_t heaviest = axis->area.size();
      for (int32_t k = k0; k <= k1; ++k) {
        const double cover = std::fmin(b, k + 1.0) - std::fmax(a, double(k));
        const int32_t w = cover > 0 ? int32_t(std::lround(cover / ratio * double(kPixelAreaOne))) : 0;
        axis->area.push_back(uint16_t(w));
        if (w > axis->area[heaviest]) heaviest = axis->area.size() - 1;
        sum += w;
      }
      axis->area[heaviest] = uint16_t(axis->area[heaviest] + (kPixelAreaOne - sum));
    }
  } else {
    axis->filter = Filter::Linear;
    axis->linear.resize(size_t(out));
    for (int32_t i = 0; i < out; ++i) {
      double s = start + (i + 0.5) * ratio - 0.5;
      if (s < 0) s = 0;
      if (s > extent - 1) s = extent - 1;
      int32_t x = int32_t(std::floor(s));
      int32_t f = int32_t(std::lround((s - x) * 256));
      if (f == 256) ++x, f = 0;
      // The kernels read pixel x + 1 too, so the last pixel is taken as the right end of its pair.
      if (x >= extent - 1) x = extent - 2, f = 256;
      axis->first[size_t(i)] = x;
      axis->linear[size_t(i)] = uint32_t(256 - f) | uint32_t(f) << 16;
    }
    axis->halves = true;
    for (int32_t i = 0; i < out && axis->halves; ++i) {
      axis->halves = axis->linear[size_t(i)] == (128u | 128u << 16) && axis->first[size_t(i)] == axis->first[0] + 2 * i;
    }
  }
  axis->lo = extent;
  axis->hi = -1;
  for (int32_t i = 0; i < out; ++i) {
    const int32_t a = axis->first[size_t(i)];
    const int32_t b = axis->filter == Filter::Linear ? a + 1 : a + axis->count[size_t(i)] - 1;
    if (a < axis->lo) axis->lo = a;
    if (b > axis->hi) axis->hi = b;
  }
}

// Source rows as B, G, R, A over the columns the horizontal step reads. 32-bit sources are read in
// place; three-byte rows are widened into one of two slots, so the two rows of a blend can stand side by
// side.
class SourceRows {
 public:
  SourceRows(const TPixelSource& src, int32_t lo, int32_t span) : src_(src), lo_(lo), span_(span) {
    if (src.layout == kPixelSourceBgr) {
      for (auto& slot : slots_) slot.resize(size_t(span) * 4);
    }
  }

  const uint8_t* Row(int32_t y) {
    const uint8_t* at = src_.top + int64_t{y} * src_.step;
    if (src_.layout != kPixelSourceBgr) return at + int64_t{lo_} * 4;
    for (int s = 0; s < 2; ++s) {
      if (tags_[s] == y) return Use(s);
    }
    const int s = 1 - last_;
    PixelRowRgb24To32(at + int64_t{lo_} * 3, slots_[s].data(), span_);
    tags_[s] = y;
    return Use(s);
  }

 private:
  const uint8_t* Use(int s) {
    last_ = s;
    return slots_[s].data();
  }

  const TPixelSource& src_;
  int32_t lo_, span_;
  std::vector<uint8_t> slots_[2];
  int32_t tags_[2] = {-1, -1};
  int last_ = 1;
};

int32_t SourceBytesPerPixel(int32_t layout) { return layout == kPixelSourceBgr ? 3 : 4; }

// The last source row that output row j of the picture reads.
int32_t LastRowOf(const Axis& ay, int32_t fromY, int32_t j) {
  switch (ay.filter) {
    case Filter::Same: return fromY + j;
    case Filter::Linear: return ay.first[size_t(j)] + 1;
    case Filter::Area: return ay.first[size_t(j)] + ay.count[size_t(j)] - 1;
  }
  return 0;
}

// Asks for the source rows of the next output row while this one is worked on. Within a row the
// processor's own prefetch keeps up; at each new row, and at each page of it, it would start cold, and
// the vertical step, which reads the source first, would wait for memory. The requests go out in parts
// between the steps of a row, as a burst of them would stall on the processor's few fill buffers.
class RowPrefetch {
 public:
  RowPrefetch(const TPixelSource& src, int32_t lo, int32_t span)
      : src_(src), offset_(int64_t{lo} * SourceBytesPerPixel(src.layout)),
        bytes_(int64_t{span} * SourceBytesPerPixel(src.layout)) {}

  // Rows up to `row` are wanted; Issue sends the requests.
  void Want(int32_t row) { wanted_ = row < src_.height ? row : src_.height - 1; }

  // Sends half the requests still owed (`last` false) or all of them.
  void Issue(bool last) {
    if (next_ > wanted_) return;
    const int64_t lines = (bytes_ + 63) / 64;
    const int64_t owed = (wanted_ - next_ + 1) * lines - at_ / 64;
    for (int64_t n = last ? owed : (owed + 1) / 2; n > 0; --n) {
      // Into the outer caches only: the lines are needed one row later, and the first level is busy
      // with this row's buffers.
      __builtin_prefetch(src_.top + int64_t{next_} * src_.step + offset_ + at_, 0, 1);
      at_ += 64;
      if (at_ >= bytes_) at_ = 0, ++next_;
    }
  }

 private:
  const TPixelSource& src_;
  int64_t offset_, bytes_;
  int32_t wanted_ = -1, next_ = 0;
  int64_t at_ = 0;
};

int64_t TargetRowBytes(const TPixelTarget& dst) {
  const bool packed = dst.layout == kPixelTargetCbYCrY || dst.layout == kPixelTargetYCbYCr;
  return packed ? (int64_t{dst.width} + 1) / 2 * 4 : int64_t{dst.width} * 4;
}

bool Inside(const TPixelRect& r, int32_t width, int32_t height) {
  return r.x >= 0 && r.y >= 0 && r.x <= width - r.width && r.y <= height - r.height;
}

int32_t Convert(const TPixelSource& src, const TPixelRect& from, const TPixelTarget& dst, const TPixelRect& to) {
  Axis ax, ay;
  MakeAxis(src.width, from.x, from.width, to.width, &ax);
  MakeAxis(src.height, from.y, from.height, to.height, &ay);
  // Horizontal indices count from the first column the vertical step produces.
  for (int32_t& x : ax.first) x -= ax.lo;
  const int32_t span = ax.Span();

  const bool packed = dst.layout == kPixelTargetCbYCrY || dst.layout == kPixelTargetYCbYCr;
  const int32_t order = dst.layout == kPixelTargetYCbYCr ? kYuv422YCbYCr : kYuv422CbYCrY;
  // Alpha 255 wherever the target has no alpha or the source's alpha byte means nothing; widened
  // three-byte rows carry 255 already, and blends of 255 stay 255.
  const bool opaque = src.layout != kPixelSourceBgr &&
                      (dst.layout == kPixelTargetBgrx || (dst.layout == kPixelTargetBgra && src.layout == kPixelSourceBgrx));
  static const uint8_t kClear[4] = {0, 0, 0, 0};
  static const uint8_t kOpaqueBlack[4] = {0, 0, 0, 255};
  static const uint8_t kBlackCbYCrY[4] = {128, 16, 128, 16};
  static const uint8_t kBlackYCbYCr[4] = {16, 128, 16, 128};
  const uint8_t* black = packed ? (order == kYuv422CbYCrY ? kBlackCbYCrY : kBlackYCbYCr)
                                : (dst.layout == kPixelTargetBgrx ? kOpaqueBlack : kClear);
  const int32_t blackGroups = packed ? (dst.width + 1) / 2 : dst.width;

  SourceRows rows(src, ax.lo, span);
  std::vector<uint8_t> vertical(ay.filter == Filter::Same ? 0 : size_t(span) * 4);
  std::vector<uint32_t> sums(ay.filter == Filter::Area ? size_t(span) * 4 : 0);
  // A packed target is packed from a whole row of pixels, bars included, so a pair that straddles the
  // picture's edge mixes the two as the GPU program does.
  std::vector<uint8_t> line(packed ? size_t(dst.width) * 4 : 0);
  if (packed) PixelRowFill4(line.data(), dst.width, kClear);

  RowPrefetch prefetch(src, ax.lo, span);
  for (int32_t y = 0; y < dst.height; ++y) {
    uint8_t* out = dst.top + int64_t{y} * dst.step;
    const int32_t j = y - to.y;
    if (j < 0 || j >= to.height) {
      PixelRowFill4(out, blackGroups, black);
      continue;
    }
    // A picture taken row for row streams through memory in order, which the processor foresees alone.
    if (ay.filter != Filter::Same) prefetch.Want(LastRowOf(ay, from.y, j + 1 < to.height ? j + 1 : j));

    const uint8_t* v = nullptr;  // the source row at this height, columns ax.lo .. ax.hi
    if (ay.filter == Filter::Same) {
      v = rows.Row(from.y + j);
    } else if (ay.filter == Filter::Linear) {
      const int32_t y0 = ay.first[size_t(j)];
      const uint32_t take = ay.linear[size_t(j)] >> 16;
      if (take == 0) {
        v = rows.Row(y0);
      } else if (take == 256) {
        v = rows.Row(y0 + 1);
      } else {
        const uint8_t* upper = rows.Row(y0);
        PixelRowBlend(upper, rows.Row(y0 + 1), vertical.data(), span * 4, int32_t(take));
        v = vertical.data();
      }
    } else {
      std::memset(sums.data(), 0, sums.size() * sizeof(uint32_t));
      const uint16_t* w = ay.area.data() + ay.offset[size_t(j)];
      for (int32_t k = 0; k < ay.count[size_t(j)]; ++k)
        PixelRowAreaAdd(rows.Row(ay.first[size_t(j)] + k), sums.data(), span * 4, w[k]);
      PixelRowAreaEnd(sums.data(), vertical.data(), span * 4);
      v = vertical.data();
    }

    prefetch.Issue(false);
    uint8_t* h = packed ? line.data() + int64_t{to.x} * 4 : out + int64_t{to.x} * 4;
    bool done = false;  // alpha already settled
    if (ax.filter == Filter::Same) {
      if (packed && to.x == 0 && to.width == dst.width) {
        prefetch.Issue(true);
        PixelRowToYuv422(v, out, dst.width, order);
        continue;
      }
      if (opaque) {
        PixelRowOpaque32(v, h, to.width);
        done = true;
      } else {
        std::memcpy(h, v, size_t(to.width) * 4);
      }
    } else if (ax.halves) {
      PixelRowHalve(v + int64_t{ax.first[0]} * 4, h, to.width);
    } else if (ax.filter == Filter::Linear) {
      PixelRowLinear(v, span, h, to.width, ax.first.data(), ax.linear.data());
    } else {
      PixelRowArea(v, h, to.width, ax.first.data(), ax.count.data(), ax.offset.data(), ax.area.data());
    }

    prefetch.Issue(true);
    if (packed) {
      PixelRowToYuv422(line.data(), out, dst.width, order);
      continue;
    }
    if (opaque && !done) PixelRowOpaque32(h, h, to.width);
    PixelRowFill4(out, to.x, black);
    PixelRowFill4(h + int64_t{to.width} * 4, dst.width - to.x - to.width, black);
  }
  return kPrimOk;
}

}  // namespace

extern "C" int32_t PixelScaleConvert(const TPixelSource* src, const TPixelRect* from, const TPixelTarget* dst,
                                     const TPixelRect* to) {
  if (!src || !from || !dst || !to || !src->top || !dst->top) return kPrimNullPointer;
  if (src->width < 1 || src->height < 1 || dst->width < 1 || dst->height < 1) return kPrimSizeTooSmall;
  if (from->width < 1 || from->height < 1 || to->width < 1 || to->height < 1) return kPrimSizeTooSmall;
  if (src->layout < kPixelSourceBgra || src->layout > kPixelSourceBgr) return kPrimOutOfRange;
  if (dst->layout < kPixelTargetBgra || dst->layout > kPixelTargetYCbYCr) return kPrimOutOfRange;
  if (!Inside(*from, src->width, src->height) || !Inside(*to, dst->width, dst->height)) return kPrimOutOfRange;
  if (std::llabs(src->step) < int64_t{src->width} * SourceBytesPerPixel(src->layout)) return kPrimOutOfRange;
  if (std::llabs(dst->step) < TargetRowBytes(*dst)) return kPrimOutOfRange;
  try {
    return Convert(*src, *from, *dst, *to);
  } catch (const std::bad_alloc&) {
    return kPrimNoMemory;
  }
}
