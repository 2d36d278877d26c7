// Colour tables in .cube files, the exchange format of colour grading.
//
// A file holds, line by line, comments ("#"), keywords and then rows of three numbers (red, green,
// blue of the output): first those of a one-dimensional table, one per grid point, where there is
// one; then those of a three-dimensional table, red varying fastest, where there is one. With both,
// the first prepares the input of the second. Dialects differ in how they say which inputs a table
// covers: DOMAIN_MIN and DOMAIN_MAX with three numbers each, or LUT_1D_INPUT_RANGE and
// LUT_3D_INPUT_RANGE with two; without them it is 0 to 1.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "host/plugin/Plugin.h"

namespace zvk {

using Triple = std::array<double, 3>;  ///< red, green, blue

/// A colour table.
class Cube {
 public:
  /// Reads a file's text; `name` is for messages. Throws InputError, with line number and what was
  /// expected there, when it is malformed.
  static Cube parse(const std::string& text, const std::string& name);

  /// A grid with this many points per axis, from 0 to 255.
  static Cube sampledFrom(int size, const std::function<Triple(const std::array<int, 3>&)>& color);

  /// The output for an input colour; channels go from 0 to 255 on both sides. Between grid points
  /// it is interpolated, tetrahedrally in the three-dimensional table; beyond the grid it is that
  /// of the grid's edge.
  [[nodiscard]] Triple at(const Triple& color) const;

 private:
  friend class CubeReader;

  /// A table of either kind, and the inputs at its first and last grid points.
  struct Table {
    int size = 0;  ///< grid points per axis; 0: there is no such table
    Triple low{0, 0, 0}, high{1, 1, 1};
    std::vector<Triple> points;

    /// Where a channel lies in the grid: the grid point below, and how far on the way to the next.
    [[nodiscard]] std::pair<int, double> position(double value, size_t channel) const;
  };

  [[nodiscard]] Triple shaped(const Triple& color) const;
  [[nodiscard]] const Triple& point(const std::array<int, 3>& index) const;

  Table shaper_;  ///< one-dimensional
  Table grid_;    ///< three-dimensional
};

/// How far a table with the filter's 16 grid points per axis lies from a cube, in levels.
struct CubeError {
  double largest = 0, mean = 0;
};
CubeError resamplingError(const Cube& cube);

/// Assigns the cube's colours to `table` of an instance, a method Table(r, g, b, channel) with 16
/// grid points per axis, 17 channel units apart. Whole channel values that the file's decimals miss
/// by their rounding are whole again.
void assignCube(const host::Plugin& plugin, const host::InstanceRef& instance,
                const host::Method& table, const Cube& cube);

}  // namespace zvk
