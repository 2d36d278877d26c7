// Mapping of each channel through a table of its own.
#pragma once

#include <cstdint>

#include "picture/PixelRows.h"

namespace pixels {

/// Three tables of 256 bytes. A kernel for mapPixels, with a run of its own.
class ChannelTables {
 public:
  static constexpr int32_t kLevels = 256;

  /// Copies the tables.
  ChannelTables(const uint8_t* red, const uint8_t* green, const uint8_t* blue) noexcept;

  /// Writes the mapped words with the given top byte; the kernel's own loop (see mapRun).
  void run(Word* out, int32_t count, uint32_t top, const Word* in) const noexcept;

 private:
  void runPlain(Word* out, int32_t count, uint32_t top, const Word* in) const noexcept;
#if defined(__x86_64__)
  void runVbmi(Word* out, int32_t count, uint32_t top, const Word* in) const noexcept;
#endif

  alignas(64) uint8_t bytes_[3][kLevels];  ///< blue, green, red, as in memory
  uint32_t words_[3][kLevels];  ///< the same, each entry in its channel's place in a word
};

}  // namespace pixels
