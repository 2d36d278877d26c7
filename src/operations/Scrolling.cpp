#include <algorithm>
#include <cstring>
#include <limits>
#include <numeric>

#include "operations/Operations.h"
#include "picture/PictureHelpers.h"
#include "pixels/Buffer.h"
#include "pixels/Moving.h"
#include "pixels/Pixels.h"

namespace {

using namespace pixels;

constexpr int32_t kFill = 0xFF;
constexpr size_t kPixelBytes = 4;

/// Bytes of one row; where rows share a block, with what lies behind the last pixel.
size_t rowLength(const PictureEditor& e) noexcept {
  return e.pixelFormat == kPixelFormatHostBuffer ? static_cast<size_t>(e.width) * kPixelBytes
                                                 : static_cast<size_t>(e.rowBytes);
}

bool hasPixels(const PictureEditor& e) noexcept { return e.width > 0 && e.height > 0; }

/// Copies where both rows are there.
template <typename Copy>
void copyRow(uint8_t* to, const uint8_t* from, Copy copy) noexcept {
  if (to != nullptr && from != nullptr) copy(to, from);
}

void fillRow(PictureEditor& e, uint8_t* row) noexcept {
  if (row != nullptr) memset(row, kFill, rowLength(e));
}

// Rows are moved by code chosen by processor, into which moveBytes is inlined.

/// Copies a row as it is.
struct Straight {
  size_t length;

  ZVK_CLONES void operator()(uint8_t* to, const uint8_t* from) const noexcept {
    moveBytes(to, from, length);
  }
};

/// Copies a row with its pixels moved to the right, to the left where `right` is negative. It may
/// be copied onto itself where pixels do not wrap.
struct Sideways {
  size_t used, length;  ///< bytes of the pixels, and those with what lies behind them
  ptrdiff_t right;      ///< bytes, less than all pixels
  bool wrap;            ///< around the edge; else uncovered pixels are filled

