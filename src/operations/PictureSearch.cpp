// Search for an exact copy of one picture in another, in two ways that give the same answer.
//
// The first compares the needle wherever one of its pixels, the anchor, is found. The anchor is a
// pixel that is rare in the haystack, so in most pictures little else is read than the haystack
// once. Where even the rarest pixel is everywhere, comparing becomes the dearer part. As soon as it
// has cost as much as the second way would have, that one takes over: a rolling hash of every
// window of the needle's size (R. M. Karp and M. O. Rabin, "Efficient randomized pattern-matching
// algorithms", 1987, in two dimensions), whose time does not depend on what the pictures show.
#include <algorithm>
#include <limits>
#include <type_traits>

#include "operations/Operations.h"
#include "pixels/Buffer.h"
#include "pixels/Pixels.h"

namespace {

using namespace pixels;

struct Place {
  int32_t x, y;
};

/// The first i below `count` for which f(i) holds, else `count`. f runs on many i at once.
template <typename F>
ZVK_CLONES int32_t findFirst(int32_t count, F f) noexcept {
  constexpr int32_t kWide = 256, kNarrow = 32;
  const auto anyOf = [f](int32_t from, auto lanes) {
    uint32_t any = 0;
    for (int32_t i = 0; i < lanes; ++i) any |= f(from + i) ? 1U : 0U;
    return any != 0;
  };
  int32_t i = 0;
  while (i + kWide <= count && !anyOf(i, std::integral_constant<int32_t, kWide>())) i += kWide;
  while (i + kNarrow <= count && !anyOf(i, std::integral_constant<int32_t, kNarrow>())) {
    i += kNarrow;
  }
  while (i < count && !f(i)) ++i;
  return i;
}

struct HasColor {
  const Word* words;
  uint32_t color;
  bool operator()(int32_t i) const noexcept { return ((words[i] ^ color) & kColorBits) == 0; }
};

struct Differ {
  const Word *a, *b;
  bool operator()(int32_t i) const noexcept { return ((a[i] ^ b[i]) & kColorBits) != 0; }
};

/// Pixels of rows of either storage are handled in stretches of at most this.
int32_t stretchOf(const PictureEditor& e, int32_t count) noexcept {
  return holdsTriples(e) ? std::min(kBlock, count) : count;
}

// --- Choice of the anchor -----------------------------------------------------------------------

/// Calls visit(words, count, x, y) for pieces spread over all of a picture, until it returns false.
/// At most `rows` rows and `columns` <= kBlock pixels of each are visited; a smaller picture is
/// visited whole.
template <typename Visit>
void visitPieces(const PictureEditor& e, int32_t rows, int32_t columns, Visit visit) noexcept {
  Word block[kBlock];
  const int32_t count = std::min(columns, e.width);
  rows = std::min(rows, e.height);
  for (int32_t i = 0; i < rows; ++i) {
    const auto y = static_cast<int32_t>(int64_t{i} * e.height / rows);
    // Steps of the golden ratio do not fall in with patterns that repeat.
    const uint32_t fraction = static_cast<uint32_t>(i) * 0x9E3779B9U;
    const auto x = static_cast<int32_t>(int64_t{fraction} * (e.width - count + 1) >> 32);
    const uint8_t* row = rowAddress(e, y);
    if (row != nullptr && !visit(sourceAt(e, row, x, count, block).words, count, x, y)) return;
  }
}

/// How often colours occur, estimated from a sample of a picture.
class ColorSample {
 public:
  explicit ColorSample(const PictureEditor& e) noexcept {
    visitPieces(e, 128, 32, [this](const Word* words, int32_t count, int32_t, int32_t) {
      for (int32_t i = 0; i < count; ++i) ++counts_[bucket(words[i])];
      return true;
    });
  }

  [[nodiscard]] int32_t countOf(uint32_t word) const noexcept { return counts_[bucket(word)]; }

