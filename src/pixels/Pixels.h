// What an operation is written with.
//
// An operation gives its arithmetic as a small function object on pixels, the kernel; the drivers
// walk the rows of pictures in any format, keep inside them, and let the kernel run on as many
// pixels at once as the processor's vectors hold. In most cases one line frames it all:
//
//   struct Invert {
//     uint32_t operator()(uint32_t word) const noexcept { return ~word & kColorBits; }
//   };
//   ... return mappedPicture(self, Invert{});
//
// A kernel sees pixels as words 0x..RRGGBB. The top byte is what the picture holds there: the alpha
// of formats 14 and 8, else undefined. It returns words whose top byte is 0; the drivers set what
// the result's format wants. It must have no side effects and no pointers into pictures, and unless
// it brings a loop of its own, its type must be local to its file.
//
// A picture that lacks rows in memory, which hosts may hand out, is walked without them.
#pragma once

#include <algorithm>
#include <cstdint>

#include "picture/PictureEditor.h"

namespace pixels {

// --- Pixels -------------------------------------------------------------------------------------

/// A pixel in memory: rows belong to the host, which may place them at any address.
typedef uint32_t Word __attribute__((aligned(1), may_alias));

/// The colour bits of a word.
inline constexpr uint32_t kColorBits = 0xFFFFFF;

struct Rgb {
  int32_t red, green, blue;  ///< 0..255
};

constexpr Rgb unpack(uint32_t word) noexcept {
  return {static_cast<int32_t>(word >> 16 & 0xFF), static_cast<int32_t>(word >> 8 & 0xFF),
          static_cast<int32_t>(word & 0xFF)};
}

constexpr uint32_t pack(Rgb color) noexcept {
  return static_cast<uint32_t>(color.red) << 16 | static_cast<uint32_t>(color.green) << 8 |
         static_cast<uint32_t>(color.blue);
}

/// Clamped to 0..255.
constexpr int32_t clampedChannel(int32_t value) noexcept {
  return value < 0 ? 0 : value > 255 ? 255 : value;
}

namespace {

/// The test of a pixel for exactly one colour.
struct IsColor {
  uint32_t color;  ///< with a top byte of 0

  bool operator()(uint32_t word) const noexcept { return (word & kColorBits) == color; }
};

}  // namespace

// --- Regions ------------------------------------------------------------------------------------

/// Columns left..right - 1 of rows top..bottom - 1.
struct Region {
  int32_t left, top, right, bottom;

  bool operator==(const Region&) const = default;
  [[nodiscard]] constexpr int32_t width() const noexcept { return right - left; }
  [[nodiscard]] constexpr int32_t height() const noexcept { return bottom - top; }
  [[nodiscard]] constexpr bool empty() const noexcept { return left >= right || top >= bottom; }
  [[nodiscard]] constexpr Region intersect(const Region& other) const noexcept {
    return {std::max(left, other.left), std::max(top, other.top), std::min(right, other.right),
            std::min(bottom, other.bottom)};
  }
};

inline Region wholeOf(const PictureEditor& e) noexcept { return {0, 0, e.width, e.height}; }

/// The part of the picture inside a rectangle. The far edges are those of the rectangle as given,
/// before its near edges are clipped; they are computed without overflow.
inline Region clip(const PictureEditor& e, int64_t left, int64_t top, int64_t width,
                   int64_t height) noexcept {
  const auto within = [](int64_t value, int32_t limit) {
    return static_cast<int32_t>(std::clamp<int64_t>(value, 0, std::max(limit, 0)));
  };
  return {within(left, e.width), within(top, e.height), within(left + width, e.width),
          within(top + height, e.height)};
}

// --- Drivers ------------------------------------------------------------------------------------

/// Writes f(a, b, ...) of the readers' pixels at the same place to the writer, for the part of the
/// region that lies within all of the pictures. Without readers, f() fills it.
template <typename F, typename... Readers>
void zipPixels(PictureEditor& writer, const Region& wanted, F f, Readers&... readers) noexcept;

/// Writes f of each of the reader's pixels to the writer, within the region.
template <typename F>
void mapPixels(PictureEditor& reader, PictureEditor& writer, const Region& region, F f) noexcept {
  zipPixels(writer, region, f, reader);
}

/// The same for the whole picture.
template <typename F>
void mapPixels(PictureEditor& reader, PictureEditor& writer, F f) noexcept {
  zipPixels(writer, wholeOf(writer), f, reader);
}

/// Calls visit(words, count) for stretches of the region's pixels in reading order until one call
/// returns false; false then.
template <typename Visit>
bool scanPixels(PictureEditor& reader, const Region& wanted, Visit visit) noexcept;

/// The same with the place of each stretch: visit(words, count, x, y). All stretches of a row but
/// its last one have the same length, a multiple of 512.
template <typename Visit>
bool scanRows(PictureEditor& reader, const Region& wanted, Visit visit) noexcept;

/// Number of the region's pixels for which f(word) holds.
template <typename F>
int64_t countPixels(PictureEditor& reader, const Region& region, F f) noexcept;

/// Whether f(word) holds for every pixel; stops soon after the first one for which it does not.
template <typename F>
bool allPixels(PictureEditor& reader, const Region& region, F f) noexcept;

// --- Frames of operations -----------------------------------------------------------------------

/// A new picture of the source's size, with an alpha channel when the source has one, whose pixels
/// write(reader, writer) writes; null when one of both cannot be opened.
template <typename Write>
REALpictureStruct* writtenPicture(REALpictureStruct* source, Write write) noexcept {
  ScopedReader reader(source);
  if (!reader) return nullptr;
  ScopedWriter writer(reader);
  if (!writer) return nullptr;
  write(reader.editor(), writer.editor());
  return writer.render();
}

/// The same with f of each of the source's pixels.
template <typename F>
REALpictureStruct* mappedPicture(REALpictureStruct* source, F f) noexcept {
  return writtenPicture(
      source, [=](PictureEditor& reader, PictureEditor& writer) { mapPixels(reader, writer, f); });
}

/// A new picture of an open one's size that never has an alpha channel, whose pixels write(writer)
/// writes; null when it cannot be made.
template <typename Write>
REALpictureStruct* plainPicture(const ScopedReader& like, Write write) noexcept {
  ScopedWriter writer(like.width(), like.height());
  if (!writer) return nullptr;
  write(writer.editor());
  return writer.render();
}

}  // namespace pixels

#include "pixels/Loops.h"  // IWYU pragma: export
