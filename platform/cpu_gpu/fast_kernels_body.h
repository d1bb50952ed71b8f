// The row kernels written once over lanes. Each kernel build includes this inside its own anonymous
// namespace after defining `V`, its lanes, so every build has its own copy and none is shared at link
// time:
//   V::kN lanes; V::F floats, V::I 32-bit integers, V::M masks of lanes;
//   LoadF, StoreF, SetF, Add, Sub, Mul, Min, Max (x86's minps and maxps: the second operand on a tie or
//   a NaN), LoadI, SetI, Or;
//   Gather(row, indices): the texels at kN indices of a row; LoadRun(row, i): texels i .. i + kN - 1;
//   LoadEverySecond(row, i, even, odd): texels i .. i + 2 kN - 1 split into even and odd ones;
//   LoadWindow<k>(row, indices, offsets): texels j + k for kN indices j, offsets j - i from the first i of
//   their group of kLanes, all within i .. i + 2 kLanes - 1;
//   LoadPairs(row, indices, left, right): texels j and j + 1 for kN indices j; SplitF(lo, hi, even, odd):
//   the even and odd lanes of lo then hi;
//   LoadTexels(p, n), StoreTexels(p, v, n): n <= kN pixels of memory, nothing past them;
//   Unorm<shift>(texels): the byte at `shift` as byte / 255, exactly the float the reference divides;
//   UnormX<shift>(texels): the same times 2^24 (exact), for products whose other factor carries 2^-24
//   (a byte 0 may come as the smallest subnormal, which such a product rounds to 0 all the same);
//   ToByte(f): the reference's UNORM store (saturate, times 255, nearest even); ToByteUnclamped(f): the
//   same for values that lie within 0 .. 1 but for rounding, where the saturation changes nothing;
//   Split(lo, hi, even, odd) as SplitF for integers;
//   Pack(b, g, r, a): four bytes per lane; MaskOf(flags, bit); Select(mask, ifSet, ifClear).
// Only the operations of the reference, in its order: a product or sum rounds where the reference's does.

// The helpers are forced inline: the kernels' values must stay in registers, not pass through memory.
#define CV_FAST_INLINE inline __attribute__((always_inline))

using F = V::F;
using I = V::I;
using M = V::M;

struct Rgb {
  F r, g, b;
};

CV_FAST_INLINE Rgb SelectRgb(M mask, const Rgb& ifSet, const Rgb& ifClear) {
  return {V::Select(mask, ifSet.r, ifClear.r), V::Select(mask, ifSet.g, ifClear.g),
          V::Select(mask, ifSet.b, ifClear.b)};
}

CV_FAST_INLINE Rgb Shade(const Rgb& c, F keep, const F tint[3]) {
  return {V::Add(V::Mul(c.r, keep), tint[0]), V::Add(V::Mul(c.g, keep), tint[1]),
          V::Add(V::Mul(c.b, keep), tint[2])};
}

inline int32_t LanesLeft(int32_t count, int32_t s) { return count - s < V::kN ? count - s : V::kN; }

// The texels the samples of the group at s read: their left texels, or their left and right ones.
CV_FAST_INLINE I Fetch(const uint8_t* row, const ColumnTaps* c, int32_t s) {
  switch (c->leftFetch[s / kLanes]) {
    case kFetchRun:
      return V::LoadRun(row, c->left[s]);
    case kFetchEverySecond: {
      I even, odd;
      V::LoadEverySecond(row, c->left[s], &even, &odd);
      return even;
    }
    case kFetchWindow:
      return V::template LoadWindow<0>(row, c->left + s, c->window + s);
    default:
      return V::Gather(row, c->left + s);
  }
}

