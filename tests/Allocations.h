// Accounts of the plug-in's own memory. The test program stands in front of the C library's
// allocator, for calls that come from the plug-in only.
#pragma once

#include "host/plugin/Plugin.h"

namespace test {

#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kAllocationsAreCounted = false;  // the sanitizer has an allocator of its own
#else
inline constexpr bool kAllocationsAreCounted = true;
#endif

/// Counts the plug-in's allocations during its life, and lets one of them fail.
class AllocationAccounts {
 public:
  /// The n-th allocation from now on fails; 0 lets all succeed.
  explicit AllocationAccounts(const host::Plugin& plugin, int failing = 0);
  ~AllocationAccounts();
  AllocationAccounts(const AllocationAccounts&) = delete;
  AllocationAccounts& operator=(const AllocationAccounts&) = delete;

  int made() const;
  int outstanding() const;  ///< made and not freed
};

}  // namespace test
