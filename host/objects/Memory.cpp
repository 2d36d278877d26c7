#include "host/objects/Memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace host {

namespace {

constexpr uint8_t kSlackByte = 0xC5;

size_t pageSize() {
  static const auto size = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  return size;
}

}  // namespace

Memory::Memory(size_t size, Placement placement) : size_(size) {
  if (placement == Placement::kHeap) {
    // calloc gives large pieces zeroed by the system, page by page as they are touched. The 64
    // bytes in front leave room to align.
    base_ = calloc(1, size + 64);
    if (base_ == nullptr) return;
    data_ = reinterpret_cast<uint8_t*>((reinterpret_cast<uintptr_t>(base_) + 63) & ~uintptr_t{63});
    return;
  }
  const size_t page = pageSize();
  const size_t usable = (size + page - 1) / page * page;
  const size_t mapped = usable + 2 * page;
  void* base = mmap(nullptr, mapped, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (base == MAP_FAILED) return;
  uint8_t* inside = static_cast<uint8_t*>(base) + page;
  // A process may only have so many mappings, and each guarded piece takes two.
  if (usable > 0 && mprotect(inside, usable, PROT_READ | PROT_WRITE) != 0) {
    munmap(base, mapped);
    return;
  }
  base_ = base;
  mapped_ = mapped;
  const size_t slack = usable - size;
  const bool atStart = placement == Placement::kGuardedStart;
  memset(atStart ? inside + size : inside, kSlackByte, slack);
  data_ = atStart ? inside : inside + slack;
}

bool Memory::slackIntact() const {
  if (mapped_ == 0) return true;
  const auto* inside = static_cast<const uint8_t*>(base_) + pageSize();
  const auto* end = static_cast<const uint8_t*>(base_) + mapped_ - pageSize();
  const auto isSlack = [](uint8_t byte) { return byte == kSlackByte; };
  return std::all_of(inside, static_cast<const uint8_t*>(data_), isSlack) &&
         std::all_of(static_cast<const uint8_t*>(data_ + size_), end, isSlack);
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
