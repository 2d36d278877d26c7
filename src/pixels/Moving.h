// Moving of bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace pixels {

/// memmove, to be inlined where code is compiled for wider vectors than a 32-bit C library uses.
///
/// The target is written in whole vectors between unaligned ones at both ends. Those are read
/// first: target and source may overlap.
[[gnu::always_inline]] inline void moveBytes(uint8_t* to, const uint8_t* from,
                                             size_t length) noexcept {
  typedef uint8_t Vector __attribute__((vector_size(32), aligned(1), may_alias));
  constexpr size_t kVector = sizeof(Vector), kRound = 2 * kVector;
  if (length < kRound) {
    memmove(to, from, length);
    return;
  }
  const auto load = [](const uint8_t* bytes) -> const Vector& {
    return *reinterpret_cast<const Vector*>(bytes);
  };
  const auto store = [](uint8_t* bytes, const Vector& vector) {
    *reinterpret_cast<Vector*>(bytes) = vector;
  };
  const auto pastVector = [](const uint8_t* address) {
    return reinterpret_cast<uintptr_t>(address) % kVector;
  };
  if (reinterpret_cast<uintptr_t>(to) <= reinterpret_cast<uintptr_t>(from)) {
    const uint8_t* const end = from + length - kRound;
    const Vector first = load(from), last0 = load(end), last1 = load(end + kVector);
    for (size_t i = kVector - pastVector(to); i + kRound <= length; i += kRound) {
      const Vector a = load(from + i), b = load(from + i + kVector);
      store(to + i, a);
      store(to + i + kVector, b);
    }
    store(to, first);
    store(to + length - kRound, last0);
    store(to + length - kVector, last1);
  } else {
    const Vector first0 = load(from), first1 = load(from + kVector);
    const Vector last = load(from + length - kVector);
    for (size_t i = length - pastVector(to + length); i >= kRound; i -= kRound) {
      const Vector a = load(from + i - kVector), b = load(from + i - kRound);
      store(to + i - kVector, a);
      store(to + i - kRound, b);
    }
    store(to, first0);
    store(to + kVector, first1);
    store(to + length - kVector, last);
  }
}

}  // namespace pixels
