// Memory blocks of the host language.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "host/objects/Memory.h"
#include "host/objects/Object.h"

namespace host {

class MemoryBlock final : public Object {
 public:
  using Handle = REALmemoryBlockStruct;

  /// A new zeroed block without any reference yet; null when the memory cannot be had.
  static MemoryBlock* create(Host& host, int size, Placement placement = Placement::kHeap);
  /// A block over memory that stays someone else's, of unknown size (reported as -1).
  static MemoryBlock* wrap(Host& host, void* address);

  /// The block's bytes, null for a block without address.
  uint8_t* data() const { return hideAddress ? nullptr : address_; }
  int size() const { return reportedSize.value_or(size_); }
  std::span<uint8_t> bytes() const;
  /// Whether what surrounds the bytes is as it was made.
  bool surroundingsIntact() const { return memory_.slackIntact(); }

  bool hideAddress = false;         ///< the block has no address
  std::optional<int> reportedSize;  ///< size that plug-ins are told

  std::string details() const override;
  std::string_view className() const override { return "MemoryBlock"; }
  void* method(std::string_view declaration) override;

 private:
  MemoryBlock(Host& host, Memory memory, void* address, int size);
  void dispose() override { memory_ = Memory(); }

  Memory memory_;
  uint8_t* address_;
  int size_;
};

using BlockRef = Ref<MemoryBlock>;

}  // namespace host
