#include <bit>
#include <limits>

#include "operations/Operations.h"
#include "picture/Buffer.h"
#include "picture/PixelRows.h"

namespace {

using namespace pixels;

/// One bit per pixel, as many as a machine word has; bit 0 is the leftmost pixel.
using Cells = unsigned long;
constexpr int32_t kCells = std::numeric_limits<Cells>::digits;

constexpr Cells cellAt(int32_t x) noexcept { return Cells{1} << (x % kCells); }

/// Bits of the word with this index that belong to columns left..right.
constexpr Cells cellsBetween(int32_t index, int32_t left, int32_t right) noexcept {
  Cells cells = ~Cells{0};
  if (index == left / kCells) cells &= ~Cells{0} << (left % kCells);
  if (index == right / kCells) cells &= ~Cells{0} >> (kCells - 1 - right % kCells);
  return cells;
}

// --- Classification
// ---------------------------------------------------------------------------

/// Neighbouring channels of a grey pixel cancel out.
constexpr bool isColored(uint32_t word) noexcept { return ((word ^ word >> 8) & 0xFFFF) != 0; }

/// Bit i for each of 32 pixels.
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
  constexpr int32_t kWide = 8 * kGroup;
  int32_t i = 0;
  while (i + kGroup <= count) {
    if (i + kWide <= count) {
      uint32_t differences = 0;
      for (int32_t k = 0; k < kWide; ++k) differences |= words[i + k] ^ words[i + k] >> 8;
      if ((differences & 0xFFFF) == 0) {
        i += kWide;
        continue;
      }
    }
    uint32_t group = 0;
    for (int32_t k = 0; k < kGroup; ++k) group |= isColored(words[i + k]) ? kGroupBits.bits[k] : 0;
    cells[i / kCells] |= Cells{group} << (i % kCells);
    i += kGroup;
  }
  for (; i < count; ++i) {
    if (isColored(words[i])) cells[i / kCells] |= cellAt(i);
  }
}

// --- Boxes
// ------------------------------------------------------------------------------------

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
  Box boxFrom(int32_t x, int32_t y) noexcept;
  bool anyInRow(int32_t y, int32_t left, int32_t right) noexcept;
  bool anyInColumn(int32_t x, int32_t top, int32_t bottom) noexcept;
  void addRowToColumns(int32_t y) noexcept;
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
  for (int32_t i = left / kCells; i <= right / kCells; ++i) {
    if (row[i] & cellsBetween(i, left, right)) return true;
  }
  return false;
}

void BoxFinder::addRowToColumns(int32_t y) noexcept {
  const Cells* row = colored(y);
  for (int32_t i = firstColumns_; i <= lastColumns_; ++i) columns_[i] |= row[i];
}

/// Whether column x has a cell in the rows top..bottom of the growing box.
bool BoxFinder::anyInColumn(int32_t x, int32_t top, int32_t bottom) noexcept {
  const int32_t index = x / kCells;
  if (index < firstColumns_ || index > lastColumns_) {
    Cells sum = 0;
    for (int32_t y = top; y <= bottom; ++y) sum |= colored(y)[index];
    columns_[index] = sum;
    (index < firstColumns_ ? firstColumns_ : lastColumns_) = index;
  }
  return (columns_[index] & cellAt(x)) != 0;
}

/// The growth rule. In each round every edge moves outwards by one where a coloured pixel lies
/// directly beside it: top and bottom first, then left and right, which see the new rows, but not
/// each other.
Box BoxFinder::boxFrom(int32_t x, int32_t y) noexcept {
  Box box{x, y, x, y};
  firstColumns_ = lastColumns_ = x / kCells;
  columns_[firstColumns_] = colored(y)[firstColumns_];
  for (;;) {
    const bool up = box.top > 0 && anyInRow(box.top - 1, box.left, box.right);
    const bool down = box.bottom + 1 < height_ && anyInRow(box.bottom + 1, box.left, box.right);
    if (up) addRowToColumns(--box.top);
    if (down) addRowToColumns(++box.bottom);
    const bool left = box.left > 0 && anyInColumn(box.left - 1, box.top, box.bottom);
    const bool right = box.right + 1 < width_ && anyInColumn(box.right + 1, box.top, box.bottom);
    if (left) --box.left;
    if (right) ++box.right;
    if (!up && !down && !left && !right) return box;
  }
}

void BoxFinder::cover(const Box& box) noexcept {
  for (int32_t y = box.top; y <= box.bottom; ++y) {
    Cells *from = colored(y), *to = boxes(y);
    for (int32_t i = box.left / kCells; i <= box.right / kCells; ++i) {
      const Cells cells = cellsBetween(i, box.left, box.right);
      from[i] &= ~cells;
      to[i] |= cells;
    }
  }
}

void BoxFinder::findAll() noexcept {
  for (int32_t y = 0; y < height_; ++y) {
    const Cells* row = colored(y);
    for (int32_t i = 0; i < stride_; ++i) {
      // A box covers its seed, and cells are only ever cleared: none is left behind.
      while (row[i] != 0) cover(boxFrom(i * kCells + std::countr_zero(row[i]), y));
    }
  }
}

// --- The result
// -------------------------------------------------------------------------------

/// Makes the picture black where the cells of a row are set. `left` is the column of the first one.
void blacken(PictureEditor& writer, const Cells* cells, int32_t width, int32_t left,
             int32_t y) noexcept {
  const auto black = [] { return 0U; };
  int32_t x = 0;
  while (x < width) {
    const Cells ahead = cells[x / kCells] >> (x % kCells);
    if (ahead == 0) {
      x += kCells - x % kCells;
      continue;
    }
    x += std::countr_zero(ahead);
    const int32_t start = x;
    do {
      x += std::countr_one(cells[x / kCells] >> (x % kCells));
    } while (x < width && (cells[x / kCells] & cellAt(x)));
    zipPixels(writer, {left + start, y, left + x, y + 1}, black);
  }
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
  ScopedWriter writer(reader.width(), reader.height());
  if (!writer) return nullptr;

  scanRuns(reader.editor(), region, [&](const Word* words, int32_t count, int32_t x, int32_t y) {
    classify(words, count, finder.colored(y - region.top) + (x - region.left) / kCells);
    return true;
  });
  finder.findAll();
  zipPixels(writer.editor(), wholeOf(writer.editor()), [] { return kColorBits; });
  for (int32_t y = region.top; y < region.bottom; ++y) {
    blacken(writer.editor(), finder.boxes(y - region.top), region.right - region.left, region.left,
            y);
  }
  return writer.render();
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
