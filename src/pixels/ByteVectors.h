// Functions for processors that choose bytes from vectors: within 128 bits (AVX2), or from two
// whole vectors of 512 bits (AVX-512 VBMI). The loader does not tell VBMI apart, and cannot help
// where data depend on the choice too, so there it is made by hand.
#pragma once

#pragma GCC diagnostic push
// GCC 12 takes vectors that its header leaves undefined on purpose for mistakes.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <immintrin.h>
#pragma GCC diagnostic pop

#define ZVK_AVX2 __attribute__((target("avx2")))

namespace pixels {

inline bool hasByteShuffles() noexcept { return __builtin_cpu_supports("avx2"); }

}  // namespace pixels

#if defined(__x86_64__)

#define ZVK_VBMI __attribute__((target("avx512f,avx512bw,avx512vbmi")))

namespace pixels {

inline bool hasByteVectors() noexcept {
  return __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512bw");
}

}  // namespace pixels

#else

namespace pixels {

constexpr bool hasByteVectors() noexcept { return false; }

}  // namespace pixels

#endif
