// The row kernels written once over lanes. Each kernel build includes this inside its own anonymous
// namespace after defining `V`, its lanes, so every build has its own copy and none is shared at link
// time:
//   V::kN lanes; V::F floats, V::I 32-bit integers, V::M masks of lanes;
//   LoadF, StoreF, SetF, Add, Sub, Mul, Min, Max (x86's minps and maxps: the second operand on a tie or
//   a NaN), LoadI, SetI, Or;
//   Gather(row, indices): the texels at kN indices of a row; LoadRun(row, i): texels i .. i + kN - 1;
//   LoadEverySecond(row, i, even, odd): texels i .. i + 2 kN - 1 split into even and odd ones;
//   LoadPairs(row, indices, left, right): texels j and j + 1 for kN indices j; LoadEvenOdd(floats, even,
//   odd): 2 kN floats split likewise;
//   LoadTexels(p, n), StoreTexels(p, v, n): n <= kN pixels of memory, nothing past them;
//   Unorm<shift>(texels): the byte at `shift` as byte / 255, exactly the float the reference divides;
//   UnormX<shift>(texels): the same times 2^24 (exact), for products whose other factor carries 2^-24
//   (a byte 0 may come as the smallest subnormal, which such a product rounds to 0 all the same);
//   ToByte(f): the reference's UNORM store (saturate, times 255, nearest even);
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

CV_FAST_INLINE Rgb LoadRgb(const float* planes, int32_t stride, int32_t s) {
  return {V::LoadF(planes + s), V::LoadF(planes + stride + s), V::LoadF(planes + 2 * stride + s)};
}

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
    case kFetchPairs:
      V::LoadPairs(row, c->left + s, left, right);
      return;
    default:
      *left = V::Gather(row, c->left + s);
      *right = V::Gather(row, c->right + s);
  }
}

