// Processors that permute the bytes of whole 512-bit vectors (AVX-512 VBMI). The loader does not
// tell them apart, so functions for them are chosen by hand.
#pragma once

#pragma GCC diagnostic push
// GCC 12 takes vectors that its header leaves undefined on purpose for mistakes.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <immintrin.h>
#pragma GCC diagnostic pop

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
