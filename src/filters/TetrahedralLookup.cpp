#include "filters/TetrahedralLookup.h"

#include <cstring>

// Functions that take or return vectors must be inlined: how these are handed over differs between
// instruction sets.
#define ZVK_INLINE [[gnu::always_inline]] inline

namespace filters {

namespace {

using namespace pixels;

constexpr int32_t kSpacing = 17;  ///< channel units between grid points, so weights are 17ths
constexpr int32_t kPoints = 16;   ///< per axis
constexpr int32_t kOutputs = 3;
constexpr int32_t kPixels = 64;  ///< of a batch: its intermediate results stay in the nearest cache
constexpr int32_t kCorners = 4;
constexpr int32_t kVector = 4;              ///< doubles: a grid point's outputs and one more
constexpr double kMost = kSpacing * 255.0;  ///< the largest sum that counts

/// Intermediate results of a batch of pixels. Where they are numbered by corner, the corners go
/// from the low end of the cube's diagonal to its high end.
struct Batch {
  uint16_t places[kCorners][kPixels];             ///< of the corners in the grid
  uint16_t parts[kCorners][kPixels];              ///< their weights in seventeenths
  alignas(64) double weights[kCorners][kPixels];  ///< the same
  alignas(64) int32_t sums[kPixels * kVector];    ///< red, green, blue, and one without a meaning
};

/// Where a level lies on an axis: the point below it, how far above that, in seventeenths, and the
/// step to the point above. There is none beyond the last point, where its weight is 0.
struct Level {
  uint16_t point, fraction, step;

