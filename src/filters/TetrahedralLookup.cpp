#include "filters/TetrahedralLookup.h"

#include <cstring>
#include <utility>

// Functions that take or return vectors must be inlined: how these are handed over differs between
// instruction sets.
#define ZVK_INLINE [[gnu::always_inline]] inline

namespace filters {

namespace {

using namespace pixels;

constexpr int32_t kSpacing = 17;  ///< channel units between grid points, so weights are 17ths
constexpr int32_t kPixels = 64;  ///< of a block: its intermediate results stay in the nearest cache
constexpr int32_t kCorners = 4;

/// Intermediate results of a block of pixels. Where they are numbered by corner, the corners go
/// from the low end of the cube's diagonal to its high end.
struct Block {
  uint16_t corners[kCorners][kPixels];            ///< positions in the grid
  uint16_t parts[kCorners][kPixels];              ///< weights in seventeenths
  alignas(64) double weights[kCorners][kPixels];  ///< the same
  alignas(64) int32_t sums[kPixels][4];           ///< red, green, blue, and one that has no meaning
};

/// Finds each pixel's tetrahedron. All steps are on 16-bit numbers and free of branches, so that
/// they run on as many pixels at once as the processor's vectors hold.
ZVK_INLINE void findCorners(const TetrahedralLookup& grid, const Word* in, int32_t count,
                            Block& block) {
  const auto channel = [](uint32_t word, int shift) {
    return static_cast<uint16_t>(word >> shift & 0xFF);
  };
  const auto number = [](int value) { return static_cast<uint16_t>(value); };
  for (int32_t i = 0; i < count; ++i) {
    const uint16_t red = channel(in[i], 16), green = channel(in[i], 8), blue = channel(in[i], 0);
    const uint16_t r = red / kSpacing, g = green / kSpacing, b = blue / kSpacing;
    const uint16_t fr = number(red - r * kSpacing), fg = number(green - g * kSpacing),
                   fb = number(blue - b * kSpacing);
    // There is no point beyond the last one; its weight is 0 there.
    const uint16_t toRed = red < 255 ? grid.redStep : uint16_t{0};
    const uint16_t toGreen = green < 255 ? grid.greenStep : uint16_t{0};
    const uint16_t toBlue = blue < 255 ? grid.blueStep : uint16_t{0};

    // The way along the cube's edges from low to high goes by the axis of the largest fraction
    // first, by that of the smallest one last.
    const uint16_t largest = std::max(fr, std::max(fg, fb));
    const uint16_t smallest = std::min(fr, std::min(fg, fb));
    const uint16_t middle = number(fr + fg + fb - largest - smallest);
    const uint16_t greenOrBlue = fg == largest ? toGreen : toBlue;
    const uint16_t first = fg == largest || fb == largest ? greenOrBlue : toRed;
    const uint16_t blueOrGreen = fg > fb ? toBlue : toGreen, redOrBlue = fb > fr ? toRed : toBlue;
    const uint16_t last = fr > fg ? blueOrGreen : redOrBlue;

    const uint16_t low = number(r * grid.redStep + g * grid.greenStep + b * grid.blueStep);
    const uint16_t high = number(low + toRed + toGreen + toBlue);
    block.corners[0][i] = low;
    block.corners[1][i] = number(low + first);
    block.corners[2][i] = number(high - last);
    block.corners[3][i] = high;
    block.parts[0][i] = number(kSpacing - largest);
    block.parts[1][i] = number(largest - middle);
    block.parts[2][i] = number(middle - smallest);
    block.parts[3][i] = smallest;
  }
  for (int32_t corner = 0; corner < kCorners; ++corner) {
    for (int32_t i = 0; i < kPixels; ++i) block.weights[corner][i] = block.parts[corner][i];
  }
}

/// Vectors that hold a grid point's output channels, and one double more.
struct OnePixel {
  static constexpr int kCount = 1;
  typedef double Values __attribute__((vector_size(32), may_alias));
  typedef int32_t Integers __attribute__((vector_size(16), may_alias));
  typedef int64_t Order __attribute__((vector_size(32)));
  typedef double Point __attribute__((vector_size(32), aligned(4), may_alias));

  ZVK_INLINE static Values at(const double* points, const uint16_t* corners) {
    return *reinterpret_cast<const Point*>(points + corners[0]);
  }
  /// Weight `i` at all output channels.
  template <int i>
  ZVK_INLINE static Values spread(const Values& weights) {
    return __builtin_shuffle(weights, Order{i, i, i, i});
  }
};

/// Vectors that hold those of two pixels.
struct TwoPixels {
  static constexpr int kCount = 2;
  typedef double Values __attribute__((vector_size(64), may_alias));
  typedef int32_t Integers __attribute__((vector_size(32), may_alias));
  typedef int64_t Order __attribute__((vector_size(64)));