 private:
  static uint32_t bucket(uint32_t word) noexcept { return (word & kColorBits) * 0x9E3779B1U >> 20; }

  uint16_t counts_[4096] = {};
};

struct Anchor {
  int32_t x, y;    ///< in the needle
  uint32_t color;  ///< a word of it
};

Anchor rarestPixel(const PictureEditor& needle, const PictureEditor& haystack) noexcept {
  const ColorSample sample(haystack);
  Anchor rarest{};
  int32_t lowest = std::numeric_limits<int32_t>::max();
  visitPieces(needle, 128, 128, [&](const Word* words, int32_t count, int32_t x, int32_t y) {
    for (int32_t i = 0; i < count && lowest > 0; ++i) {
      if (sample.countOf(words[i]) >= lowest) continue;
      lowest = sample.countOf(words[i]);
      rarest = {x + i, y, words[i]};
    }
    return lowest > 0;
  });
  return rarest;
}

// --- The search ---------------------------------------------------------------------------------

class Search {
 public:
  /// Pictures with at least one pixel each.
  Search(const PictureEditor& haystack, const PictureEditor& needle) noexcept
      : haystack_(haystack),
        needle_(needle),
        columns_(haystack.width - needle.width + 1),
        rows_(haystack.height - needle.height + 1) {}

  /// Whether there is a copy; its place, the first in reading order.
  bool find(Place& place) noexcept;

 private:
  enum class Outcome { kFound, kAbsent, kTooDear };

  Outcome scan(const Anchor& anchor, int32_t from, bool limited, Place& place) noexcept;
  Outcome scanRow(const Anchor& anchor, int32_t y, int64_t limit, Place& place) noexcept;
  Outcome scanHashes(int32_t from, Place& place) noexcept;
  bool matches(int32_t x, int32_t y) noexcept;
  bool rowMatches(int32_t x, const uint8_t* row, const uint8_t* needleRow) noexcept;
  [[nodiscard]] bool needleIsWhole() const noexcept;

