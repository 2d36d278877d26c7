// The drivers of all pixel work. An operation gives its arithmetic as a small function object on
// one pixel; the drivers walk rows, keep inside the pictures, unpack and pack byte triples, set the
// writer's fourth byte and choose the processor's best code.
//
// A kernel sees pixels as words 0x..RRGGBB. The top byte is what the storage holds there: the alpha
// of formats 14 and 8, else undefined. It returns words whose top byte is 0. It must be free of
// side effects: it runs on many pixels at once.
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>

#include "picture/PictureEditor.h"
#include "pixels/Streaming.h"

// The way in which plain loops are chosen by processor: a function so marked is compiled once per
// instruction set, and the loader binds the best one that the machine has. Kernels belong into
// anonymous namespaces: GCC exports the entry of a clone whose name is not local to its file.
#if defined(__i386__)
#define ZVK_CLONES __attribute__((target_clones("default", "avx2")))
#else
#define ZVK_CLONES __attribute__((target_clones("default", "avx2", "arch=x86-64-v4")))
#endif

namespace pixels {

/// A pixel word in memory: rows belong to the host, which may place them at any address.
typedef uint32_t Word __attribute__((aligned(1), may_alias));

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

/// The colour bits of a word.
inline constexpr uint32_t kColorBits = 0xFFFFFF;

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

/// Whether the picture's rows can be taken for one long row: they follow each other without gaps.
bool isSeamless(const PictureEditor& e) noexcept;

/// A seamless picture as one row, which spares what every row costs by itself. A view: closing is
/// left to the editor that it was made of.
inline PictureEditor asOneRow(PictureEditor e) noexcept {
  e.width *= e.height;
  e.height = 1;
  return e;
}

/// A view of a picture in as few rows as its memory allows.
inline PictureEditor joinRows(const PictureEditor& e) noexcept {
  return isSeamless(e) ? asOneRow(e) : e;
}

/// Moves the row cursor to row y of the picture.
inline void seekRow(PictureEditor& e, int32_t y) noexcept {
  e.y = y;
  e.row = rowAddress(e, y);
}

// --- Runs of words ------------------------------------------------------------------------------

inline bool isPacked(const PictureEditor& e) noexcept {
  return e.pixelFormat == kPixelFormatPixbufRGB;
}

/// What every written word carries in its top byte.
inline uint32_t fourthByte(const PictureEditor& e) noexcept {
  return e.pixelFormat == kPixelFormatHostBuffer ? 0 : 0xFF000000;
}

/// Pixels that are not written in place are made in blocks of this many, which stay in the nearest
/// cache.
inline constexpr int32_t kBlock = 512;

/// So many pixels before this address a pixel begins where a cache line does.
inline int32_t triplesPastLine(const uint8_t* address) noexcept {
  // 3 times 43 is 1 in 64ths.
  return pastLine(address) * 43 % kLine;
}

/// Bytes red, green, blue to words with the given top byte, and back.
void unpackTriples(const uint8_t* triples, Word* words, int32_t count, uint32_t top) noexcept;
void packTriples(const Word* words, uint8_t* triples, int32_t count) noexcept;
/// The same past the caches. That takes whole lines, so triples begin best where a line does.
void streamWords(const uint8_t* triples, Word* words, int32_t count, uint32_t top) noexcept;
void streamTriples(const Word* words, uint8_t* triples, int32_t count) noexcept;

/// A source of `count` words, as a type of its own so that any number of them can be passed on.
struct Run {
  const Word* words;
};

template <typename F, typename... Runs>
ZVK_CLONES void mapRun(Word* out, int32_t count, uint32_t top, F f, Runs... in) noexcept {
#pragma GCC ivdep
  for (int32_t i = 0; i < count; ++i) out[i] = f(in.words[i]...) | top;
}

inline constexpr int32_t kLineWords = kLine / 4;

/// The same for whole cache lines, past the caches.
template <typename F, typename... Runs>
ZVK_CLONES void streamLines(Word* out, int32_t count, uint32_t top, F f, Runs... in) noexcept {
  for (int32_t i = 0; i < count; i += kLineWords) {
    alignas(kLine) uint32_t line[kLineWords];
    // Unrolled, choices are no longer seen to be the same for all pixels of a vector.
#pragma GCC unroll 1
    for (int32_t k = 0; k < kLineWords; ++k) line[k] = f(in.words[i + k]...) | top;
    streamLine(out + i, line);
    (fetchAhead(in.words + i), ...);
  }
}

/// Writes the words that mapRun would write, whole cache lines past the caches.
template <typename F, typename... Runs>
void streamRun(Word* out, int32_t count, uint32_t top, F f, Runs... in) noexcept {
  const int32_t past = pastLine(out) / 4;
  const int32_t head = std::min((kLineWords - past) % kLineWords, count);
  const int32_t lines = pastLine(out + head) == 0 ? (count - head) / kLineWords * kLineWords : 0;
  const int32_t done = head + lines;
  mapRun(out, head, top, f, in...);
  streamLines(out + head, lines, top, f, Run{in.words + head}...);
  mapRun(out + done, count - done, top, f, Run{in.words + done}...);
}

/// A kernel may bring a loop of its own, `run(out, count, top, in...)`, instead of its arithmetic
/// on one pixel, or beside it if both give the same words.
template <typename F, typename... Runs>
concept HasLoop = requires(F f, Word* out, Runs... in) {
  f.run(out, int32_t{}, uint32_t{}, in...);
};
template <typename F, typename... Runs>
concept HasOnlyLoop = HasLoop<F, Runs...> && !requires(F f, Runs... in) {
  f(in.words[0]...);
};

template <typename F, typename... Runs>
void applyKernel(Word* out, int32_t count, uint32_t top, F f, Runs... in) noexcept {
  if constexpr (HasLoop<F, Runs...>) {
    f.run(out, count, top, in...);
  } else {
    mapRun(out, count, top, f, in...);
  }
}

template <typename F>
ZVK_CLONES uint32_t countRun(const Word* words, int32_t count, F f) noexcept {
  constexpr int32_t kStretch = 8 * kLineWords;
  uint32_t matches = 0;
  int32_t i = 0;
  for (; i + kStretch <= count; i += kStretch) {
    for (int32_t k = 0; k < kStretch; k += kLineWords) fetchAhead(words + i + k);
    for (int32_t k = 0; k < kStretch; ++k) matches += f(words[i + k]) ? 1U : 0U;
  }
  for (; i < count; ++i) matches += f(words[i]) ? 1U : 0U;
  return matches;
}

/// A row's pixels from column x on: in place, or unpacked into `block`.
inline Run readRun(const PictureEditor& e, const uint8_t* row, int32_t x, int32_t count,
                   Word* block) noexcept {
  if (!isPacked(e)) return {reinterpret_cast<const Word*>(row) + x};
  unpackTriples(row + static_cast<ptrdiff_t>(x) * 3, block, count, 0);
  return {block};
}

/// The same for the current row.
inline Run readRun(const PictureEditor& e, int32_t x, int32_t count, Word* block) noexcept {
  return readRun(e, e.row, x, count, block);
}

inline uint8_t* addressOf(const PictureEditor& e, int32_t x) noexcept {
  return e.row + static_cast<ptrdiff_t>(x) * e.bytesPerPixel;
}

/// The words of the current row from column x on, where pixels are words.
inline Run wordsAt(const PictureEditor& e, int32_t x) noexcept {
  return {reinterpret_cast<const Word*>(addressOf(e, x))};
}

/// The way in which a region of a picture is written: in place, past the caches, or from blocks.
class Output {
 public:
  Output(PictureEditor& writer, const Region& region) noexcept;
  ~Output() {
    if (streamed_) finishStreaming();
  }
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  /// The length of a block from column x of the current row on, at most `count`; blocks that are
  /// streamed end where cache lines do.
  [[nodiscard]] int32_t blockLength(int32_t x, int32_t count) const noexcept;

