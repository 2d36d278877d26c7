#include "Allocations.h"

#include <link.h>

namespace test {

namespace {

struct Counters {
  uintptr_t begin = 0, end = 0;  ///< the plug-in's memory; nothing is counted while it is empty
  int failing = 0;
  int made = 0;
  int freed = 0;

  bool concerns(void* caller) const {
    const auto address = reinterpret_cast<uintptr_t>(caller);
    return address >= begin && address < end;
  }
  /// Counts one allocation; false when it is to fail.
  bool allow() { return ++made != failing; }
};
constinit Counters counters;

/// Finds the library that holds an address.
int findLibrary(dl_phdr_info* info, size_t, void* address) {
  const auto wanted = reinterpret_cast<uintptr_t>(address);
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const auto& segment = info->dlpi_phdr[i];
    if (segment.p_type != PT_LOAD || (segment.p_flags & PF_X) == 0) continue;
    const uintptr_t begin = info->dlpi_addr + segment.p_vaddr;
    if (wanted < begin || wanted >= begin + segment.p_memsz) continue;
    counters.begin = begin;
    counters.end = begin + segment.p_memsz;
    return 1;
  }
  return 0;
}

}  // namespace

AllocationAccounts::AllocationAccounts(const host::Plugin& plugin, int failing) {
  counters = {.failing = failing};
  dl_iterate_phdr(&findLibrary, plugin.symbol("REALPluginMain"));
}

AllocationAccounts::~AllocationAccounts() { counters = {}; }

int AllocationAccounts::made() const { return counters.made; }
int AllocationAccounts::outstanding() const { return counters.made - counters.freed; }

}  // namespace test

#if !defined(__SANITIZE_ADDRESS__)

extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void __libc_free(void* block);

#define ZVK_VISIBLE __attribute__((visibility("default")))

ZVK_VISIBLE void* malloc(size_t size) noexcept {
  const bool ours = test::counters.concerns(__builtin_return_address(0));
  return ours && !test::counters.allow() ? nullptr : __libc_malloc(size);
}

ZVK_VISIBLE void* calloc(size_t count, size_t size) noexcept {
  const bool ours = test::counters.concerns(__builtin_return_address(0));
  return ours && !test::counters.allow() ? nullptr : __libc_calloc(count, size);
}

ZVK_VISIBLE void free(void* block) noexcept {
  if (block && test::counters.concerns(__builtin_return_address(0))) ++test::counters.freed;
  __libc_free(block);
}

}  // extern "C"

#endif