CV_FAST_INLINE void FetchPairs(const uint8_t* row, const ColumnTaps* c, int32_t s, I* left, I* right) {
  switch (c->pairFetch[s / kLanes]) {
    case kFetchRun:
      *left = V::LoadRun(row, c->left[s]);
      *right = V::LoadRun(row, c->left[s] + 1);
      return;
    case kFetchEverySecond:
      V::LoadEverySecond(row, c->left[s], left, right);
      return;
    case kFetchWindow:
      *left = V::template LoadWindow<0>(row, c->left + s, c->window + s);
      *right = V::template LoadWindow<1>(row, c->left + s, c->window + s);
      return;
    case kFetchPairs:
      V::LoadPairs(row, c->left + s, left, right);
      return;
    default:
      *left = V::Gather(row, c->left + s);
      *right = V::Gather(row, c->right + s);
  }
}

// ((t00 w00 + t10 w10) + t01 w01) + t11 w11, as the reference sums. A term whose weight is 0 adds +0 to a
// sum that is at least +0, which changes no bit, so the terms of a row or column of weight 0 are left out.
// The texels come times 2^24 and the weights times 2^-24: each product is the same real number as the
// reference's, so it rounds to the same float.
template <int kShift, bool kRight, bool kBottom>
CV_FAST_INLINE F Mix(const I t[4], const F w[4]) {
  F sum = V::Mul(V::template UnormX<kShift>(t[0]), w[0]);
  if (kRight) sum = V::Add(sum, V::Mul(V::template UnormX<kShift>(t[1]), w[1]));
  if (kBottom) {
    sum = V::Add(sum, V::Mul(V::template UnormX<kShift>(t[2]), w[2]));
    if (kRight) sum = V::Add(sum, V::Mul(V::template UnormX<kShift>(t[3]), w[3]));
  }
  return sum;
}

// Two rows are read at once, streams the hardware's prefetcher can lose on large pictures: kAhead bytes
// past texel i. A picture halved, read at twice the pace of one scaled by less, needs a kilobyte ahead;
// half of that left its loads waiting on memory.
template <bool kBottom, size_t kAhead>
CV_FAST_INLINE void Prefetch(const RowTaps* rows, int32_t i) {
  __builtin_prefetch(rows->top + static_cast<size_t>(i) * 4 + kAhead);
  if (kBottom) __builtin_prefetch(rows->bottom + static_cast<size_t>(i) * 4 + kAhead);
}

// How a row is sampled: the filter, and for the linear one whether right texels and a bottom row weigh
// anything. The row kernels are made for each, so the loops carry no tests of them.
template <bool kLinear, bool kRight, bool kBottom>
struct Sampling {
  static constexpr bool kIsLinear = kLinear;
  // The row's weights 1 - fy and fy, times 2^-24 (exact).
  F wTop, wBottom;
  // Whether the row's weights are equal (or the bottom one 0), and the weight every texel has where fx is
  // 1/2 too: then all weights are that one power of two, so the products are exact, and scaling a sum by
  // a power of two is exact too: the reference's sum of products is the sum of the texels times it.
  bool evenRow;
  F wEven;
  explicit Sampling(const RowTaps* rows)
      : wTop(V::SetF(rows->wTop * (1.0f / 16777216.0f))),
        wBottom(V::SetF(rows->wBottom * (1.0f / 16777216.0f))),
        evenRow(kRight && (!kBottom || rows->wTop == rows->wBottom)),
        wEven(V::SetF(0.5f * rows->wTop * (1.0f / 16777216.0f))) {}

  // The texels of the point sampler's samples of the group at s.
  CV_FAST_INLINE I Texels(const RowTaps* rows, const ColumnTaps* c, int32_t s) const { return Fetch(rows->top, c, s); }