  [[nodiscard]] bool streamed() const noexcept { return streamed_; }

  /// How many of `count` pixels from column x of the current row on may be written at once.
  template <typename F, typename... Runs>
  [[nodiscard]] int32_t runLength(int32_t x, int32_t count, Runs... in) const noexcept {
    return takesBlocks<F>(x, in...) ? blockLength(x, count) : count;
  }

  /// Writes f(a, b, ...) of the runs' words to so many pixels of the current row from column x on:
  /// those of a block, or as many as runLength says. `sources` are where the words come from.
  template <typename F, typename... Runs>
  void write(int32_t x, int32_t count, Sources sources, F f, Runs... in) noexcept {
    if (writer_.row == nullptr) return;
    const uint32_t top = fourthByte(writer_);
    auto* const place = reinterpret_cast<Word*>(addressOf(writer_, x));
    if (takesBlocks<F>(x, in...)) {
      // A block lies in its cache lines like its place does, so that to stream it does not stall.
      alignas(kLine) uint32_t lines[kBlock + kLineWords];
      Word* const block = lines + (isPacked(writer_) ? 0 : pastLine(place) / 4);
      applyKernel(block, count, top, f, in...);
      return putBlock(x, count, sources, block);
    }
    if constexpr (!HasOnlyLoop<F, Runs...>) {
      if (streamed_) return streamRun(place, count, top, f, in...);
    }
    applyKernel(place, count, top, f, in...);
  }

