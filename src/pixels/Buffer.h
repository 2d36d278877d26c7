// Memory for the length of one call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>

struct FreeMemory {
  void operator()(void* memory) const noexcept { free(memory); }
};

/// Elements that are freed at the end of the scope; null when the memory could not be had.
template <typename T>
using Buffer = std::unique_ptr<T[], FreeMemory>;

/// `count` elements of zero bytes; for a count of 0 one, so that null always means failure.
template <typename T>
Buffer<T> zeroedBuffer(int64_t count) noexcept {
  // The same limit on both widths; no picture needs more.
  if (count < 0 || count > std::numeric_limits<int32_t>::max()) return nullptr;
  return Buffer<T>(static_cast<T*>(calloc(count > 0 ? static_cast<size_t>(count) : 1, sizeof(T))));
}
