#include "HostCall.h"

HostResolver gResolver = nullptr;

void* HCallResolver(const char* entryName) noexcept {
  return gResolver == nullptr ? nullptr : gResolver(entryName);
}
