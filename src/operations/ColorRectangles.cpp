#include <bit>
#include <limits>

#include "operations/Operations.h"
#include "pixels/Buffer.h"
#include "pixels/Pixels.h"

namespace {

using namespace pixels;

/// One bit per pixel, as many as a machine word has; bit 0 is the leftmost pixel.
using Cells = unsigned long;
constexpr int32_t kCells = std::numeric_limits<Cells>::digits;

// Columns are never negative; as unsigned numbers they are taken apart without a division.
constexpr int32_t wordOf(int32_t x) noexcept {
  return static_cast<int32_t>(static_cast<uint32_t>(x) / kCells);
}
constexpr int32_t bitOf(int32_t x) noexcept {
  return static_cast<int32_t>(static_cast<uint32_t>(x) % kCells);
}
constexpr Cells cellAt(int32_t x) noexcept { return Cells{1} << bitOf(x); }

/// The cells of column x and all to its right, or left, in the same word.
constexpr Cells cellsFrom(int32_t x) noexcept { return ~Cells{0} << bitOf(x); }
constexpr Cells cellsUpTo(int32_t x) noexcept { return ~Cells{0} >> (kCells - 1 - bitOf(x)); }

// --- Classification -----------------------------------------------------------------------------

/// 0 exactly for grey pixels: their channels are alike.
constexpr uint32_t channelDifferences(uint32_t word) noexcept {
  return (word ^ word >> 8) & 0xFFFF;
}

/// Pixels are classified in groups of 32; bit i stands for pixel i of a group.
constexpr int32_t kGroup = 32;
struct GroupBits {
  uint32_t bits[kGroup];
  constexpr GroupBits() noexcept : bits() {
    for (int32_t i = 0; i < kGroup; ++i) bits[i] = 1U << i;
  }
};
constexpr GroupBits kGroupBits;

/// Sets the cells of coloured pixels; the others must be 0. `cells` begins at the first pixel.
ZVK_CLONES void classify(const Word* words, int32_t count, Cells* cells) noexcept {
  // Most pictures are grey over long stretches, which are passed faster than groups.
  constexpr int32_t kStretch = 8 * kGroup;
  for (int32_t start = 0; start < count; start += kStretch) {
    const int32_t end = std::min(start + kStretch, count);
    int32_t i = start;
    if (end - start == kStretch) {
      uint32_t differences = 0;
      for (int32_t k = 0; k < kStretch; k += kLineWords) fetchAhead(words + start + k);
      for (int32_t k = 0; k < kStretch; ++k) differences |= channelDifferences(words[start + k]);
      if (differences == 0) continue;
    }
    for (; i + kGroup <= end; i += kGroup) {
      uint32_t group = 0;
      for (int32_t k = 0; k < kGroup; ++k) {
        group |= channelDifferences(words[i + k]) != 0 ? kGroupBits.bits[k] : 0;
      }
      cells[wordOf(i)] |= Cells{group} << bitOf(i);
    }
    for (; i < end; ++i) {
      if (channelDifferences(words[i]) != 0) cells[wordOf(i)] |= cellAt(i);
    }
  }
}

// --- Boxes --------------------------------------------------------------------------------------

/// Inclusive bounds.
struct Box {
  int32_t left, top, right, bottom;
};

/// Finds the boxes of a region of a picture.
///
/// A growing box keeps the columns of its rows OR-ed into one row of cells. A column beside it is
/// then one bit, a row beside it the box's width in words, so that a box costs its area in words:
/// in the worst case, boxes nested inside each other by the thousand, too.
class BoxFinder {
 public:
  BoxFinder(int32_t width, int32_t height) noexcept
      : width_(width),
        height_(height),
        stride_((width + kCells - 1) / kCells),
        memory_(zeroedBuffer<Cells>((int64_t{2} * height + 1) * stride_)),
        colored_(memory_.get()),
        boxes_(colored_ + rowCells() * height),
        columns_(boxes_ + rowCells() * height) {}

  explicit operator bool() const noexcept { return memory_ != nullptr; }

  /// Row y of the cells of coloured pixels that no box covers yet.
  Cells* colored(int32_t y) noexcept { return colored_ + rowCells() * y; }
  /// Row y of the cells covered by boxes.
  Cells* boxes(int32_t y) noexcept { return boxes_ + rowCells() * y; }

  void findAll() noexcept;