  Level(uint32_t word, uint16_t axisStep) noexcept {
    const auto value = static_cast<uint16_t>(word & 0xFF);
    point = value / kSpacing;
    fraction = static_cast<uint16_t>(value - point * kSpacing);
    step = value < 255 ? axisStep : uint16_t{0};
  }
};

constexpr int kRankBits = 2, kStepBits = 9;

/// A level as one number, so that axes are put in order without a branch: by fraction, then by
/// rank.
uint16_t keyOf(const Level& level, uint16_t rank) noexcept {
  return static_cast<uint16_t>(level.fraction << (kRankBits + kStepBits) | rank << kStepBits |
                               level.step);
}

constexpr uint16_t fractionOf(uint16_t key) noexcept { return key >> (kRankBits + kStepBits); }
constexpr uint16_t stepOf(uint16_t key) noexcept { return key & ((1 << kStepBits) - 1); }

/// Finds each pixel's tetrahedron: the way along the cube's edges from low to high goes by the axis
/// of the largest fraction first, by that of the smallest one last. Which one comes first of equal
/// ones decides what has the weight 0, and counts where that is not a number. All steps are on
/// 16-bit numbers and free of branches, so that they run on as many pixels at once as the
/// processor's vectors hold.
ZVK_INLINE void findCorners(const TetrahedralLookup& grid, const Word* in, Batch& batch) {
  const auto number = [](int value) { return static_cast<uint16_t>(value); };
  for (int32_t i = 0; i < kPixels; ++i) {
    const Level red(in[i] >> 16, grid.redStep), green(in[i] >> 8, grid.greenStep),
        blue(in[i], grid.blueStep);
    const uint16_t blueRank = red.fraction > green.fraction ? uint16_t{3} : uint16_t{0};
    const uint16_t redKey = keyOf(red, 1), greenKey = keyOf(green, 2),
                   blueKey = keyOf(blue, blueRank);
    const uint16_t first = std::max(redKey, std::max(greenKey, blueKey));
    const uint16_t last = std::min(redKey, std::min(greenKey, blueKey));
    const uint16_t middle = number(redKey + greenKey + blueKey - first - last);

    const uint16_t low = number(red.point * grid.redStep + green.point * grid.greenStep +
                                blue.point * grid.blueStep);
    const uint16_t second = number(low + stepOf(first)), third = number(second + stepOf(middle)),
                   high = number(third + stepOf(last));
    batch.places[0][i] = number(low * kOutputs);
    batch.places[1][i] = number(second * kOutputs);
    batch.places[2][i] = number(third * kOutputs);
    batch.places[3][i] = number(high * kOutputs);
    batch.parts[0][i] = number(kSpacing - fractionOf(first));
    batch.parts[1][i] = number(fractionOf(first) - fractionOf(middle));
    batch.parts[2][i] = number(fractionOf(middle) - fractionOf(last));
    batch.parts[3][i] = fractionOf(last);
  }
  for (int32_t corner = 0; corner < kCorners; ++corner) {
    for (int32_t i = 0; i < kPixels; ++i) batch.weights[corner][i] = batch.parts[corner][i];
  }
}

typedef double Values __attribute__((vector_size(32), may_alias));
typedef double Point __attribute__((vector_size(32), aligned(4), may_alias));
typedef int32_t Integers __attribute__((vector_size(16), may_alias));

/// What a corner of pixel i adds to its sum: the weight, at all outputs, times the point.
ZVK_INLINE Values term(const double* points, const Batch& batch, int32_t corner, int32_t i) {
  const double weight = batch.weights[corner][i];
  return Values{weight, weight, weight, weight} *
         *reinterpret_cast<const Point*>(points + batch.places[corner][i]);
}

/// Each pixel's sum as integers. Only whole sums matter: the next multiple of 17 below is the same.
/// Of tame grids they are levels times 17; others must be limited.
template <bool kTame>
ZVK_INLINE void sumPixels(const double* points, Batch& batch) {
  for (int32_t i = 0; i < kPixels; ++i) {
    Values sum = term(points, batch, 0, i) + term(points, batch, 1, i) + term(points, batch, 2, i) +
                 term(points, batch, 3, i);
    if constexpr (!kTame) {
      const Values positive = sum > 0.0 ? sum : Values{};
      sum = positive < kMost ? positive : kMost - Values{};
    }
    *reinterpret_cast<Integers*>(batch.sums + i * kVector) = __builtin_convertvector(sum, Integers);
  }
}

/// Sums to words: seventeenths to bytes red, green, blue and one more.
ZVK_INLINE void storeResults(const Batch& batch, Word* out, int32_t count, uint32_t top) {
  alignas(64) uint8_t bytes[kPixels * kVector];
  for (int32_t i = 0; i < kPixels * kVector; ++i) {
    bytes[i] = static_cast<uint8_t>(static_cast<uint16_t>(batch.sums[i]) / kSpacing);
  }
  const auto* const words = reinterpret_cast<const Word*>(bytes);
#pragma GCC ivdep
  for (int32_t i = 0; i < count; ++i) out[i] = top | __builtin_bswap32(words[i]) >> 8;
}

ZVK_CLONES void mapBlocks(const TetrahedralLookup& lookup, Word* out, const Word* in, int32_t count,
                          uint32_t top) noexcept {
  const TetrahedralLookup grid = lookup;
  Batch batch;
  Word rest[kPixels];
  for (; count > 0; count -= kPixels, in += kPixels, out += kPixels) {
    if (count < kPixels) {
      // The loops work on whole batches; behind the last pixel they find black.
      std::memset(rest, 0, sizeof rest);
      std::memcpy(rest, in, static_cast<size_t>(count) * sizeof(Word));
      in = rest;
    }
    findCorners(grid, in, batch);
    if (grid.tame) {
      sumPixels<true>(grid.points, batch);
    } else {
      sumPixels<false>(grid.points, batch);
    }
    storeResults(batch, out, std::min(count, kPixels), top);
  }
}

/// Whether every value is a level, so that sums need no limits.
ZVK_CLONES bool isTame(const double* values, int32_t count) noexcept {
  int32_t tame = 0;
  for (int32_t i = 0; i < count; ++i) tame += ((values[i] >= 0) & (values[i] <= 255)) ? 1 : 0;
  return tame == count;
}

}  // namespace

TetrahedralLookup::TetrahedralLookup(const double* grid, int32_t red, int32_t green, int32_t blue,
                                     int64_t pixels) noexcept
    : points(grid),
      redStep(static_cast<uint16_t>(red)),
      greenStep(static_cast<uint16_t>(green)),
      blueStep(static_cast<uint16_t>(blue)) {
  // To look at the whole grid does not pay for few pixels.
  constexpr int64_t kFew = 4096;
  const int32_t last = kPoints - 1;
  tame = pixels > kFew && isTame(points, (last * (red + green + blue) + 1) * kOutputs);
}

void TetrahedralLookup::mapWords(Word* out, int32_t count, uint32_t top, Source in) const noexcept {
  mapBlocks(*this, out, in.words, count, top);
}

}  // namespace filters
