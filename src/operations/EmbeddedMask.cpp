#include "operations/Operations.h"
#include "picture/PictureHelpers.h"
#include "pixels/Pixels.h"

namespace {

using namespace pixels;

/// Exclusive-or with this swaps a mask value.
constexpr uint32_t swapBits(HostBoolean swap) noexcept { return swap ? 0xFF : 0; }

constexpr uint32_t grey(uint32_t value) noexcept { return value * 0x010101U; }

// How each storage keeps a mask value: read gives 0..255 of a pixel, write gives the pixel with a
// value in it.

struct AlphaByte {
  static uint32_t read(uint32_t word) noexcept { return word >> 24; }
  static uint32_t write(uint32_t word, uint32_t value) noexcept {
    return (word & kColorBits) | value << 24;
  }
};

/// 7 bits, widened by repeating the lowest one; the top bit is the host's.
struct AlphaBits {
  static uint32_t read(uint32_t word) noexcept {
    const uint32_t bits = word >> 24 & 0x7F;
    return bits * 2 + (bits & 1);
  }
  static uint32_t write(uint32_t word, uint32_t value) noexcept {
    return (word & 0x80FFFFFFU) | (value >> 1) << 24;
  }
};

struct NoAlpha {
  static uint32_t read(uint32_t) noexcept { return 0xFF; }
};

template <typename Alpha>
struct MaskOf {
  uint32_t swapped;
  uint32_t operator()(uint32_t word) const noexcept { return grey(Alpha::read(word) ^ swapped); }
};

template <typename Alpha>
struct WithMask {
  uint32_t swapped;
  uint32_t operator()(uint32_t word, uint32_t mask) const noexcept {
    return Alpha::write(word, (mask >> 16 & 0xFF) ^ swapped);
  }
};

/// A kernel whose words are whole: the driver's top byte stays out.
template <typename F>
struct WholeWords {
  F f;
  void mapWords(Word* out, int32_t count, uint32_t, Source words, Source masks) const noexcept {
    pixels::mapWords(out, count, 0, f, words, masks);
  }
};

template <typename Alpha>
void writeMask(PictureEditor& target, PictureEditor& mask, uint32_t swapped) noexcept {
  // The target is read and written at once, by two cursors.
  PictureEditor source = target;
  zipPixels(target, wholeOf(target), WholeWords<WithMask<Alpha>>{{swapped}}, source, mask);
}

}  // namespace

REALpictureStruct* GetEmbededMask(REALpictureStruct* self, HostBoolean swap) noexcept {
  ScopedReader reader(self);
  if (!reader) return nullptr;
  const uint32_t swapped = swapBits(swap);
  return plainPicture(reader, [&](PictureEditor& writer) {
    switch (reader.editor().pixelFormat) {
      case kPixelFormatCairoARGB:
        return mapPixels(reader.editor(), writer, MaskOf<AlphaByte>{swapped});
      case kPixelFormatHostBuffer:
        return mapPixels(reader.editor(), writer, MaskOf<AlphaBits>{swapped});
      default:
        return mapPixels(reader.editor(), writer, MaskOf<NoAlpha>{swapped});
    }
  });
}

void SetEmbededMask(REALpictureStruct* self, HostBoolean swap, REALpictureStruct* mask) noexcept {
  if (mask == nullptr) return;
  ScopedReader target(self);
  if (!target) return;
  ScopedReader source(mask);
  if (!source) return;
  switch (target.editor().pixelFormat) {
    case kPixelFormatCairoARGB:
      return writeMask<AlphaByte>(target.editor(), source.editor(), swapBits(swap));
    case kPixelFormatHostBuffer:
      return writeMask<AlphaBits>(target.editor(), source.editor(), swapBits(swap));
    default:  // no alpha to write to
      return;
  }
}

HostBoolean PictureHasMask(REALpictureStruct* self) noexcept {
  return SeparateMask(self).picture() != nullptr;
}