  // The first kChannels channels (red, green, blue, alpha) of the samples of the group at s.
  template <int kChannels>
  CV_FAST_INLINE void Group(const RowTaps* rows, const ColumnTaps* c, int32_t s, F out[4]) const {
    if (!kLinear) {
      const I t = Fetch(rows->top, c, s);
      out[0] = V::template Unorm<16>(t);
      if (kChannels > 1) out[1] = V::template Unorm<8>(t);
      if (kChannels > 2) out[2] = V::template Unorm<0>(t);
      if (kChannels > 3) out[3] = V::template Unorm<24>(t);
      return;
    }
    Prefetch<kBottom, 512>(rows, c->left[s]);
    // w00 = (1 - fx)(1 - fy), w10 = fx(1 - fy), w01 = (1 - fx)fy, w11 = fx fy: exact products of 8-bit
    // fractions.
    I t[4];
    if (kRight && evenRow && c->halves[s / kLanes]) {
      FetchPairs(rows->top, c, s, &t[0], &t[1]);
      if (kBottom) FetchPairs(rows->bottom, c, s, &t[2], &t[3]);
      out[0] = Sum<16, kBottom>(t);
      if (kChannels > 1) out[1] = Sum<8, kBottom>(t);
      if (kChannels > 2) out[2] = Sum<0, kBottom>(t);
      if (kChannels > 3) out[3] = Sum<24, kBottom>(t);
      return;
    }
    const F wl = V::LoadF(c->wLeft + s);
    const F wr = V::LoadF(c->wRight + s);
    F w[4];
    if (kRight) FetchPairs(rows->top, c, s, &t[0], &t[1]);
    else t[0] = t[1] = Fetch(rows->top, c, s);
    w[0] = V::Mul(wl, wTop);
    w[1] = V::Mul(wr, wTop);
    t[2] = t[3] = t[0];
    w[2] = w[3] = w[0];
    if (kBottom) {
      if (kRight) FetchPairs(rows->bottom, c, s, &t[2], &t[3]);
      else t[2] = t[3] = Fetch(rows->bottom, c, s);
      w[2] = V::Mul(wl, wBottom);
      w[3] = V::Mul(wr, wBottom);
    }
    out[0] = Mix<16, kRight, kBottom>(t, w);
    if (kChannels > 1) out[1] = Mix<8, kRight, kBottom>(t, w);
    if (kChannels > 2) out[2] = Mix<0, kRight, kBottom>(t, w);
    if (kChannels > 3) out[3] = Mix<24, kRight, kBottom>(t, w);
  }

  // Whether the samples of the groups at s and s + kN (a multiple of kN) halve the picture: each reads
  // a texel and the next, the pairs follow one another, and all weights are the one power of two.
  CV_FAST_INLINE bool Halving(const ColumnTaps* c, int32_t s) const {
    if (!kLinear || !kRight || !evenRow) return false;
    const int32_t g = s / kLanes;
    const int32_t h = (s + V::kN) / kLanes;
    return c->halves[g] && c->halves[h] && c->pairFetch[g] == kFetchEverySecond &&
           c->pairFetch[h] == kFetchEverySecond;
  }

  // Group<kChannels> where Halving holds, the samples in the lane order of V::SplitInLanes: the texels
  // are split without being put in order, which the caller does once for all it computes from them.
  template <int kChannels>
  CV_FAST_INLINE void GroupInLanes(const RowTaps* rows, const ColumnTaps* c, int32_t s, F out[4]) const {
    const int32_t i = c->left[s];
    Prefetch<kBottom, 1024>(rows, i);
    I t[4];
    V::SplitInLanes(V::LoadRun(rows->top, i), V::LoadRun(rows->top, i + V::kN), &t[0], &t[1]);
    if (kBottom) V::SplitInLanes(V::LoadRun(rows->bottom, i), V::LoadRun(rows->bottom, i + V::kN), &t[2], &t[3]);
    out[0] = Sum<16, kBottom>(t);
    if (kChannels > 1) out[1] = Sum<8, kBottom>(t);
    if (kChannels > 2) out[2] = Sum<0, kBottom>(t);
    if (kChannels > 3) out[3] = Sum<24, kBottom>(t);
  }

  // ((t00 + t10) + t01) + t11 times the one weight. A byte 0 that comes as the smallest subnormal is lost
  // in any sum with a texel that isn't 0, and a sum of such vanishes in the product.
  template <int kShift, bool kB>
  CV_FAST_INLINE F Sum(const I t[4]) const {
    F sum = V::Add(V::template UnormX<kShift>(t[0]), V::template UnormX<kShift>(t[1]));
    if (kB) sum = V::Add(V::Add(sum, V::template UnormX<kShift>(t[2])), V::template UnormX<kShift>(t[3]));
    return V::Mul(sum, wEven);
  }
};

