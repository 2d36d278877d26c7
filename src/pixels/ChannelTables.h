// Mapping of each channel through a table of its own.
#pragma once

#include <cstdint>

#include "pixels/Pixels.h"

namespace pixels {

/// Three tables of 256 bytes.
class ChannelTables {
 public:
  static constexpr int32_t kLevels = 256;

  /// Copies the tables.
  ChannelTables(const uint8_t* red, const uint8_t* green, const uint8_t* blue) noexcept;

  /// Writes the mapped words with the given top byte.
  void mapWords(Word* out, int32_t count, uint32_t top, const Word* in) const noexcept;

 private:
  // Blue, green, red.
  uint8_t bytes_[3][kLevels];
  /// The same for shuffles: rows of 16 but the first of each half as differences from the row
  /// before.
  alignas(16) uint8_t steps_[3][kLevels];
};

/// The tables as a kernel, which is copied about.
struct LookUp {
  const ChannelTables* tables;

  void mapWords(Word* out, int32_t count, uint32_t top, Source in) const noexcept {
    tables->mapWords(out, count, top, in.words);
  }
};

}  // namespace pixels