  const PictureEditor& haystack_;
  const PictureEditor& needle_;
  int32_t columns_, rows_;  ///< number of places to look at
  int64_t compared_ = 0;    ///< work done on comparing, in pixels
};

/// What starting to compare a row costs, in compared pixels.
constexpr int64_t kStartCost = 64;

bool Search::rowMatches(int32_t x, const uint8_t* row, const uint8_t* needleRow) noexcept {
  Word block[kBlock], needleBlock[kBlock];
  compared_ += kStartCost;
  const int32_t width = needle_.width;
  const int32_t step = std::min(stretchOf(haystack_, width), stretchOf(needle_, width));
  for (int32_t done = 0; done < width; done += step) {
    const int32_t count = std::min(step, width - done);
    const Differ differ{sourceAt(haystack_, row, x + done, count, block).words,
                        sourceAt(needle_, needleRow, done, count, needleBlock).words};
    const int32_t same = findFirst(count, differ);
    compared_ += same;
    if (same < count) return false;
  }
  return true;
}

bool Search::matches(int32_t x, int32_t y) noexcept {
  for (int32_t r = 0; r < needle_.height; ++r) {
    const uint8_t* row = rowAddress(haystack_, y + r);
    if (row == nullptr || !rowMatches(x, row, rowAddress(needle_, r))) return false;
  }
  return true;
}

Search::Outcome Search::scanRow(const Anchor& anchor, int32_t y, int64_t limit,
                                Place& place) noexcept {
  Word block[kBlock];
  const uint8_t* row = rowAddress(haystack_, y + anchor.y);
  if (row == nullptr) return Outcome::kAbsent;
  const int32_t step = stretchOf(haystack_, columns_);
  for (int32_t first = 0; first < columns_; first += step) {
    const int32_t count = std::min(step, columns_ - first);
    const Word* words = sourceAt(haystack_, row, first + anchor.x, count, block).words;
    for (int32_t i = 0;; ++i) {
      i += findFirst(count - i, HasColor{words + i, anchor.color});
      if (i >= count) break;
      if (matches(first + i, y)) {
        place = {first + i, y};
        return Outcome::kFound;
      }
      if (compared_ > limit) return Outcome::kTooDear;
    }
  }
  return Outcome::kAbsent;
}

/// Looks wherever the anchor is, from row `from` on. When that becomes too dear, `place.y` is the
/// row reached.
Search::Outcome Search::scan(const Anchor& anchor, int32_t from, bool limited,
                             Place& place) noexcept {
  // Comparing may cost half of what scanning does before the hashes, which cost several times as
  // much as scanning, are the better choice. The constant keeps small pictures away from them.
  constexpr int64_t kFreeWork = 1 << 16;
  for (int32_t y = from; y < rows_; ++y) {
    const int64_t limit = limited ? kFreeWork + int64_t{y} * haystack_.width / 2
                                  : std::numeric_limits<int64_t>::max();
    const Outcome outcome = scanRow(anchor, y, limit, place);
    if (outcome == Outcome::kTooDear) place.y = y;
    if (outcome != Outcome::kAbsent) return outcome;
  }
  return Outcome::kAbsent;
}

bool Search::needleIsWhole() const noexcept {
  for (int32_t y = 0; y < needle_.height; ++y) {
    if (rowAddress(needle_, y) == nullptr) return false;
  }
  return true;
}

bool Search::find(Place& place) noexcept {
  if (columns_ < 1 || rows_ < 1 || !needleIsWhole()) return false;
  const Anchor anchor = rarestPixel(needle_, haystack_);
  Outcome outcome = scan(anchor, 0, true, place);
  const int32_t reached = place.y;
  if (outcome == Outcome::kTooDear) outcome = scanHashes(reached, place);
  // Without memory for hashes, however long it takes.
  if (outcome == Outcome::kTooDear) outcome = scan(anchor, reached, false, place);
  return outcome == Outcome::kFound;
}

// --- Hashes of windows --------------------------------------------------------------------------

// All hashes are sums modulo 2^32 of pixels, each times a power of an odd constant for its row and
// of another one for its column.
constexpr uint32_t kRowFactor = 0x9E3779B1U;
constexpr uint32_t kColumnFactor = 0x85EBCA6BU;

constexpr uint32_t power(uint32_t base, int32_t exponent) noexcept {
  uint32_t result = 1;
  for (; exponent > 0; exponent >>= 1, base *= base) {
    if (exponent & 1) result *= base;
  }
  return result;
}

/// Colour bits spread over the word: where pictures differ in their high bits only, products would
/// leave the low bits of the sums empty.
inline uint32_t mixed(uint32_t word) noexcept {
  const uint32_t product = (word & kColorBits) * 0xC2B2AE35U;
  return product ^ product >> 15;
}

ZVK_CLONES void rollColumns(uint32_t* columns, int32_t count, const Word* in, const Word* out,
                            uint32_t outFactor) noexcept {
#pragma GCC ivdep
  for (int32_t i = 0; i < count; ++i) {
    columns[i] = columns[i] * kRowFactor + mixed(in[i]) - mixed(out[i]) * outFactor;
  }
}

/// Hashes of the windows of `width` columns and `height` rows that end at one row of a picture.
class WindowHashes {
 public:
  WindowHashes(uint32_t* memory, const PictureEditor& e, int32_t width, int32_t height) noexcept
      : e_(e),
        width_(width),
        height_(height),
        outFactor_(power(kRowFactor, height)),
        columns_(memory),
        powers_(columns_ + e.width),
        sums_(powers_ + e.width) {
    uint32_t factor = 1;
    for (int32_t x = 0; x < e.width; ++x, factor *= kColumnFactor) {
      columns_[x] = 0;
      powers_[x] = factor;
    }
    sums_[0] = 0;
  }

  /// Words of memory needed for a picture of this width.
  static int64_t memoryFor(int32_t width) noexcept { return int64_t{3} * width + 1; }

