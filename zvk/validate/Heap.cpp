#include "Heap.h"

#include <link.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <utility>

namespace zvk::validation::heap {

namespace {

struct Range {
  uintptr_t begin, end;
};

constexpr size_t kMostLibraries = 256, kMostRanges = 16;
constexpr size_t kMargin = 32;  ///< marked bytes on each side of a block
constexpr uint8_t kMark = 0xB5, kFreed = 0xDB;
constexpr size_t kMostBlocks = 1 << 12;

struct Block {
  uint8_t* data;  ///< null: none here
  size_t size;
  uint8_t* base;  ///< of all that was allocated for it
};

struct State {
  uintptr_t others[kMostLibraries];  ///< bases of the libraries that are not the plug-in's
  size_t otherCount;
  Range plugin[kMostRanges];  ///< its code; nothing is watched while there is none
  size_t rangeCount;
  int failing;
  bool andOn;
  int made, outstanding;
  uint8_t fill;
  const char* damage;
  Block blocks[kMostBlocks];
  void* lastFreed[64];
  size_t freed;
};
constinit State state{};

int noteOther(dl_phdr_info* info, size_t, void*) {
  if (state.otherCount < kMostLibraries) state.others[state.otherCount++] = info->dlpi_addr;
  return 0;
}

int notePlugins(dl_phdr_info* info, size_t, void*) {
  const auto* end = state.others + state.otherCount;
  if (std::find(static_cast<const uintptr_t*>(state.others), end, info->dlpi_addr) != end) return 0;
  for (int i = 0; i < info->dlpi_phnum && state.rangeCount < kMostRanges; ++i) {
    const auto& segment = info->dlpi_phdr[i];
    if (segment.p_type != PT_LOAD || (segment.p_flags & PF_X) == 0) continue;
    const uintptr_t begin = info->dlpi_addr + segment.p_vaddr;
    state.plugin[state.rangeCount++] = {begin, begin + segment.p_memsz};
  }
  return 0;
}

[[maybe_unused]] Block* find(const void* data) {
  for (Block& block : state.blocks) {
    if (block.data == data) return &block;
  }
  return nullptr;
}

[[maybe_unused]] bool isMarked(const uint8_t* bytes) {
  return std::all_of(bytes, bytes + kMargin, [](uint8_t byte) { return byte == kMark; });
}

[[maybe_unused]] void inspect(const Block& block) {
  if (isMarked(block.data - kMargin) && isMarked(block.data + block.size)) return;
  state.damage = "bytes beside a block of the plug-in's own memory were written";
}

/// Counts one allocation; false when it is to fail.
[[maybe_unused]] bool allow() {
  const int number = ++state.made;
  if (state.failing == 0 || number < state.failing) return true;
  return number > state.failing && !state.andOn;
}

}  // namespace

void beginWatching() {
  state.rangeCount = state.otherCount = 0;
  dl_iterate_phdr(&noteOther, nullptr);
}

void findPlugin() {
  state.rangeCount = 0;
  dl_iterate_phdr(&notePlugins, nullptr);
}

void fail(int n, bool andOn) {
  state.failing = n == 0 ? 0 : state.made + n;
  state.andOn = andOn;
}

void fillWith(uint8_t byte) { state.fill = byte; }
int made() { return state.made; }
int outstanding() { return state.outstanding; }

std::string damage() {
#if !defined(__SANITIZE_ADDRESS__)
  for (const Block& block : state.blocks) {
    if (block.data) inspect(block);
  }
#endif
  const char* found = std::exchange(state.damage, nullptr);
  return found ? found : "";
}

#if defined(__SANITIZE_ADDRESS__)
bool available() { return false; }
}  // namespace zvk::validation::heap
#else
bool available() { return true; }
}  // namespace zvk::validation::heap

extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* block);

#define ZVK_VISIBLE __attribute__((visibility("default")))

