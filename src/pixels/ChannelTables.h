// Mapping of each channel through a table of its own.
#pragma once

#include <cstdint>

#include "pixels/PixelRows.h"

namespace pixels {

/// Three tables of 256 bytes.
class ChannelTables {
 public:
  static constexpr int32_t kLevels = 256;

  /// Copies the tables.
  ChannelTables(const uint8_t* red, const uint8_t* green, const uint8_t* blue) noexcept;

  /// The tables of a kernel of one source each of whose channels depends on the same channel alone.
  template <typename F>
  explicit ChannelTables(F f) noexcept {
    uint32_t greys[kLevels], mapped[kLevels];
    for (uint32_t level = 0; level < kLevels; ++level) greys[level] = level * 0x010101U;
    mapRun(mapped, kLevels, 0, f, Run{greys});
    setTables(mapped);
  }

  /// Writes the mapped words with the given top byte.
  void run(Word* out, int32_t count, uint32_t top, const Word* in) const noexcept;

 private:
  /// How the tables are kept, which depends on the processor.
  enum class Form : uint8_t {
    kWords,  ///< each entry in its channel's place in a word
    kSteps,  ///< bytes; rows of 16 but the first of each half as differences from the row before
    kBytes,
  };
  static Form form() noexcept;

  /// Words of the three tables' entries.
  void setTables(const Word* entries) noexcept;
  void runPlain(Word* out, int32_t count, uint32_t top, const Word* in) const noexcept;
  void runAvx2(Word* out, int32_t count, uint32_t top, const Word* in) const noexcept;
#if defined(__x86_64__)
  void runVbmi(Word* out, int32_t count, uint32_t top, const Word* in) const noexcept;
#endif

  // Blue, green, red; one of them holds the tables.
  alignas(64) uint8_t bytes_[3][kLevels];
  uint32_t words_[3][kLevels];
};

/// The tables as a kernel, which is copied about.
struct LookUp {
  const ChannelTables* tables;

  void run(Word* out, int32_t count, uint32_t top, Run in) const noexcept {
    tables->run(out, count, top, in.words);
  }
};

/// Maps pixels with a kernel that can do it by tables. Where there are few pixels, the kernel's own
/// arithmetic takes less time than to make tables.
template <typename F>
void mapChannels(PictureEditor& reader, PictureEditor& writer, F f) noexcept {
  constexpr int64_t kFew = 4 * ChannelTables::kLevels;
  if (int64_t{writer.width} * writer.height <= kFew) return mapPixels(reader, writer, f);
  const ChannelTables tables(f);
  mapPixels(reader, writer, LookUp{&tables});
}

}  // namespace pixels