  /// Moves the windows down to end at row y. Those that begin above `top` begin there.
  void advance(int32_t y, int32_t top) noexcept {
    Word inBlock[kBlock], outBlock[kBlock];
    const uint8_t* in = rowAddress(e_, y);
    const uint8_t* out = y - height_ >= top ? rowAddress(e_, y - height_) : nullptr;
    for (int32_t x = 0; x < e_.width; x += kBlock) {
      const int32_t count = std::min(kBlock, e_.width - x);
      rollColumns(columns_ + x, count, wordsOrZeros(in, x, count, inBlock),
                  wordsOrZeros(out, x, count, outBlock), outFactor_);
    }
  }

  /// Must precede the next two after advancing.
  void sumColumns() noexcept {
    uint32_t sum = 0;
    for (int32_t x = 0; x < e_.width; ++x) {
      sum += columns_[x] * powers_[x];
      sums_[x + 1] = sum;
    }
  }

  /// The hash of the window at column 0.
  [[nodiscard]] uint32_t first() const noexcept { return sums_[width_]; }

  /// The first column from `x` on, below `limit`, whose window has this hash; else `limit`.
  [[nodiscard]] int32_t find(int32_t x, int32_t limit, uint32_t hash) const noexcept {
    const uint32_t *low = sums_ + x, *high = low + width_, *powers = powers_ + x;
    // The window at column x carries the factor of that column.
    return x +
           findFirst(limit - x, [=](int32_t i) { return high[i] - low[i] == hash * powers[i]; });
  }

 private:
  const Word* wordsOrZeros(const uint8_t* row, int32_t x, int32_t count,
                           Word* block) const noexcept {
    if (row != nullptr) return sourceAt(e_, row, x, count, block).words;
    std::fill_n(block, count, 0);
    return block;
  }

  const PictureEditor& e_;
  int32_t width_, height_;
  uint32_t outFactor_;
  uint32_t* columns_;  ///< hash of each column of the windows
  uint32_t* powers_;   ///< of the column factor
  uint32_t* sums_;     ///< entry x: the columns left of x, each times its power
};

Search::Outcome Search::scanHashes(int32_t from, Place& place) noexcept {
  const auto memory = zeroedBuffer<uint32_t>(WindowHashes::memoryFor(haystack_.width));
  if (memory == nullptr) return Outcome::kTooDear;
  const int32_t width = needle_.width, height = needle_.height;

  WindowHashes ofNeedle(memory.get(), needle_, width, height);
  for (int32_t y = 0; y < height; ++y) ofNeedle.advance(y, 0);
  ofNeedle.sumColumns();
  const uint32_t wanted = ofNeedle.first();

  WindowHashes hashes(memory.get(), haystack_, width, height);
  for (int32_t y = from; y < from + height - 1; ++y) hashes.advance(y, from);
  for (int32_t y = from; y < rows_; ++y) {
    hashes.advance(y + height - 1, from);
    hashes.sumColumns();
    for (int32_t x = 0; (x = hashes.find(x, columns_, wanted)) < columns_; ++x) {
      if (!matches(x, y)) continue;
      place = {x, y};
      return Outcome::kFound;
    }
  }
  return Outcome::kAbsent;
}

}  // namespace

HostBoolean FindPicture(REALpictureStruct* self, REALpictureStruct* needle, HostLong* x,
                        HostLong* y) noexcept {
  if (x == nullptr || y == nullptr) return false;
  *x = *y = 0;
  const auto hasPixels = [](const ScopedReader& r) { return r.width() > 0 && r.height() > 0; };
  ScopedReader haystack(self);
  if (!haystack) return false;
  ScopedReader wanted(needle);
  if (!wanted || !hasPixels(haystack) || !hasPixels(wanted)) return false;
  Place place{0, 0};
  if (!Search(haystack.editor(), wanted.editor()).find(place)) return false;
  *x = place.x;
  *y = place.y;
  return true;
}