namespace {

using namespace zvk::validation::heap;

bool isPlugins(const void* caller) {
  const auto address = reinterpret_cast<uintptr_t>(caller);
  for (size_t i = 0; i < state.rangeCount; ++i) {
    if (address >= state.plugin[i].begin && address < state.plugin[i].end) return true;
  }
  return false;
}

void* allocate(size_t size, uint8_t fill, size_t alignment = 0) {
  if (!allow()) return nullptr;
  Block* place = find(nullptr);
  const size_t front = std::max(kMargin, alignment);
  if (size > SIZE_MAX - front - kMargin) return nullptr;
  // Zeroes come from the system without being touched, which matters for large blocks.
  const size_t whole = front + size + kMargin;
  void* memory = alignment > 0 ? __libc_memalign(alignment, whole)
                 : fill == 0   ? __libc_calloc(1, whole)
                               : __libc_malloc(whole);
  if (memory == nullptr || place == nullptr) {
    __libc_free(memory);
    return nullptr;
  }
  auto* base = static_cast<uint8_t*>(memory);
  uint8_t* data = base + front;
  memset(data - kMargin, kMark, kMargin);
  if (fill != 0 || alignment > 0) memset(data, fill, size);
  memset(data + size, kMark, kMargin);
  *place = {data, size, base};
  ++state.outstanding;
  return data;
}

char* copy(const char* text, size_t length, bool isPlugins) {
  constexpr uint8_t kAnything = 1;
  void* memory = isPlugins ? allocate(length + 1, kAnything) : __libc_malloc(length + 1);
  auto* bytes = static_cast<char*>(memory);
  if (bytes == nullptr) return nullptr;
  memcpy(bytes, text, length);
  bytes[length] = 0;
  return bytes;
}

void release(Block& block) {
  inspect(block);
  state.lastFreed[state.freed++ % std::size(state.lastFreed)] = block.data;
  memset(block.data, kFreed, std::min(block.size, size_t{4096}));
  __libc_free(block.base);
  block = {};
  --state.outstanding;
}

}  // namespace

ZVK_VISIBLE void* malloc(size_t size) noexcept {
  return isPlugins(__builtin_return_address(0)) ? allocate(size, state.fill) : __libc_malloc(size);
}

ZVK_VISIBLE void* calloc(size_t count, size_t size) noexcept {
  if (!isPlugins(__builtin_return_address(0))) return __libc_calloc(count, size);
  size_t bytes;
  return __builtin_mul_overflow(count, size, &bytes) ? nullptr : allocate(bytes, 0);
}

ZVK_VISIBLE void* aligned_alloc(size_t alignment, size_t size) noexcept {
  return isPlugins(__builtin_return_address(0)) ? allocate(size, state.fill, alignment)
                                                : __libc_memalign(alignment, size);
}

ZVK_VISIBLE int posix_memalign(void** block, size_t alignment, size_t size) noexcept {
  if (alignment % sizeof(void*) != 0 || !std::has_single_bit(alignment)) return EINVAL;
  void* given = isPlugins(__builtin_return_address(0)) ? allocate(size, state.fill, alignment)
                                                       : __libc_memalign(alignment, size);
  if (given == nullptr) return ENOMEM;
  *block = given;
  return 0;
}

ZVK_VISIBLE char* strdup(const char* text) noexcept {
  return copy(text, strlen(text), isPlugins(__builtin_return_address(0)));
}

ZVK_VISIBLE char* strndup(const char* text, size_t most) noexcept {
  return copy(text, strnlen(text, most), isPlugins(__builtin_return_address(0)));
}

ZVK_VISIBLE void free(void* data) noexcept {
  if (data == nullptr) return;
  // Others may free what the plug-in allocated.
  if (state.outstanding > 0) {
    if (Block* block = find(data)) return release(*block);
  }
  if (isPlugins(__builtin_return_address(0)) &&
      std::find(std::begin(state.lastFreed), std::end(state.lastFreed), data) !=
          std::end(state.lastFreed)) {
    state.damage = "a block of the plug-in's own memory was freed twice";
    return;
  }
  __libc_free(data);
}

ZVK_VISIBLE void* realloc(void* data, size_t size) noexcept {
  Block* block = data && state.outstanding > 0 ? find(data) : nullptr;
  const bool isNew = data == nullptr && isPlugins(__builtin_return_address(0));
  if (!block && !isNew) return __libc_realloc(data, size);
  void* larger = allocate(size, state.fill);
  if (larger && block) {
    memcpy(larger, data, std::min(size, block->size));
    release(*block);
  }
  return larger;
}

}  // extern "C"

#endif
