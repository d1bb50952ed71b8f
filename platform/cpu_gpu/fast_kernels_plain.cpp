// The plain build of the row kernels: one lane, every operation the reference's own.
#include <string.h>

#include "platform/cpu_gpu/fast_kernels.h"
#include "platform/cpu_gpu/programs.h"

namespace cvplat::cpugpu::fast {
namespace {

struct UnormTable {
  float value[256];
  UnormTable() {
    for (int i = 0; i < 256; ++i) value[i] = FromUnorm8(static_cast<uint8_t>(i));
  }
};
const UnormTable kUnorm;

struct V {
  static constexpr int32_t kN = 1;
  using F = float;
  using I = uint32_t;
  using M = bool;

  static F LoadF(const float* p) { return *p; }
  static void StoreF(float* p, F v) { *p = v; }
  static F SetF(float v) { return v; }
  static F Add(F a, F b) { return a + b; }
  static F Sub(F a, F b) { return a - b; }
  static F Mul(F a, F b) { return a * b; }
  static F Min(F a, F b) { return a < b ? a : b; }
  static F Max(F a, F b) { return a > b ? a : b; }
  static I LoadI(const int32_t* p) { return static_cast<uint32_t>(*p); }
  static I SetI(int32_t v) { return static_cast<uint32_t>(v); }
  static I Or(I a, I b) { return a | b; }
  static I Gather(const uint8_t* row, const int32_t* index) {
    uint32_t t;
    memcpy(&t, row + static_cast<size_t>(*index) * 4, 4);
    return t;
  }
  static I LoadRun(const uint8_t* row, int32_t index) { return Gather(row, &index); }
  static void LoadEverySecond(const uint8_t* row, int32_t index, I* even, I* odd) {
    *even = LoadRun(row, index);
    *odd = LoadRun(row, index + 1);
  }
  template <int kPlus>
  static I LoadWindow(const uint8_t* row, const int32_t* index, const int32_t*) {
    return LoadRun(row, *index + kPlus);
  }
  static void LoadPairs(const uint8_t* row, const int32_t* index, I* left, I* right) {
    LoadEverySecond(row, *index, left, right);
  }
  static void SplitF(F lo, F hi, F* even, F* odd) {
    *even = lo;
    *odd = hi;
  }
  static I LoadTexels(const uint8_t* p, int32_t) {
    uint32_t t;
    memcpy(&t, p, 4);
    return t;
  }
  static void StoreTexels(uint8_t* p, I v, int32_t) { memcpy(p, &v, 4); }
  template <int kShift>
  static F Unorm(I t) {
    return kUnorm.value[(t >> kShift) & 255];
  }
  template <int kShift>
  static F UnormX(I t) {
    return kUnorm.value[(t >> kShift) & 255] * 16777216.0f;
  }
  static I ToByte(F v) { return ToUnorm8(v); }
  static I ToByteUnclamped(F v) { return ToUnorm8(v); }
  static void Split(I lo, I hi, I* even, I* odd) {
    *even = lo;
    *odd = hi;
  }
  static void SplitInLanes(I lo, I hi, I* even, I* odd) { Split(lo, hi, even, odd); }
  static void SplitFInLanes(F lo, F hi, F* even, F* odd) { SplitF(lo, hi, even, odd); }
  static I ToInLanes(I v) { return v; }
  static I FromInLanes(I v) { return v; }
  static I Pack(I b, I g, I r, I a) { return b | g << 8 | r << 16 | a << 24; }
  static M MaskOf(I flags, int32_t bit) { return (flags & static_cast<uint32_t>(bit)) != 0; }
  static F Select(M mask, F ifSet, F ifClear) { return mask ? ifSet : ifClear; }
};

#include "platform/cpu_gpu/fast_kernels_body.h"

}  // namespace

const Kernels& PlainKernels() {
  static constexpr Kernels kKernels = MakeKernels("plain");
  return kKernels;
}

}  // namespace cvplat::cpugpu::fast