  ZVK_INLINE static Values at(const double* points, const uint16_t* corners) {
    return __builtin_shufflevector(OnePixel::at(points, corners), OnePixel::at(points, corners + 1),
                                   0, 1, 2, 3, 4, 5, 6, 7);
  }
  template <int i>
  ZVK_INLINE static Values spread(const Values& weights) {
    return __builtin_shuffle(weights, Order{i, i, i, i, i + 1, i + 1, i + 1, i + 1});
  }
};

/// What a corner adds to the sums of the pixels from `start + i` on; `weights` are those of the
/// pixels from `start` on.
template <typename Vectors, int i>
ZVK_INLINE typename Vectors::Values term(const double* points, const uint16_t* corners,
                                         const typename Vectors::Values& weights) {
  return Vectors::template spread<i>(weights) * Vectors::at(points, corners + i);
}

/// Sums, as integers from 0 to 17 * 255. Only whole sums matter: the next multiple of 17 below is
/// the same.
template <typename Vectors, int i>
ZVK_INLINE void sumPixels(const double* points, int32_t start,
                          const typename Vectors::Values (&weights)[kCorners], Block& block) {
  using Values = typename Vectors::Values;
  const Values highest = kSpacing * 255.0 - Values{};
  const Values sum = term<Vectors, i>(points, block.corners[0] + start, weights[0]) +
                     term<Vectors, i>(points, block.corners[1] + start, weights[1]) +
                     term<Vectors, i>(points, block.corners[2] + start, weights[2]) +
                     term<Vectors, i>(points, block.corners[3] + start, weights[3]);
  // Comparisons in this form are also false for what is not a number.
  const Values positive = sum > 0.0 ? sum : Values{};
  const Values limited = positive < highest ? positive : highest;
  *reinterpret_cast<typename Vectors::Integers*>(block.sums[start + i]) =
      __builtin_convertvector(limited, typename Vectors::Integers);
}

template <typename Vectors>
ZVK_INLINE typename Vectors::Values weightsFrom(const double* weights) {
  return *reinterpret_cast<const typename Vectors::Values*>(weights);
}

/// Sums as many pixels as a vector holds weights.
template <typename Vectors, int... i>
ZVK_INLINE void sumGroup(const double* points, int32_t start, Block& block,
                         std::integer_sequence<int, i...>) {
  const typename Vectors::Values weights[kCorners] = {
      weightsFrom<Vectors>(block.weights[0] + start),
      weightsFrom<Vectors>(block.weights[1] + start),
      weightsFrom<Vectors>(block.weights[2] + start),
      weightsFrom<Vectors>(block.weights[3] + start)};
  (sumPixels<Vectors, i * Vectors::kCount>(points, start, weights, block), ...);
}

template <typename Vectors>
ZVK_INLINE void sumBlock(const double* points, int32_t count, Block& block) {
  constexpr int32_t kGroup = sizeof(typename Vectors::Values) / sizeof(double);
  using Members = std::make_integer_sequence<int, kGroup / Vectors::kCount>;
  for (int32_t start = 0; start < count; start += kGroup) {
    sumGroup<Vectors>(points, start, block, Members{});
  }
}

ZVK_INLINE void packResults(const Block& block, Word* out, int32_t count, uint32_t top) {
#pragma GCC ivdep
  for (int32_t i = 0; i < count; ++i) {
    const auto channel = [&](int c) { return static_cast<uint32_t>(block.sums[i][c]) / kSpacing; };
    out[i] = top | channel(0) << 16 | channel(1) << 8 | channel(2);
  }
}

template <typename Vectors>
ZVK_INLINE void mapBlocks(const TetrahedralLookup& lookup, Word* out, const Word* in, int32_t count,
                          uint32_t top) {
  const TetrahedralLookup grid = lookup;
  Block block;
  Word rest[kPixels];
  for (; count > 0; count -= kPixels, in += kPixels, out += kPixels) {
    if (count < kPixels) {
      // The loops work on whole groups of pixels; behind the last one they find black.
      std::memset(rest, 0, sizeof rest);
      std::memcpy(rest, in, static_cast<size_t>(count) * sizeof(Word));
      in = rest;
    }
    findCorners(grid, in, kPixels, block);
    sumBlock<Vectors>(grid.points, kPixels, block);
    packResults(block, out, std::min(count, kPixels), top);
  }
}

ZVK_CLONES void mapOneByOne(const TetrahedralLookup& grid, Word* out, const Word* in, int32_t count,
                            uint32_t top) noexcept {
  mapBlocks<OnePixel>(grid, out, in, count, top);
}

#if !defined(__i386__)
// Where there are no vectors of 64 bytes, those of two pixels would have to be taken apart at each
// step.
__attribute__((target("arch=x86-64-v4"))) void mapTwoByTwo(const TetrahedralLookup& grid, Word* out,
                                                           const Word* in, int32_t count,
                                                           uint32_t top) noexcept {
  mapBlocks<TwoPixels>(grid, out, in, count, top);
}
#endif

}  // namespace

void TetrahedralLookup::run(Word* out, int32_t count, uint32_t top, Run in) const noexcept {
#if !defined(__i386__)
  if (__builtin_cpu_supports("x86-64-v4")) return mapTwoByTwo(*this, out, in.words, count, top);
#endif
  mapOneByOne(*this, out, in.words, count, top);
}

}  // namespace filters
