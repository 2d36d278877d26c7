// Colour tables in .cube files, the exchange format of colour grading.
//
// A file holds, line by line, comments ("#"), keywords and then one row of three numbers (red,
// green, blue of the output) per grid point, red varying fastest. Two dialects are in use, which
// differ in how they say which inputs the grid covers: DOMAIN_MIN and DOMAIN_MAX with three numbers
// each, or LUT_3D_INPUT_RANGE with two; without either it is 0 to 1.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "host/plugin/Plugin.h"

namespace zvk {

using Triple = std::array<double, 3>;  ///< red, green, blue

/// A grid of output colours.
class Cube {
 public:
  static constexpr int kSmallest = 2, kLargest = 129;  ///< grid points per axis

  /// Reads a file's text; `name` is for messages. Throws InputError, with line number and what was
  /// expected there, when it is malformed.
  static Cube parse(const std::string& text, const std::string& name);

  [[nodiscard]] int size() const { return size_; }
  /// The output for an input colour; channels go from 0 to 255 on both sides. Between grid points
  /// it is interpolated tetrahedrally; beyond the grid it is that of the grid's edge.
  [[nodiscard]] Triple at(const Triple& color) const;

 private:
  friend class CubeReader;

  [[nodiscard]] const Triple& point(const std::array<int, 3>& index) const;

  int size_ = 0;
  Triple low_{0, 0, 0}, high_{1, 1, 1};  ///< inputs at the first and the last grid point
  std::vector<Triple> points_;           ///< red varies fastest
};

/// Assigns the cube's colours to `table` of an instance, a method Table(r, g, b, channel) with 16
/// grid points per axis, 17 channel units apart. Whole channel values that the file's decimals miss
/// by their rounding are whole again.
void assignCube(const host::Plugin& plugin, const host::InstanceRef& instance,
                const host::Method& table, const Cube& cube);

}  // namespace zvk
