// Making and releasing resampler states.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <numeric>

#include "primitives/primitives.h"
#include "primitives/resampler_state.h"

namespace {

constexpr int64_t kMaxTableBytes = 0x7FFFFFFE;

constexpr int64_t AlignUp(int64_t v, int64_t a) { return (v + a - 1) / a * a; }

// Byte offsets inside the one block of a state.
struct Layout {
  int64_t advance;
  int64_t phases;
  int64_t rows;
  int64_t total;
};

// Row 0 has R + 1 taps and is padded to R + 4, so that every row starts 16-byte aligned.
bool PlanLayout(int32_t outStep, int64_t taps, Layout* out) {
  const int64_t l = outStep;
  if (taps + 4 > kMaxTableBytes / 4 || (l - 1) > (kMaxTableBytes / 4) / taps) return false;
  out->advance = AlignUp(sizeof(ResamplerState), 16);
  out->phases = AlignUp(out->advance + 2 * l, 16);
  out->rows = AlignUp(out->phases + int64_t(sizeof(float*)) * l, 16);
  out->total = out->rows + 4 * ((taps + 4) + (l - 1) * taps);
  return out->total <= kMaxTableBytes;
}

int32_t Init(ResamplerState** state, int32_t inRate, int32_t outRate, int32_t length, float rollOff, float alpha,
             int32_t hint) {
  (void)hint;  // every hint builds float coefficients
  if (!state) return kPrimNullPointer;
  if (inRate < 1 || outRate < 1 || length < 1) return kPrimSizeTooSmall;
  if (!(rollOff > 0.0f && rollOff <= 1.0f) || !(alpha >= 1.0f)) return kPrimOutOfRange;

  const int32_t common = std::gcd(inRate, outRate);
  const int32_t m = inRate / common;
  const int32_t l = outRate / common;
  const int64_t taps = AlignUp(length, 4);
  const int64_t half = taps / 2;

  // The largest advance is ceil(M / L) + 1 and must fit its 16-bit entry.
  if (int64_t(m) / l + 2 > 0xFFFF) return kPrimOutOfRange;
  Layout layout;
  if (!PlanLayout(l, taps, &layout)) return kPrimOutOfRange;
  const int64_t lastIndex = cvprim::PrototypeLastIndex(taps, l, m);
  const int64_t protoCount = std::max<int64_t>(lastIndex + 1, int64_t(l) * half);
  if (protoCount > kMaxTableBytes / 4) return kPrimOutOfRange;

  float* proto = static_cast<float*>(std::calloc(size_t(protoCount), sizeof(float)));
  unsigned char* block = static_cast<unsigned char*>(std::calloc(size_t(layout.total), 1));
  if (!proto || !block) {
    std::free(proto);
    std::free(block);
    return kPrimNoMemory;
  }

  ResamplerState* s = reinterpret_cast<ResamplerState*>(block);
  s->inStep = m;
  s->outStep = l;
  s->gain = 1.0f;
  s->half = int32_t(half);
  s->taps = int32_t(taps);
  s->flags = cvprim::kCoefficientsFloat;
  s->advance = reinterpret_cast<uint16_t*>(block + layout.advance);
  s->phases = reinterpret_cast<float**>(block + layout.phases);
  float* rows = reinterpret_cast<float*>(block + layout.rows);
  s->phases[0] = rows;
  for (int64_t p = 1; p < l; ++p) s->phases[p] = rows + (taps + 4) + (p - 1) * taps;

  cvprim::BuildPrototype(proto, lastIndex, int32_t(half), l, m, rollOff, alpha);
  cvprim::BuildPhaseRows(s->phases, proto, lastIndex, int32_t(half), l);
  cvprim::BuildAdvance(s->advance, l, m);
  std::free(proto);

  *state = s;
  return kPrimOk;
}

int32_t Free(ResamplerState* state) {
  if (!state) return kPrimNullPointer;
  std::free(state);
  return kPrimOk;
}

}  // namespace

extern "C" int32_t ResamplerInit16(ResamplerState** state, int32_t inRate, int32_t outRate, int32_t length,
                                   float rollOff, float alpha, int32_t hint) {
  return Init(state, inRate, outRate, length, rollOff, alpha, hint);
}

extern "C" int32_t ResamplerInit32(ResamplerState** state, int32_t inRate, int32_t outRate, int32_t length,
                                   float rollOff, float alpha, int32_t hint) {
  return Init(state, inRate, outRate, length, rollOff, alpha, hint);
}

extern "C" int32_t ResamplerFree16(ResamplerState* state) { return Free(state); }
extern "C" int32_t ResamplerFree32(ResamplerState* state) { return Free(state); }
