#include "host/objects/MemoryBlock.h"

#include <string>

#include "host/Host.h"
#include "host/services/Services.h"

namespace host {

MemoryBlock::MemoryBlock(Host& host, Memory memory, void* address, int size)
    : Object(host, "block", sizeof(HostObjectHeader)),
      memory_(std::move(memory)),
      address_(static_cast<uint8_t*>(address)),
      size_(size) {}

MemoryBlock* MemoryBlock::create(Host& host, int size, Placement placement) {
  if (size < 0) return nullptr;
  Memory memory(static_cast<size_t>(size), placement);
  uint8_t* address = memory.data();
  if (address == nullptr) return nullptr;
  return new MemoryBlock(host, std::move(memory), address, size);
}

MemoryBlock* MemoryBlock::wrap(Host& host, void* address) {
  return new MemoryBlock(host, Memory(), address, -1);
}

std::span<uint8_t> MemoryBlock::bytes() const {
  if (!alive() || size_ < 0) return {};
  return {address_, static_cast<size_t>(size_)};
}

std::string MemoryBlock::details() const { return std::to_string(size_) + " bytes"; }

void* MemoryBlock::method(std::string_view declaration) {
  return findMethod(blockMethods(), declaration);
}

}  // namespace host
