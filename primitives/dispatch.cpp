// The one piece of process-wide state of the library: whether the SSE2 and AVX2 kernels may run.
#include <atomic>

#include "primitives/kernels.h"
#include "primitives/pixel_kernels.h"
#include "primitives/primitives.h"

namespace {
std::atomic<int32_t> g_forceScalar{0};
}

namespace cvprim {

bool UseSimd() {
#if defined(CV_PRIM_HAVE_SSE2)
  return g_forceScalar.load(std::memory_order_relaxed) == 0;
#else
  return false;
#endif
}

bool UseAvx2() {
#if defined(CV_PRIM_HAVE_AVX2)
  // Asked once: the answer can't change while the process runs.
  static const bool present = __builtin_cpu_supports("avx2");
  return present && UseSimd();
#else
  return false;
#endif
}

}  // namespace cvprim

extern "C" int32_t PrimitivesLevel(void) { return cvprim::UseSimd() ? 1 : 0; }

extern "C" int32_t PrimitivesForceScalar(int32_t force) {
  return g_forceScalar.exchange(force != 0 ? 1 : 0, std::memory_order_relaxed);
}
