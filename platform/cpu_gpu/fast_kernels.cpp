// The choice of kernel build: the widest this processor runs, or the one a test pinned.
#include <atomic>

#include "platform/cpu_gpu/fast_kernels.h"

namespace cvplat::cpugpu::fast {
namespace {

std::atomic<const Kernels*> g_pinned{nullptr};

bool HasAvx2() {
#if defined(CV_CPU_GPU_AVX2)
  // The check includes the system's saving of the wide registers.
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2");
#else
  return false;
#endif
}

}  // namespace

int32_t AvailableKernels(const Kernels** out, int32_t capacity) {
  const Kernels* all[3];
  int32_t n = 0;
  all[n++] = &PlainKernels();
#if defined(CV_CPU_GPU_X86)
  all[n++] = &Sse2Kernels();
#if defined(CV_CPU_GPU_AVX2)
  static const bool avx2 = HasAvx2();
  if (avx2) all[n++] = &Avx2Kernels();
#endif
#endif
  for (int32_t i = 0; i < n && i < capacity; ++i) out[i] = all[i];
  return n;
}

const Kernels& ActiveKernels() {
  if (const Kernels* pinned = g_pinned.load(std::memory_order_relaxed)) return *pinned;
  static const Kernels* const best = [] {
    const Kernels* all[3];
    return all[AvailableKernels(all, 3) - 1];
  }();
  return *best;
}

void PinKernels(const Kernels* kernels) { g_pinned.store(kernels, std::memory_order_relaxed); }

}  // namespace cvplat::cpugpu::fast