 private:
  template <typename F, typename... Runs>
  [[nodiscard]] bool takesBlocks([[maybe_unused]] int32_t x, Runs... in) const noexcept {
    if (isPacked(writer_)) return true;
    return streamed_ &&
           (HasOnlyLoop<F, Runs...> || (stallsOn(addressOf(writer_, x), in.words) || ...));
  }
  void putBlock(int32_t x, int32_t count, Sources sources, const Word* words) noexcept;

  PictureEditor& writer_;
  bool streamed_;
};

/// Maps one block of the current rows.
template <typename F, typename... Readers>
void mapBlock(Output& output, int32_t x, int32_t count, F f, const Readers&... readers) noexcept {
  const Sources places{addressOf(readers, x)...};
  if ((!isPacked(readers) && ...)) {
    output.write(x, count, places, f, wordsAt(readers, x)...);
    return;
  }
  // One block more than there are sources, so that there may be none.
  Word sources[sizeof...(Readers) + 1][kBlock];
  Word(*block)[kBlock] = sources;
  [[maybe_unused]] const auto next = [&block] { return *block++; };
  // Braces, so that the sources take their blocks from left to right.
  struct Writer {
    Writer(Output& to, int32_t left, int32_t n, Sources from, F g,
           decltype(readRun(readers, 0, 0, nullptr))... runs) {
      to.write(left, n, from, g, runs...);
    }
  };
  Writer{output, x, count, places, f, readRun(readers, x, count, next())...};
}

// --- Drivers ------------------------------------------------------------------------------------

/// Writes f(a, b, ...) of the readers' pixels at the same place to the writer, row by row. The
/// region lies within all of the pictures.
template <typename F, typename... Readers>
void zipRows(PictureEditor& writer, const Region& region, F f, Readers&... readers) noexcept {
  seekRow(writer, region.top);
  (seekRow(readers, region.top), ...);
  Output output(writer, region);
  const bool fromBlocks = (isPacked(readers) || ...);
  for (int32_t y = region.top; y < region.bottom; ++y) {
    if (writer.row != nullptr && ((readers.row != nullptr) && ...)) {
      for (int32_t x = region.left; x < region.right;) {
        const int32_t rest = region.right - x;
        const int32_t count = fromBlocks ? output.blockLength(x, rest)
                                         : output.runLength<F>(x, rest, wordsAt(readers, x)...);
        mapBlock(output, x, count, f, readers...);
        x += count;
      }
    }
    NextRow(writer);
    (NextRow(readers), ...);
  }
}

/// The same for the part of any region that lies within all of the pictures. Without readers, f()
/// fills it.
template <typename F, typename... Readers>
void zipPixels(PictureEditor& writer, const Region& wanted, F f, Readers&... readers) noexcept {
  Region region = wanted.intersect(wholeOf(writer));
  ((region = region.intersect(wholeOf(readers))), ...);
  if (region.empty()) return;
  const auto isWhole = [&region](const PictureEditor& e) {
    return region == wholeOf(e) && isSeamless(e);
  };
  if (!(isWhole(writer) && ... && isWhole(readers))) {
    return zipRows(writer, region, f, readers...);
  }
  const auto zipJoined = [&f](PictureEditor to, auto... from) {
    zipRows(to, wholeOf(to), f, from...);
  };
  zipJoined(asOneRow(writer), asOneRow(readers)...);
}

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

/// Calls visit(words, count, x, y) for runs of the region's pixels in reading order, each from
/// column x of row y on, until one call returns false; false then. All runs of a row but its last
/// one have the same length, a multiple of 512.
template <typename Visit>
bool scanRuns(PictureEditor& reader, const Region& wanted, Visit visit) noexcept {
  constexpr int32_t kRun = 4096;
  const Region region = wanted.intersect(wholeOf(reader));
  if (region.empty()) return true;
  const int32_t step = isPacked(reader) ? kBlock : kRun;
  Word block[kBlock];
  seekRow(reader, region.top);
  for (int32_t y = region.top; y < region.bottom; ++y) {
    for (int32_t x = region.left; x < region.right && reader.row != nullptr;) {
      const int32_t count = std::min(step, region.right - x);
      if (!visit(readRun(reader, x, count, block).words, count, x, y)) return false;
      x += count;
    }
    NextRow(reader);
  }
  return true;
}

/// The same where the place does not matter: calls visit(words, count).
template <typename Visit>
bool scanPixels(PictureEditor& reader, const Region& wanted, Visit visit) noexcept {
  const bool whole = wanted.intersect(wholeOf(reader)) == wholeOf(reader);
  PictureEditor rows = whole ? joinRows(reader) : reader;
  return scanRuns(
      rows, whole ? wholeOf(rows) : wanted,
      [&](const Word* words, int32_t count, int32_t, int32_t) { return visit(words, count); });
}

/// Number of pixels for which f(word) holds.
template <typename F>
int64_t countPixels(PictureEditor& reader, const Region& region, F f) noexcept {
  int64_t matches = 0;
  scanPixels(reader, region, [&](const Word* words, int32_t count) {
    matches += countRun(words, count, f);
    return true;
  });
  return matches;
}

/// Whether f(word) holds for every pixel; stops in the run of the first one for which it does not.
template <typename F>
bool allPixels(PictureEditor& reader, const Region& region, F f) noexcept {
  return scanPixels(reader, region, [&](const Word* words, int32_t count) {
    return countRun(words, count, f) == static_cast<uint32_t>(count);
  });
}

// --- Frames of operations -----------------------------------------------------------------------

/// The frame of an operation with one source and a result of its size, with an alpha channel when
/// the source has one: lets write(reader, writer) write the result's pixels.
template <typename Write>
REALpictureStruct* writtenPicture(REALpictureStruct* source, Write write) noexcept {
  ScopedReader reader(source);
  if (!reader) return nullptr;
  ScopedWriter writer(reader);
  if (!writer) return nullptr;
  write(reader.editor(), writer.editor());
  return writer.render();
}

/// The same where each of the source's pixels is mapped.
template <typename F>
REALpictureStruct* mappedPicture(REALpictureStruct* source, F f) noexcept {
  return writtenPicture(
      source, [=](PictureEditor& reader, PictureEditor& writer) { mapPixels(reader, writer, f); });
}

}  // namespace pixels