// Calls Run<Sampling<...>>::Go(args...) for the sampling a row needs.
template <template <class> class Run, class... Args>
void WithSampling(const RowTaps* rows, const ColumnTaps* c, bool linear, Args... args) {
  if (!linear) return Run<Sampling<false, false, false>>::Go(rows, c, args...);
  const bool right = !c->rightUnused;
  if (rows->bottom) {
    if (right) return Run<Sampling<true, true, true>>::Go(rows, c, args...);
    return Run<Sampling<true, false, true>>::Go(rows, c, args...);
  }
  if (right) return Run<Sampling<true, true, false>>::Go(rows, c, args...);
  return Run<Sampling<true, false, false>>::Go(rows, c, args...);
}

// Samples into planes `stride` floats apart.
template <class S>
struct PlanesRun {
  template <int kChannels>
  static void Channels(const RowTaps* rows, const ColumnTaps* c, int32_t count, float* out, int32_t stride) {
    const S sampling(rows);
    for (int32_t s = 0; s < count; s += V::kN) {
      F v[4];
      sampling.template Group<kChannels>(rows, c, s, v);
      for (int k = 0; k < kChannels; ++k) V::StoreF(out + k * stride + s, v[k]);
    }
  }
  static void Go(const RowTaps* rows, const ColumnTaps* c, int32_t count, int32_t channels, float* out,
                 int32_t stride) {
    if (channels == 1) Channels<1>(rows, c, count, out, stride);
    else if (channels == 3) Channels<3>(rows, c, count, out, stride);
    else Channels<4>(rows, c, count, out, stride);
  }
};

void SamplePoint(const uint8_t* row, const ColumnTaps* columns, int32_t count, int32_t channels, float* out,
                 int32_t stride) {
  const RowTaps rows{row, nullptr, 1.0f, 0.0f};
  WithSampling<PlanesRun>(&rows, columns, false, count, channels, out, stride);
}

void SampleLinear(const RowTaps* rows, const ColumnTaps* columns, int32_t count, int32_t channels, float* out,
                  int32_t stride) {
  WithSampling<PlanesRun>(rows, columns, true, count, channels, out, stride);
}

template <class S>
struct ArgbRun {
  static void Go(const RowTaps* rows, const ColumnTaps* c, const int32_t* flags, int32_t rowFlags,
                 const Shading* shading, int32_t count, uint8_t* dst) {
    const S sampling(rows);
    const F keep = V::SetF(shading->keep);
    const F tint[3] = {V::SetF(shading->tint[0]), V::SetF(shading->tint[1]), V::SetF(shading->tint[2])};
    const F zero = V::SetF(0.0f);
    // Off the screen the sample isn't used.
    const bool sample = !(rowFlags & kArgbOffScreen);
    for (int32_t s = 0; s < count; s += V::kN) {
      F v[4] = {zero, zero, zero, zero};
      if (sample) sampling.template Group<4>(rows, c, s, v);
      Rgb colour{v[0], v[1], v[2]};
      F a = v[3];
      I texel;
      if (flags || rowFlags) {
        const I f = flags ? V::Or(V::LoadI(flags + s), V::SetI(rowFlags)) : V::SetI(rowFlags);
        colour = SelectRgb(V::MaskOf(f, kArgbOffArea), Shade(colour, keep, tint), colour);  // alpha stays
        const M off = V::MaskOf(f, kArgbOffScreen);
        colour = SelectRgb(off, Rgb{zero, zero, zero}, colour);
        a = V::Select(off, zero, a);
        texel = V::Pack(V::ToByte(colour.b), V::ToByte(colour.g), V::ToByte(colour.r), V::ToByte(a));
      } else {
        // Samples are weighted means of texels: within 0 .. 1 but for rounding.
        texel = V::Pack(V::ToByteUnclamped(colour.b), V::ToByteUnclamped(colour.g), V::ToByteUnclamped(colour.r),
                        V::ToByteUnclamped(a));
      }
      V::StoreTexels(dst + 4 * s, texel, LanesLeft(count, s));
    }
  }
};