 private:
  [[nodiscard]] ptrdiff_t rowCells() const noexcept { return stride_; }
  // Inlined, it would take registers from the loop over all words, most of which are empty.
  [[gnu::noinline]] void findIn(int32_t index, int32_t y) noexcept;
  Cells lonelyCells(int32_t index, int32_t y) noexcept;
  Box boxFrom(int32_t x, int32_t y) noexcept;
  bool anyInRow(int32_t y, int32_t left, int32_t right) noexcept;
  bool anyInColumn(int32_t x, int32_t top, int32_t bottom) noexcept;
  void addToColumns(int32_t y, int32_t first, int32_t last) noexcept;
  void addColumns(int32_t first, int32_t last, int32_t top, int32_t bottom) noexcept;
  void cover(const Box& box) noexcept;

  int32_t width_, height_, stride_;
  Buffer<Cells> memory_;
  Cells* colored_;
  Cells* boxes_;
  Cells* columns_;  ///< words firstColumns_..lastColumns_: all rows of the growing box, OR-ed
  int32_t firstColumns_ = 0, lastColumns_ = 0;
};

bool BoxFinder::anyInRow(int32_t y, int32_t left, int32_t right) noexcept {
  const Cells* row = colored(y);
  const int32_t first = wordOf(left), last = wordOf(right);
  if (first == last) return (row[first] & cellsFrom(left) & cellsUpTo(right)) != 0;
  if ((row[first] & cellsFrom(left)) != 0 || (row[last] & cellsUpTo(right)) != 0) return true;
  for (int32_t i = first + 1; i < last; ++i) {
    if (row[i] != 0) return true;
  }
  return false;
}

void BoxFinder::addToColumns(int32_t y, int32_t first, int32_t last) noexcept {
  const Cells* row = colored(y);
  for (int32_t i = first; i <= last; ++i) columns_[i] |= row[i];
}

/// Takes the words first..last into the OR of the rows top..bottom.
void BoxFinder::addColumns(int32_t first, int32_t last, int32_t top, int32_t bottom) noexcept {
  std::fill(columns_ + first, columns_ + last + 1, Cells{0});
  for (int32_t y = top; y <= bottom; ++y) addToColumns(y, first, last);
  firstColumns_ = std::min(firstColumns_, first);
  lastColumns_ = std::max(lastColumns_, last);
}

/// Whether column x, beside the growing box, has a cell in its rows top..bottom.
bool BoxFinder::anyInColumn(int32_t x, int32_t top, int32_t bottom) noexcept {
  const int32_t index = wordOf(x);
  // Twice as many words each time: words of one row are cheaper together.
  const int32_t more = lastColumns_ - firstColumns_;
  if (index < firstColumns_) addColumns(std::max(index - more, 0), index, top, bottom);
  if (index > lastColumns_) addColumns(index, std::min(index + more, stride_ - 1), top, bottom);
  return (columns_[index] & cellAt(x)) != 0;
}

/// The growth rule. In each round every edge moves outwards by one where a coloured pixel lies
/// directly beside it: top and bottom first, then left and right, which see the new rows, but not
/// each other. The seed is the first cell that is left, so nothing is above it and the top stays.
Box BoxFinder::boxFrom(int32_t x, int32_t y) noexcept {
  Box box{x, y, x, y};
  firstColumns_ = lastColumns_ = wordOf(x);
  columns_[firstColumns_] = colored(y)[firstColumns_];
  for (;;) {
    const bool down = box.bottom + 1 < height_ && anyInRow(box.bottom + 1, box.left, box.right);
    if (down) addToColumns(++box.bottom, firstColumns_, lastColumns_);
    const bool left = box.left > 0 && anyInColumn(box.left - 1, box.top, box.bottom);
    const bool right = box.right + 1 < width_ && anyInColumn(box.right + 1, box.top, box.bottom);
    if (left) --box.left;
    if (right) ++box.right;
    if (!down && !left && !right) return box;
  }
}

void BoxFinder::cover(const Box& box) noexcept {
  const int32_t first = wordOf(box.left), last = wordOf(box.right);
  for (int32_t y = box.top; y <= box.bottom; ++y) {
    Cells *from = colored(y), *to = boxes(y);
    const auto move = [=](int32_t i, Cells cells) {
      from[i] &= ~cells;
      to[i] |= cells;
    };
    if (first == last) {
      move(first, cellsFrom(box.left) & cellsUpTo(box.right));
      continue;
    }
    move(first, cellsFrom(box.left));
    for (int32_t i = first + 1; i < last; ++i) move(i, ~Cells{0});
    move(last, cellsUpTo(box.right));
  }
}

/// Cells of a word that have no neighbour on any side: each is a box of its own, unless an earlier
/// box takes it in. Before the word, in its row and above, no cells are left.
Cells BoxFinder::lonelyCells(int32_t index, int32_t y) noexcept {
  const Cells* row = colored(y);
  const Cells cells = row[index];
  Cells neighbours = cells << 1 | cells >> 1;
  if (index + 1 < stride_) neighbours |= row[index + 1] << (kCells - 1);
  if (y + 1 < height_) neighbours |= colored(y + 1)[index];
  return cells & ~neighbours;
}

/// Boxes of the seeds in one word.
void BoxFinder::findIn(int32_t index, int32_t y) noexcept {
  Cells& cells = colored(y)[index];
  while (cells != 0) {
    const Cells lonely = lonelyCells(index, y);
    const Cells others = cells & ~lonely;
    // All lonely ones up to the first seed of a larger box, which might take in the rest.
    const Cells single = lonely & ((others & (~others + 1)) - 1);
    cells &= ~single;
    boxes(y)[index] |= single;
    if (others != 0) cover(boxFrom(index * kCells + std::countr_zero(others), y));
  }
}

/// Boxes in reading order of their seeds. A box covers its seed and cells are only ever cleared, so
/// no seed is left behind.
void BoxFinder::findAll() noexcept {
  for (int32_t y = 0; y < height_; ++y) {
    const Cells* const row = colored(y);
    for (int32_t i = 0; i < stride_; ++i) {
      if (row[i] != 0) findIn(i, y);
    }
  }
}

// --- The result ---------------------------------------------------------------------------------

/// Black where the cells are set, else white.
ZVK_CLONES void drawCells(const Cells* cells, int32_t count, Word* out, uint32_t top) noexcept {
  int32_t i = 0;
  for (; i + kGroup <= count; i += kGroup) {
    const auto group = static_cast<uint32_t>(cells[wordOf(i)] >> bitOf(i));
    for (int32_t k = 0; k < kGroup; ++k) {
      out[i + k] = top | ((group & kGroupBits.bits[k]) != 0 ? 0 : kColorBits);
    }
  }
  for (; i < count; ++i) out[i] = top | ((cells[wordOf(i)] & cellAt(i)) != 0 ? 0 : kColorBits);
}

struct White {
  uint32_t operator()() const noexcept { return kColorBits; }
};

/// Cells as a source of words.
struct DrawCells {
  const Cells* cells;

