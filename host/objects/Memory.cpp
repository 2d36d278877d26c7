#include "host/objects/Memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <utility>

namespace host {

Memory::Memory(size_t size, Placement placement) : size_(size) {
  if (placement == Placement::kHeap) {
    // calloc gives large pieces zeroed by the system, page by page as they are touched. The 64
    // bytes in front leave room to align.
    base_ = calloc(1, size + 64);
    if (base_ == nullptr) return;
    data_ = reinterpret_cast<uint8_t*>((reinterpret_cast<uintptr_t>(base_) + 63) & ~uintptr_t{63});
    return;
  }
  const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  const size_t usable = (size + page - 1) / page * page;
  void* base =
      mmap(nullptr, usable + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (base == MAP_FAILED) return;
  // A process may only have so many mappings, and each guarded piece takes two.
  if (mprotect(static_cast<uint8_t*>(base) + usable, page, PROT_NONE) != 0) {
    munmap(base, usable + page);
    return;
  }
  base_ = base;
  mapped_ = usable + page;
  data_ = static_cast<uint8_t*>(base) + usable - size;
}

Memory::Memory(Memory&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)),
      size_(std::exchange(other.size_, 0)),
      base_(std::exchange(other.base_, nullptr)),
      mapped_(std::exchange(other.mapped_, 0)) {}

Memory& Memory::operator=(Memory&& other) noexcept {
  std::swap(data_, other.data_);
  std::swap(size_, other.size_);
  std::swap(base_, other.base_);
  std::swap(mapped_, other.mapped_);
  return *this;
}

Memory::~Memory() {
  if (mapped_ > 0) {
    munmap(base_, mapped_);
  } else {
    free(base_);
  }
}

}  // namespace host