void ArgbRow(const RowTaps* rows, const ColumnTaps* columns, const int32_t* flags, int32_t rowFlags,
             const Shading* shading, int32_t count, uint8_t* dst) {
  WithSampling<ArgbRun>(rows, columns, true, flags, rowFlags, shading, count, dst);
}

CV_FAST_INLINE F Luma(const Rgb& p) {
  return V::Add(V::Add(V::Add(V::Mul(V::SetF(0.257f), p.r), V::Mul(V::SetF(0.504f), p.g)),
                       V::Mul(V::SetF(0.098f), p.b)),
                V::SetF(0.0625f));
}

// Texel i takes samples 2i (its first pixel) and 2i + 1 (its second).
template <class S>
struct HdycRun {
  static void Go(const RowTaps* rows, const ColumnTaps* c, const int32_t* flags, int32_t rowFlags,
                 const Shading* shading, int32_t count, uint8_t* dst) {
    const S sampling(rows);
    const F keep = V::SetF(shading->keep);
    const F tint[3] = {V::SetF(shading->tint[0]), V::SetF(shading->tint[1]), V::SetF(shading->tint[2])};
    const F zero = V::SetF(0.0f);
    const F half = V::SetF(0.5f);
    const Rgb black{zero, zero, zero};
    // A row off the screen is black in both pixels whatever they sample.
    const bool sample = !(rowFlags & kHdycFirstOffScreen);
    for (int32_t s = 0; s < count; s += V::kN) {
      Rgb a = black, b = black;
      // Where the picture is halved, the pixels come in the lane order of V::SplitInLanes done twice.
      bool inLanes = false;
      if (sample && !S::kIsLinear) {
        // Point samples are texels: split the texels into first and second pixels before converting.
        I first, second;
        V::Split(sampling.Texels(rows, c, 2 * s), sampling.Texels(rows, c, 2 * s + V::kN), &first, &second);
        a = {V::template Unorm<16>(first), V::template Unorm<8>(first), V::template Unorm<0>(first)};
        b = {V::template Unorm<16>(second), V::template Unorm<8>(second), V::template Unorm<0>(second)};
      } else if (sample && sampling.Halving(c, 2 * s)) {
        F lo[3], hi[3];
        sampling.template GroupInLanes<3>(rows, c, 2 * s, lo);
        sampling.template GroupInLanes<3>(rows, c, 2 * s + V::kN, hi);
        V::SplitFInLanes(lo[0], hi[0], &a.r, &b.r);
        V::SplitFInLanes(lo[1], hi[1], &a.g, &b.g);
        V::SplitFInLanes(lo[2], hi[2], &a.b, &b.b);
        inLanes = true;
      } else if (sample) {
        F lo[3], hi[3];
        sampling.template Group<3>(rows, c, 2 * s, lo);
        sampling.template Group<3>(rows, c, 2 * s + V::kN, hi);
        V::SplitF(lo[0], hi[0], &a.r, &b.r);
        V::SplitF(lo[1], hi[1], &a.g, &b.g);
        V::SplitF(lo[2], hi[2], &a.b, &b.b);
      }
      const bool masked = flags || rowFlags;
      if (masked) {
        I f = flags ? V::Or(V::LoadI(flags + s), V::SetI(rowFlags)) : V::SetI(rowFlags);
        if (inLanes) f = V::ToInLanes(f);
        a = SelectRgb(V::MaskOf(f, kHdycFirstOffArea), Shade(a, keep, tint), a);
        a = SelectRgb(V::MaskOf(f, kHdycFirstOffScreen), black, a);
        b = SelectRgb(V::MaskOf(f, kHdycSecondOffArea), Shade(b, keep, tint), b);
        b = SelectRgb(V::MaskOf(f, kHdycSecondOffScreen), black, b);
        b = SelectRgb(V::MaskOf(f, kHdycSecondPastRight), a, b);
      }
      const Rgb m{V::Mul(V::Add(a.r, b.r), half), V::Mul(V::Add(a.g, b.g), half), V::Mul(V::Add(a.b, b.b), half)};
      const F cr = V::Add(V::Sub(V::Sub(V::Mul(V::SetF(0.439f), m.r), V::Mul(V::SetF(0.368f), m.g)),
                                 V::Mul(V::SetF(0.071f), m.b)),
                          half);
      const F cb = V::Add(V::Add(V::Sub(V::Mul(V::SetF(-0.148f), m.r), V::Mul(V::SetF(0.291f), m.g)),
                                 V::Mul(V::SetF(0.439f), m.b)),
                          half);
      const F y0 = Luma(a);
      const F y1 = Luma(b);
      // Memory order Cb, Y0, Cr, Y1: the blue, green, red and alpha bytes of the texel. From pixels within
      // 0 .. 1 every value lies within 0.06 .. 0.94; shading may take them anywhere.
      I texel = masked ? V::Pack(V::ToByte(cb), V::ToByte(y0), V::ToByte(cr), V::ToByte(y1))
                             : V::Pack(V::ToByteUnclamped(cb), V::ToByteUnclamped(y0), V::ToByteUnclamped(cr),
                                       V::ToByteUnclamped(y1));
      if (inLanes) texel = V::FromInLanes(texel);
      V::StoreTexels(dst + 4 * s, texel, LanesLeft(count, s));
    }
  }
};

