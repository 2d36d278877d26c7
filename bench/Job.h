// What an operation is asked to do, in terms that any library understands.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "Measure.h"
#include "Pictures.h"

namespace bench {

/// Words of a picture in memory, row after row: bytes blue, green, red and a fourth one.
struct Image {
  uint32_t* words = nullptr;
  int width = 0, height = 0;

  size_t count() const { return size_t(width) * height; }
  size_t byteCount() const { return count() * 4; }
  int rowBytes() const { return width * 4; }
  uint8_t* bytes() const { return reinterpret_cast<uint8_t*>(words); }
  uint32_t* row(int y) const { return words + size_t(y) * width; }
};

/// Tables of 256 bytes for blue, green and red.
using Tables = std::array<std::vector<uint8_t>, 3>;

/// Grid points per axis of the 3D table, 17 channel values apart.
inline constexpr int kGridPoints = 16;

struct Job {
  Image first, second, third;    ///< sources
  Image target;                  ///< where peers write
  double scale = 1, offset = 0;  ///< every channel becomes scale * v + offset
  double matrix[3][4] = {};      ///< to blue, green, red from blue, green, red and 1
  Tables tables;
  Image needle;
  int scrollBy = 100;
  uint32_t color = kKeyColor;               ///< that is looked for
  std::vector<uint8_t> triples;             ///< bytes red, green, blue of `first`
  int pairs = 10'000'000;                   ///< sample pairs to make
  std::vector<int8_t> samples;              ///< pairs
  std::vector<std::shared_ptr<void>> kept;  ///< what lives as long as the job

  void fillTriples();
};

/// Output of the 3D table at a grid point, 0..255 for red, green, blue; the same formula between
/// grid points.
std::array<double, 3> gradedColor(double red, double green, double blue);

}  // namespace bench
