// How the drivers of Pixels.h walk pictures, and the loops in which kernels run.
#pragma once

#include "pixels/Pixels.h"
#include "pixels/Streaming.h"

// The way in which code is chosen by processor: a function so marked is compiled once per
// instruction set, and the loader binds the best one that the machine has. Kernels belong into
// anonymous namespaces: GCC exports the entry of a clone whose name is not local to its file.
#define ZVK_CLONES __attribute__((target_clones("default", "avx2")))
// The same choice between two versions of a function that are written by hand.
#define ZVK_FOR_ANY __attribute__((target("default")))
#define ZVK_FOR_AVX2 __attribute__((target("avx2")))

namespace pixels {

// --- Rows ---------------------------------------------------------------------------------------

/// Whether pixels are bytes red, green, blue; else they are words.
inline bool holdsTriples(const PictureEditor& e) noexcept {
  return e.pixelFormat == kPixelFormatPixbufRGB;
}

/// What every written word carries in its top byte.
inline uint32_t fourthByte(const PictureEditor& e) noexcept {
  return e.pixelFormat == kPixelFormatHostBuffer ? 0 : 0xFF000000;
}

/// Moves the row cursor to row y of the picture.
inline void seekRow(PictureEditor& e, int32_t y) noexcept {
  e.y = y;
  e.row = rowAddress(e, y);
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

/// Whether what is written to the region should go past the caches.
bool isStreamed(const PictureEditor& writer, const Region& region) noexcept;

inline uint8_t* addressOf(const PictureEditor& e, int32_t x) noexcept {
  return e.row + static_cast<ptrdiff_t>(x) * e.bytesPerPixel;
}

// --- Sources of words ---------------------------------------------------------------------------

/// Where triples are read or written, this many pixels at a time stand as words on the stack: in
/// the nearest cache.
inline constexpr int32_t kBlock = 512;

/// Bytes red, green, blue to words with the given top byte, and back.
void wordsFromTriples(const uint8_t* triples, Word* words, int32_t count, uint32_t top) noexcept;
void triplesFromWords(const Word* words, uint8_t* triples, int32_t count) noexcept;

/// Words that a kernel reads, as a type of its own so that any number of them can be passed on.
struct Source {
  const Word* words;
};

/// A row's pixels from column x on: in place, or from triples into `block`.
inline Source sourceAt(const PictureEditor& e, const uint8_t* row, int32_t x, int32_t count,
                       Word* block) noexcept {
  if (!holdsTriples(e)) return {reinterpret_cast<const Word*>(row) + x};
  wordsFromTriples(row + static_cast<ptrdiff_t>(x) * 3, block, count, 0);
  return {block};
}

/// The same for the current row.
inline Source sourceAt(const PictureEditor& e, int32_t x, int32_t count, Word* block) noexcept {
  return sourceAt(e, e.row, x, count, block);
}

// --- Loops --------------------------------------------------------------------------------------

template <typename F, typename... Sources>
ZVK_CLONES void mapWords(Word* out, int32_t count, uint32_t top, F f, Sources... in) noexcept {
#pragma GCC ivdep
  for (int32_t i = 0; i < count; ++i) out[i] = f(in.words[i]...) | top;
}

inline constexpr int32_t kLineWords = kLine / 4;

/// The same for whole cache lines, past the caches.
template <typename F, typename... Sources>
ZVK_CLONES void streamLines(Word* out, int32_t count, uint32_t top, F f, Sources... in) noexcept {
  for (int32_t i = 0; i < count; i += kLineWords) {
    alignas(kLine) uint32_t line[kLineWords];
    // Unrolled, choices are no longer seen to be the same for all pixels of a vector.
#pragma GCC unroll 1
    for (int32_t k = 0; k < kLineWords; ++k) line[k] = f(in.words[i + k]...) | top;
    streamLine(out + i, line);
    // Processors look far enough ahead of two and more by themselves, and are disturbed by help.
    if constexpr (sizeof...(in) == 1) (fetchAhead(in.words + i), ...);
  }
}

/// Writes the words that mapWords would write, whole cache lines past the caches.
template <typename F, typename... Sources>
void streamWords(Word* out, int32_t count, uint32_t top, F f, Sources... in) noexcept {
  const int32_t head = std::min(wordsToLine(out), count);
  const int32_t lines = (count - head) / kLineWords * kLineWords;
  const int32_t done = head + lines;
  mapWords(out, head, top, f, in...);
  streamLines(out + head, lines, top, f, Source{in.words + head}...);
  mapWords(out + done, count - done, top, f, Source{in.words + done}...);
}

/// A kernel may bring a loop of its own, instead of its arithmetic on one pixel or beside it if
/// both give the same words.
template <typename F, typename... Sources>
concept HasLoop = requires(F f, Word* out, Sources... in) {
  f.mapWords(out, int32_t{}, uint32_t{}, in...);
};

template <typename F, typename... Sources>
void applyKernel(Word* out, int32_t count, uint32_t top, F f, Sources... in) noexcept {
  if constexpr (HasLoop<F, Sources...>) {
    f.mapWords(out, count, top, in...);
  } else {
    mapWords(out, count, top, f, in...);
  }
}

/// Writes `count` words by way of blocks, whole cache lines past the caches. `fill(to, i, n)`
/// writes words i to i + n.
template <typename Fill>
void streamBlocks(Word* out, int32_t count, Fill fill) noexcept {
  constexpr int32_t kApart = 2 * kLineWords;
  alignas(kLine) Word room[kBlock + kApart];
  // Blocks begin where lines do: a load of what two stores wrote has to wait for both, and they
  // for the streaming stores before them.
  int32_t i = std::min(wordsToLine(out), count);
  fill(out, 0, i);
  for (; i < count; i += kBlock) {
    Word* const block = stallsOn(out + i, room) ? room + kApart : room;
    const int32_t length = std::min(kBlock, count - i);
    fill(block, i, length);
    streamCopy(out + i, block, length);
  }
}

template <typename F>
ZVK_CLONES uint32_t countWords(const Word* words, int32_t count, F f) noexcept {
  uint32_t matches = 0;
  for (int32_t i = 0; i < count; ++i) matches += f(words[i]) ? 1U : 0U;
  return matches;
}

// --- Drivers ------------------------------------------------------------------------------------

/// Writes f(a, b, ...) of the sources to `count` pixels of the current row from column x on; at
/// most kBlock where these are triples or there are no sources. What was streamed must be finished.
template <typename F, typename... Sources>
void writePixels(PictureEditor& writer, int32_t x, int32_t count, bool streamed, F f,
                 Sources... in) noexcept {
  const uint32_t top = fourthByte(writer);
  if (holdsTriples(writer)) {
    Word block[kBlock];
    applyKernel(block, count, top, f, in...);
    return triplesFromWords(block, addressOf(writer, x), count);
  }
  auto* const out = reinterpret_cast<Word*>(addressOf(writer, x));
  if (!streamed || (stallsOn(out, in.words) || ...)) return applyKernel(out, count, top, f, in...);
  if constexpr (requires { f(in.words[0]...); }) {
    streamWords(out, count, top, f, in...);
  } else if constexpr (sizeof...(in) == 0) {
    alignas(kLine) Word block[kBlock];  // whole: nothing tells the kernel where it is
    f.mapWords(block, count, top);
    streamCopy(out, block, count);
  } else {
    streamBlocks(out, count, [&](Word* to, int32_t i, int32_t length) {
      f.mapWords(to, length, top, Source{in.words + i}...);
    });
  }
}

/// Writes f(a, b, ...) of the readers' current rows.
template <typename F, typename... Readers>
void zipRow(PictureEditor& writer, int32_t left, int32_t right, bool streamed, F f,
            const Readers&... readers) noexcept {
  if (!(holdsTriples(writer) || ... || holdsTriples(readers))) {
    return writePixels(writer, left, right - left, streamed, f,
                       sourceAt(readers, left, right - left, nullptr)...);
  }
  for (int32_t x = left; x < right; x += kBlock) {
    const int32_t count = std::min(kBlock, right - x);
    // One block more than there are sources, so that there may be none.
    Word blocks[sizeof...(Readers) + 1][kBlock];
    Word(*block)[kBlock] = blocks;
    [[maybe_unused]] const auto next = [&block] { return *block++; };
    writePixels(writer, x, count, streamed, f, sourceAt(readers, x, count, next())...);
  }
}

/// Row by row, for a region that lies within all of the pictures.
template <typename F, typename... Readers>
void zipRows(PictureEditor& writer, const Region& region, F f, Readers&... readers) noexcept {
  seekRow(writer, region.top);
  (seekRow(readers, region.top), ...);
  const bool streamed = isStreamed(writer, region);
  for (int32_t y = region.top; y < region.bottom; ++y) {
    if (writer.row != nullptr && ((readers.row != nullptr) && ...)) {
      zipRow(writer, region.left, region.right, streamed, f, readers...);
    }
    NextRow(writer);
    (NextRow(readers), ...);
  }
  if (streamed) finishStreaming();
}

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

template <typename Visit>
bool scanRows(PictureEditor& reader, const Region& wanted, Visit visit) noexcept {
  constexpr int32_t kStretch = 4096;
  const Region region = wanted.intersect(wholeOf(reader));
  if (region.empty()) return true;
  const int32_t step = holdsTriples(reader) ? kBlock : kStretch;
  Word block[kBlock];
  seekRow(reader, region.top);
  for (int32_t y = region.top; y < region.bottom; ++y, NextRow(reader)) {
    if (reader.row == nullptr) continue;
    for (int32_t x = region.left; x < region.right; x += step) {
      const int32_t count = std::min(step, region.right - x);
      if (!visit(sourceAt(reader, x, count, block).words, count, x, y)) return false;
    }
  }
  return true;
}

template <typename Visit>
bool scanPixels(PictureEditor& reader, const Region& wanted, Visit visit) noexcept {
  const bool whole = wanted.intersect(wholeOf(reader)) == wholeOf(reader);
  PictureEditor rows = whole ? joinRows(reader) : reader;
  return scanRows(
      rows, whole ? wholeOf(rows) : wanted,
      [&](const Word* words, int32_t count, int32_t, int32_t) { return visit(words, count); });
}

template <typename F>
int64_t countPixels(PictureEditor& reader, const Region& region, F f) noexcept {
  int64_t matches = 0;
  scanPixels(reader, region, [&](const Word* words, int32_t count) {
    matches += countWords(words, count, f);
    return true;
  });
  return matches;
}

template <typename F>
bool allPixels(PictureEditor& reader, const Region& region, F f) noexcept {
  return scanPixels(reader, region, [&](const Word* words, int32_t count) {
    return countWords(words, count, f) == static_cast<uint32_t>(count);
  });
}

}  // namespace pixels