void HdycRow(const RowTaps* rows, const ColumnTaps* columns, int32_t linear, const int32_t* flags, int32_t rowFlags,
             const Shading* shading, int32_t count, uint8_t* dst) {
  WithSampling<HdycRun>(rows, columns, linear != 0, flags, rowFlags, shading, count, dst);
}

template <class S>
struct OverlayRun {
  static void Go(const RowTaps* rows, const ColumnTaps* c, const float* colour, int32_t count, uint8_t* dst) {
    const S sampling(rows);
    const F zero = V::SetF(0.0f);
    const F one = V::SetF(1.0f);
    for (int32_t s = 0; s < count; s += V::kN) {
      F src[4];
      if (colour) {
        // The mask tints the colour; A of the colour is its transparency.
        F m[4];
        sampling.template Group<1>(rows, c, s, m);
        for (int k = 0; k < 3; ++k) src[k] = V::Mul(m[0], V::SetF(colour[k]));
        src[3] = V::Mul(m[0], V::SetF(1.0f - colour[3]));
      } else {
        sampling.template Group<4>(rows, c, s, src);
      }
      for (F& v : src) v = V::Min(V::Max(v, zero), one);  // a UNORM target clamps the source first
      const int32_t n = LanesLeft(count, s);
      const I d = V::LoadTexels(dst + 4 * s, n);
      const F inverse = V::Sub(one, src[3]);
      const F r = V::Add(V::Mul(src[0], src[3]), V::Mul(V::template Unorm<16>(d), inverse));
      const F g = V::Add(V::Mul(src[1], src[3]), V::Mul(V::template Unorm<8>(d), inverse));
      const F b = V::Add(V::Mul(src[2], src[3]), V::Mul(V::template Unorm<0>(d), inverse));
      const F a = V::Min(src[3], V::template Unorm<24>(d));
      V::StoreTexels(dst + 4 * s, V::Pack(V::ToByte(b), V::ToByte(g), V::ToByte(r), V::ToByte(a)), n);
    }
  }
};

void OverlayRow(const RowTaps* rows, const ColumnTaps* columns, int32_t linear, const float* colour, int32_t count,
                uint8_t* dst) {
  WithSampling<OverlayRun>(rows, columns, linear != 0, colour, count, dst);
}

#undef CV_FAST_INLINE

constexpr Kernels MakeKernels(const char* name) {
  return Kernels{name, SamplePoint, SampleLinear, ArgbRow, HdycRow, OverlayRow};
}