  ZVK_CLONES void operator()(uint8_t* to, const uint8_t* from) const noexcept {
    const size_t moved = static_cast<size_t>(right < 0 ? -right : right), rest = used - moved;
    uint8_t* const uncovered = right < 0 ? to + rest : to;
    moveBytes(right < 0 ? to : to + moved, right < 0 ? from + moved : from, rest);
    if (wrap) {
      moveBytes(uncovered, right < 0 ? from : from + rest, moved);
    } else {
      memset(uncovered, kFill, moved);
    }
    if (length > used) memmove(to + used, from + used, length - used);
  }
};

/// How far content moves when `delta` is taken around a side of `size`: the way that is shorter,
/// down or right when both are equally long.
int32_t shortestWay(int32_t delta, int32_t size) noexcept {
  int32_t way = delta % size;
  const int32_t half = size / 2;
  if (way >= half) way -= size;
  if (way <= -half) way += size;
  return way;
}

// Rows move along chains, each delta rows from the one before it: a row is written right after it
// was read, while it is in the nearest cache, so the picture passes through memory once.

/// Moves every row down by `delta` (up when negative) with copy(to, from); uncovered rows are
/// filled.
template <typename Copy>
void shiftRows(PictureEditor& e, int32_t delta, Copy copy) noexcept {
  const int64_t step = delta;
  const auto chains = static_cast<int32_t>(std::min<int64_t>(step > 0 ? step : -step, e.height));
  for (int32_t chain = 0; chain < chains; ++chain) {
    int32_t to = delta > 0 ? e.height - 1 - chain : chain;
    for (int64_t from = to - step; from >= 0 && from < e.height; from -= step) {
      copyRow(rowAddress(e, to), rowAddress(e, static_cast<int32_t>(from)), copy);
      to = static_cast<int32_t>(from);
    }
    fillRow(e, rowAddress(e, to));
  }
}

/// Moves every row down by `down`, 0 < down < height, around the bottom edge with copy(to, from);
/// the chains are closed.
template <typename Copy>
void rotateRows(PictureEditor& e, int32_t down, uint8_t* saved, Copy copy) noexcept {
  const int32_t chains = std::gcd(down, e.height);
  for (int32_t start = 0; start < chains; ++start) {
    const uint8_t* first = rowAddress(e, start);
    copyRow(saved, first, Straight{rowLength(e)});
    int32_t to = start;
    for (;;) {
      const int32_t from = to >= down ? to - down : to - down + e.height;
      if (from == start) break;
      copyRow(rowAddress(e, to), rowAddress(e, from), copy);
      to = from;
    }
    copyRow(rowAddress(e, to), first != nullptr ? saved : nullptr, copy);
  }
}

/// Memory for one row while rows turn around the edge by `way`; null where it cannot be had.
Buffer<uint8_t> savedRow(const PictureEditor& e, int32_t way) noexcept {
  // The documented limit. The way in which rows move here would need only one row of memory.
  const int64_t moving = way > 0 ? e.height - way : e.height;
  const auto length = static_cast<int64_t>(rowLength(e));
  if (moving * length > std::numeric_limits<int32_t>::max()) return nullptr;
  return zeroedBuffer<uint8_t>(length);
}

int32_t downOf(int32_t way, int32_t height) noexcept { return way > 0 ? way : way + height; }

// The four workers shift one picture's own pixels. A delta of 0 does not even open it.

bool scrollVerticalPlain(REALpictureStruct* picture, int32_t delta) noexcept {
  if (delta == 0) return true;
  ScopedEditor scoped(picture);
  if (!scoped) return false;
  PictureEditor& e = scoped.editor();
  if (hasPixels(e)) shiftRows(e, delta, Straight{rowLength(e)});
  return true;
}

bool scrollVerticalWrap(REALpictureStruct* picture, int32_t delta) noexcept {
  if (delta == 0) return true;
  ScopedEditor scoped(picture);
  if (!scoped) return false;
  PictureEditor& e = scoped.editor();
  if (!hasPixels(e)) return true;
  const int32_t way = shortestWay(delta, e.height);
  if (way == 0) return true;
  const Buffer<uint8_t> saved = savedRow(e, way);
  if (saved == nullptr) return false;
  rotateRows(e, downOf(way, e.height), saved.get(), Straight{rowLength(e)});
  return true;
}

/// Calls shift(row) for every row of an opened picture.
template <typename Shift>
void forEachRow(PictureEditor& e, Shift shift) noexcept {
  for (int32_t y = 0; y < e.height; ++y, NextRow(e)) {
    if (e.row != nullptr) shift(e.row);
  }
}

bool scrollHorizontalPlain(REALpictureStruct* picture, int32_t delta) noexcept {
  if (delta == 0) return true;
  ScopedEditor scoped(picture);
  if (!scoped || !hasPixels(scoped.editor())) return true;
  PictureEditor& e = scoped.editor();
  if (delta >= e.width || delta <= -e.width) {
    for (int32_t y = 0; y < e.height; ++y) fillRow(e, rowAddress(e, y));
    return true;
  }
  const Sideways copy{static_cast<size_t>(e.width) * kPixelBytes,
                      static_cast<size_t>(e.width) * kPixelBytes,
                      delta * static_cast<ptrdiff_t>(kPixelBytes), false};
  forEachRow(e, [=](uint8_t* row) { copy(row, row); });
  return true;
}

/// Turns a row's pixels to the right in place, to the left where `right` is negative. `saved` has
/// room for those that pass the edge.
ZVK_CLONES void turnRow(uint8_t* row, size_t used, ptrdiff_t right, uint8_t* saved) noexcept {
  const size_t moved = static_cast<size_t>(right < 0 ? -right : right), rest = used - moved;
  moveBytes(saved, right < 0 ? row : row + rest, moved);
  moveBytes(right < 0 ? row : row + moved, right < 0 ? row + moved : row, rest);
  moveBytes(right < 0 ? row + rest : row, saved, moved);
}

bool scrollHorizontalWrap(REALpictureStruct* picture, int32_t delta) noexcept {
  if (delta == 0) return true;
  ScopedEditor scoped(picture);
  if (!scoped || !hasPixels(scoped.editor())) return true;
  PictureEditor& e = scoped.editor();
  const ptrdiff_t right = shortestWay(delta, e.width) * static_cast<ptrdiff_t>(kPixelBytes);
  const auto saved = zeroedBuffer<uint8_t>(int64_t{right < 0 ? -right : right});
  if (right == 0 || saved == nullptr) return true;
  const size_t used = static_cast<size_t>(e.width) * kPixelBytes;
  forEachRow(e, [&](uint8_t* row) { turnRow(row, used, right, saved.get()); });
  return true;
}

bool scrollVertical(REALpictureStruct* picture, int32_t delta, HostBoolean wrap) noexcept {
  return wrap ? scrollVerticalWrap(picture, delta) : scrollVerticalPlain(picture, delta);
}

bool scrollHorizontal(REALpictureStruct* picture, int32_t delta, HostBoolean wrap) noexcept {
  return wrap ? scrollHorizontalWrap(picture, delta) : scrollHorizontalPlain(picture, delta);
}

/// Both ways in one pass: rows move sideways on their way down. False, and nothing done, where it
/// takes two passes: for pictures that lack rows, for ways of which one leads nowhere or out of the
/// picture, and for whatever fails.
bool scrollInOnePass(REALpictureStruct* picture, int32_t deltaX, int32_t deltaY,
                     bool wrap) noexcept {
  if (deltaX == 0 || deltaY == 0) return false;
  ScopedEditor scoped(picture);
  if (!scoped || !hasPixels(scoped.editor())) return false;
  PictureEditor& e = scoped.editor();
  for (int32_t y = 0; y < e.height; ++y) {
    if (rowAddress(e, y) == nullptr) return false;
  }
  const auto within = [](int32_t delta, int32_t size) { return delta > -size && delta < size; };
  const int32_t right = wrap ? shortestWay(deltaX, e.width) : deltaX;
  const int32_t down = wrap ? shortestWay(deltaY, e.height) : deltaY;
  if (right == 0 || down == 0 || !within(right, e.width) || !within(down, e.height)) return false;
  const Sideways copy{static_cast<size_t>(e.width) * kPixelBytes, rowLength(e),
                      right * static_cast<ptrdiff_t>(kPixelBytes), wrap};
  if (!wrap) {
    shiftRows(e, down, copy);
    return true;
  }
  const Buffer<uint8_t> saved = savedRow(e, down);
  if (saved == nullptr) return false;
  rotateRows(e, downOf(down, e.height), saved.get(), copy);
  return true;
}

using Scroll = bool (*)(REALpictureStruct*, int32_t, HostBoolean) noexcept;

/// A mask that cannot be scrolled leaves the picture as it is.
bool scrollWithMask(REALpictureStruct* self, Scroll scroll, int32_t delta, HostBoolean wrap,
                    HostBoolean scrollMask) noexcept {
  if (scrollMask) {
    const SeparateMask mask(self);
    if (mask.picture() != nullptr && !scroll(mask.picture(), delta, wrap)) return false;
  }
  return scroll(self, delta, wrap);
}

}  // namespace

HostBoolean ScrollVerticalZVK(REALpictureStruct* self, HostLong delta, HostBoolean wrap,
                              HostBoolean scrollmask) noexcept {
  return scrollWithMask(self, scrollVertical, static_cast<int32_t>(delta), wrap, scrollmask);
}

HostBoolean ScrollHorizontalZVK(REALpictureStruct* self, HostLong delta, HostBoolean wrap,
                                HostBoolean scrollmask) noexcept {
  return scrollWithMask(self, scrollHorizontal, static_cast<int32_t>(delta), wrap, scrollmask);
}

HostBoolean ScrollZVK(REALpictureStruct* self, HostLong deltaX, HostLong deltaY, HostBoolean wrap,
                      HostBoolean scrollmask) noexcept {
  if (!scrollmask && scrollInOnePass(self, static_cast<int32_t>(deltaX),
                                     static_cast<int32_t>(deltaY), wrap != 0)) {
    return true;
  }
  return ScrollHorizontalZVK(self, deltaX, wrap, scrollmask) &&
         ScrollVerticalZVK(self, deltaY, wrap, scrollmask);
}