  void mapWords(Word* out, int32_t count, uint32_t top) const noexcept {
    drawCells(cells, count, out, top);
  }
};

void drawBoxes(PictureEditor& writer, const Region& region, BoxFinder& finder) noexcept {
  if (region.right - region.left < writer.width || region.bottom - region.top < writer.height) {
    zipPixels(writer, wholeOf(writer), White{});
  }
  // A picture that the host made smaller than asked for holds no more.
  const Region drawn = region.intersect(wholeOf(writer));
  const bool streamed = !drawn.empty() && isStreamed(writer, drawn);
  for (int32_t y = drawn.top; y < drawn.bottom; ++y) {
    seekRow(writer, y);
    if (writer.row == nullptr) continue;
    const Cells* const cells = finder.boxes(y - region.top);
    for (int32_t x = drawn.left; x < drawn.right; x += kBlock) {
      const int32_t count = std::min(kBlock, drawn.right - x);
      writePixels(writer, x, count, streamed, DrawCells{cells + wordOf(x - drawn.left)});
    }
  }
  if (streamed) finishStreaming();
}

/// The limit of one byte per pixel and of a frame around the picture, in 32 bits.
bool fitsGrid(const PictureEditor& e) noexcept {
  return (int64_t{e.width} + 2) * (int64_t{e.height} + 2) <= std::numeric_limits<int32_t>::max();
}

template <typename RegionOf>
REALpictureStruct* boxMask(REALpictureStruct* source, RegionOf regionOf) noexcept {
  ScopedReader reader(source);
  if (!reader || !fitsGrid(reader.editor())) return nullptr;
  Region region = regionOf(reader.editor());
  if (region.empty()) region = {0, 0, 0, 0};
  BoxFinder finder(region.right - region.left, region.bottom - region.top);
  if (!finder) return nullptr;
  return plainPicture(reader, [&](PictureEditor& writer) {
    scanRows(reader.editor(), region, [&](const Word* words, int32_t count, int32_t x, int32_t y) {
      classify(words, count, finder.colored(y - region.top) + wordOf(x - region.left));
      return true;
    });
    finder.findAll();
    drawBoxes(writer, region, finder);
  });
}

}  // namespace

REALpictureStruct* ExtractColorRectangleMaskZVK2(REALpictureStruct* self) noexcept {
  return boxMask(self, [](const PictureEditor& e) { return wholeOf(e); });
}

REALpictureStruct* ExtractColorRectangleMaskZVK(REALpictureStruct* self, HostLong left,
                                                HostLong top, HostLong width,
                                                HostLong height) noexcept {
  return boxMask(self, [=](const PictureEditor& e) {
    return clip(e, left, top, width < 0 ? e.width : width, height < 0 ? e.height : height);
  });
}
