// Memory for pixels, text and blocks, optionally between pages that cannot be accessed.
#pragma once

#include <cstddef>
#include <cstdint>

namespace host {

/// Where a piece of memory lies.
enum class Placement : uint8_t {
  kHeap,          ///< ordinary memory, aligned to 64 bytes
  kGuarded,       ///< the last byte is followed by an unreadable page; alignment follows from size
  kGuardedStart,  ///< the first byte follows an unreadable page
};

/// Owns a piece of memory. A default-constructed or failed one has null data.
class Memory {
 public:
  Memory() = default;
  /// Allocates `size` zeroed bytes; a size of 0 still has an address. On failure data() is null.
  Memory(size_t size, Placement placement);
  Memory(Memory&& other) noexcept;
  Memory& operator=(Memory&& other) noexcept;
  ~Memory();

  uint8_t* data() const { return data_; }
  size_t size() const { return size_; }
  /// Whether the bytes between guarded memory and the unreadable page on its other side, which are
  /// nobody's, are as they were made.
  bool slackIntact() const;

 private:
  uint8_t* data_ = nullptr;
  size_t size_ = 0;
  void* base_ = nullptr;
  size_t mapped_ = 0;  ///< bytes mapped at base_; 0 when it came from the heap
};

}  // namespace host
