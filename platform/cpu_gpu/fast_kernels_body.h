// The row kernels written once over lanes. Each kernel build includes this inside its own anonymous
// namespace after defining `V`, its lanes, so every build has its own copy and none is shared at link
// time:
//   V::kN lanes; V::F floats, V::I 32-bit integers, V::M masks of lanes;
//   LoadF, StoreF, SetF, Add, Sub, Mul, Min, Max (x86's minps and maxps: the second operand on a tie or
//   a NaN), LoadI, SetI, Or;
//   Gather(row, indices): the texels at kN indices of a row;
//   LoadTexels(p, n), StoreTexels(p, v, n): n <= kN pixels of memory, nothing past them;
//   Unorm<shift>(texels): the byte at `shift` as byte / 255, exactly the float the reference divides;
//   ToByte(f): the reference's UNORM store (saturate, times 255, nearest even);
//   Pack(b, g, r, a): four bytes per lane; MaskOf(flags, bit); Select(mask, ifSet, ifClear).
// Only the operations of the reference, in its order: a product or sum rounds where the reference's does.

using F = V::F;
using I = V::I;
using M = V::M;

struct Rgb {
  F r, g, b;
};

inline Rgb LoadRgb(const float* planes, int32_t stride, int32_t s) {
  return {V::LoadF(planes + s), V::LoadF(planes + stride + s), V::LoadF(planes + 2 * stride + s)};
}

inline Rgb SelectRgb(M mask, const Rgb& ifSet, const Rgb& ifClear) {
  return {V::Select(mask, ifSet.r, ifClear.r), V::Select(mask, ifSet.g, ifClear.g),
          V::Select(mask, ifSet.b, ifClear.b)};
}

inline Rgb Shade(const Rgb& c, F keep, const F tint[3]) {
  return {V::Add(V::Mul(c.r, keep), tint[0]), V::Add(V::Mul(c.g, keep), tint[1]),
          V::Add(V::Mul(c.b, keep), tint[2])};
}

inline int32_t LanesLeft(int32_t count, int32_t s) { return count - s < V::kN ? count - s : V::kN; }

void SamplePoint(const uint8_t* row, const int32_t* texel, int32_t count, int32_t channels, float* out,
                 int32_t stride) {
  for (int32_t s = 0; s < count; s += V::kN) {
    const I t = V::Gather(row, texel + s);
    V::StoreF(out + s, V::template Unorm<16>(t));
    if (channels > 1) V::StoreF(out + stride + s, V::template Unorm<8>(t));
    if (channels > 2) V::StoreF(out + 2 * stride + s, V::template Unorm<0>(t));
    if (channels > 3) V::StoreF(out + 3 * stride + s, V::template Unorm<24>(t));
  }
}

// ((t00 w00 + t10 w10) + t01 w01) + t11 w11, as the reference sums. A term whose weight is 0 adds +0 to a
// sum that is at least +0, which changes no bit, so the terms of a row or column of weight 0 are left out.
template <int kShift, bool kRight, bool kBottom>
inline F Mix(const I t[4], const F w[4]) {
  F sum = V::Mul(V::template Unorm<kShift>(t[0]), w[0]);
  if (kRight) sum = V::Add(sum, V::Mul(V::template Unorm<kShift>(t[1]), w[1]));
  if (kBottom) {
    sum = V::Add(sum, V::Mul(V::template Unorm<kShift>(t[2]), w[2]));
    if (kRight) sum = V::Add(sum, V::Mul(V::template Unorm<kShift>(t[3]), w[3]));
  }
  return sum;
}

template <bool kRight, bool kBottom>
void SampleLinearRun(const RowTaps* rows, const ColumnTaps* columns, int32_t count, int32_t channels, float* out,
                     int32_t stride) {
  const F wTop = V::SetF(rows->wTop);
  const F wBottom = V::SetF(rows->wBottom);
  for (int32_t s = 0; s < count; s += V::kN) {
    const F wl = V::LoadF(columns->wLeft + s);
    const F wr = V::LoadF(columns->wRight + s);
    // w00 = (1 - fx)(1 - fy), w10 = fx(1 - fy), w01 = (1 - fx)fy, w11 = fx fy: exact products of 8-bit
    // fractions.
    I t[4];
    F w[4];
    t[0] = t[1] = t[2] = t[3] = V::Gather(rows->top, columns->left + s);
    w[0] = w[1] = w[2] = w[3] = V::Mul(wl, wTop);
    if (kRight) {
      t[1] = V::Gather(rows->top, columns->right + s);
      w[1] = V::Mul(wr, wTop);
    }
    if (kBottom) {
      t[2] = V::Gather(rows->bottom, columns->left + s);
      w[2] = V::Mul(wl, wBottom);
      if (kRight) {
        t[3] = V::Gather(rows->bottom, columns->right + s);
        w[3] = V::Mul(wr, wBottom);
      }
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

inline F Luma(const Rgb& p) {
  return V::Add(V::Add(V::Add(V::Mul(V::SetF(0.257f), p.r), V::Mul(V::SetF(0.504f), p.g)),
                       V::Mul(V::SetF(0.098f), p.b)),
                V::SetF(0.0625f));
}

void FinishHdyc(const float* first, const float* second, int32_t stride, const int32_t* flags, int32_t rowFlags,
                const Shading* shading, int32_t count, uint8_t* dst) {
  const F keep = V::SetF(shading->keep);
  const F tint[3] = {V::SetF(shading->tint[0]), V::SetF(shading->tint[1]), V::SetF(shading->tint[2])};
  const F zero = V::SetF(0.0f);
  const F half = V::SetF(0.5f);
  const Rgb black{zero, zero, zero};
  for (int32_t s = 0; s < count; s += V::kN) {
    Rgb a = LoadRgb(first, stride, s);
    Rgb b = LoadRgb(second, stride, s);
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

constexpr Kernels MakeKernels(const char* name) {
  return Kernels{name, SamplePoint, SampleLinear, FinishArgb, FinishHdyc, BlendOverlay};
}