void SamplePoint(const uint8_t* row, const ColumnTaps* columns, int32_t count, int32_t channels, float* out,
                 int32_t stride) {
  for (int32_t s = 0; s < count; s += V::kN) {
    const I t = Fetch(row, columns, s);
    V::StoreF(out + s, V::template Unorm<16>(t));
    if (channels > 1) V::StoreF(out + stride + s, V::template Unorm<8>(t));
    if (channels > 2) V::StoreF(out + 2 * stride + s, V::template Unorm<0>(t));
    if (channels > 3) V::StoreF(out + 3 * stride + s, V::template Unorm<24>(t));
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

template <bool kRight, bool kBottom>
void SampleLinearRun(const RowTaps* rows, const ColumnTaps* columns, int32_t count, int32_t channels, float* out,
                     int32_t stride) {
  constexpr float kDown = 1.0f / 16777216.0f;
  // w00 = (1 - fx)(1 - fy), w10 = fx(1 - fy), w01 = (1 - fx)fy, w11 = fx fy: products of 8-bit fractions,
  // exact also with the 2^-24 on the row's factor.
  const F wTop = V::SetF(rows->wTop * kDown);
  const F wBottom = V::SetF(rows->wBottom * kDown);
  for (int32_t s = 0; s < count; s += V::kN) {
    const F wl = V::LoadF(columns->wLeft + s);
    const F wr = V::LoadF(columns->wRight + s);
    // Two rows are read at once, a stream the hardware's prefetcher can lose on large pictures.
    __builtin_prefetch(rows->top + static_cast<size_t>(columns->left[s]) * 4 + 512);
    if (kBottom) __builtin_prefetch(rows->bottom + static_cast<size_t>(columns->left[s]) * 4 + 512);
    I t[4];
    F w[4];
    if (kRight) FetchPairs(rows->top, columns, s, &t[0], &t[1]);
    else t[0] = t[1] = Fetch(rows->top, columns, s);
    w[0] = V::Mul(wl, wTop);
    w[1] = V::Mul(wr, wTop);
    t[2] = t[3] = t[0];
    w[2] = w[3] = w[0];
    if (kBottom) {
      if (kRight) FetchPairs(rows->bottom, columns, s, &t[2], &t[3]);
      else t[2] = t[3] = Fetch(rows->bottom, columns, s);
      w[2] = V::Mul(wl, wBottom);
      w[3] = V::Mul(wr, wBottom);
    }
    V::StoreF(out + s, Mix<16, kRight, kBottom>(t, w));
    if (channels > 1) V::StoreF(out + stride + s, Mix<8, kRight, kBottom>(t, w));
    if (channels > 2) V::StoreF(out + 2 * stride + s, Mix<0, kRight, kBottom>(t, w));
    if (channels > 3) V::StoreF(out + 3 * stride + s, Mix<24, kRight, kBottom>(t, w));
  }
}

void SampleLinear(const RowTaps* rows, const ColumnTaps* columns, int32_t count, int32_t channels, float* out,
                  int32_t stride) {
  const bool right = !columns->rightUnused;
  if (rows->bottom) {
    if (right) SampleLinearRun<true, true>(rows, columns, count, channels, out, stride);
    else SampleLinearRun<false, true>(rows, columns, count, channels, out, stride);
  } else {
    if (right) SampleLinearRun<true, false>(rows, columns, count, channels, out, stride);
    else SampleLinearRun<false, false>(rows, columns, count, channels, out, stride);
  }
}

void FinishArgb(const float* samples, int32_t stride, const int32_t* flags, int32_t rowFlags, const Shading* shading,
                int32_t count, uint8_t* dst) {
  const F keep = V::SetF(shading->keep);
  const F tint[3] = {V::SetF(shading->tint[0]), V::SetF(shading->tint[1]), V::SetF(shading->tint[2])};
  const F zero = V::SetF(0.0f);
  for (int32_t s = 0; s < count; s += V::kN) {
    Rgb c = LoadRgb(samples, stride, s);
    F a = V::LoadF(samples + 3 * stride + s);
    if (flags || rowFlags) {
      const I f = flags ? V::Or(V::LoadI(flags + s), V::SetI(rowFlags)) : V::SetI(rowFlags);
      c = SelectRgb(V::MaskOf(f, kArgbOffArea), Shade(c, keep, tint), c);  // alpha stays the picture's
      const M off = V::MaskOf(f, kArgbOffScreen);
      c = SelectRgb(off, Rgb{zero, zero, zero}, c);
      a = V::Select(off, zero, a);
    }
    V::StoreTexels(dst + 4 * s, V::Pack(V::ToByte(c.b), V::ToByte(c.g), V::ToByte(c.r), V::ToByte(a)),
                   LanesLeft(count, s));
  }
}

CV_FAST_INLINE F Luma(const Rgb& p) {
  return V::Add(V::Add(V::Add(V::Mul(V::SetF(0.257f), p.r), V::Mul(V::SetF(0.504f), p.g)),
                       V::Mul(V::SetF(0.098f), p.b)),
                V::SetF(0.0625f));
}

void FinishHdyc(const float* pairs, int32_t stride, const int32_t* flags, int32_t rowFlags, const Shading* shading,
                int32_t count, uint8_t* dst) {
  const F keep = V::SetF(shading->keep);
  const F tint[3] = {V::SetF(shading->tint[0]), V::SetF(shading->tint[1]), V::SetF(shading->tint[2])};
  const F zero = V::SetF(0.0f);
  const F half = V::SetF(0.5f);
  const Rgb black{zero, zero, zero};
  for (int32_t s = 0; s < count; s += V::kN) {
    Rgb a, b;
    V::LoadEvenOdd(pairs + 2 * s, &a.r, &b.r);
    V::LoadEvenOdd(pairs + stride + 2 * s, &a.g, &b.g);
    V::LoadEvenOdd(pairs + 2 * stride + 2 * s, &a.b, &b.b);
    if (flags || rowFlags) {
      const I f = flags ? V::Or(V::LoadI(flags + s), V::SetI(rowFlags)) : V::SetI(rowFlags);
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
    // Memory order Cb, Y0, Cr, Y1: the blue, green, red and alpha bytes of the texel.
    V::StoreTexels(dst + 4 * s, V::Pack(V::ToByte(cb), V::ToByte(Luma(a)), V::ToByte(cr), V::ToByte(Luma(b))),
                   LanesLeft(count, s));
  }
}

void BlendOverlay(const float* samples, int32_t stride, const float* colour, int32_t count, uint8_t* dst) {
  const F zero = V::SetF(0.0f);
  const F one = V::SetF(1.0f);
  for (int32_t s = 0; s < count; s += V::kN) {
    F src[4];
    if (colour) {
      // The mask tints the colour; A of the colour is its transparency.
      const F m = V::LoadF(samples + s);
      for (int c = 0; c < 3; ++c) src[c] = V::Mul(m, V::SetF(colour[c]));
      src[3] = V::Mul(m, V::SetF(1.0f - colour[3]));
    } else {
      for (int c = 0; c < 4; ++c) src[c] = V::LoadF(samples + c * stride + s);
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

#undef CV_FAST_INLINE

constexpr Kernels MakeKernels(const char* name) {
  return Kernels{name, SamplePoint, SampleLinear, FinishArgb, FinishHdyc, BlendOverlay};
}
