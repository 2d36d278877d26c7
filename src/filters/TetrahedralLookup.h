// Tetrahedral interpolation in a grid of colours.
#pragma once

#include "pixels/Pixels.h"

namespace filters {

/// Maps pixels through a grid of 16 points per axis, 17 channel units apart; a point holds output
/// red, green and blue as doubles on the scale 0..255.
///
/// A colour lies in a cube between eight grid points. The cube is cut into six tetrahedra along its
/// diagonal from the low to the high corner; the four corners of the one in which the colour lies
/// are weighted by barycentric coordinates. (Sakamoto and Itooka, US patent 4275413, 1981; Kasson,
/// Plouffe and Nin, "Tetrahedral interpolation technique for color space conversion", 1993.) Where
/// the colour lies on the face between tetrahedra, they differ only in corners of weight 0, so that
/// they give the same sum.
///
/// The sum is truncated to a channel: below 0 gives 0, above 255 gives 255. Sums are computed in
/// double precision from weights in whole seventeenths, and divided by 17 as whole numbers, so that
/// a grid that holds its own positions gives every colour back. A sum that is not a number gives 0:
/// an infinity in the grid reaches the colours beside it with a weight of 0, and 0 times infinity
/// is not a number, so these come out 0.
struct TetrahedralLookup {
  const double* points;  ///< at least one more double follows each point that is read
  uint16_t redStep, greenStep, blueStep;  ///< points from one to the next along each axis
  bool tame;                              ///< no value is so large that sums leave the integers

  /// For a grid with these steps, each below 512, and about so many pixels.
  TetrahedralLookup(const double* grid, int32_t red, int32_t green, int32_t blue,
                    int64_t pixels) noexcept;

  /// Writes `count` results, each OR-ed with `top`.
  void mapWords(pixels::Word* out, int32_t count, uint32_t top, pixels::Source in) const noexcept;
};

}  // namespace filters
