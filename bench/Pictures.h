// The pictures that are measured on.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

/// What a picture shows.
enum class Scene : uint8_t {
  kGradient,  ///< a gradient with noise of a few levels
  kPhoto,     ///< a photograph, or smooth fields, shaded shapes and noise where none was given
  kKeyed,     ///< the photograph with runs of one colour on 5 % of its pixels
  kWhite,
  kBlack,
  kSparse,  ///< white with some coloured shapes
  kFlat,    ///< one colour but for a pixel near the lower right corner
};

struct Size {
  int width, height;
  const char* name;
  friend bool operator==(const Size& a, const Size& b) {
    return a.width == b.width && a.height == b.height;
  }
};

using Pixels = std::vector<uint32_t>;  ///< 0xFFRRGGBB, row after row

inline constexpr uint32_t kKeyColor = 0x123456;
inline constexpr uint32_t kNewColor = 0xC0FFEE;
inline constexpr uint32_t kFlatColor = 0x785A3C;
inline constexpr uint32_t kOddColor = 0x785A3D;
/// The odd pixel of the flat picture stands so far from the right and from the lower edge, as far
/// as the picture goes.
inline constexpr int kOddDistance = 20;

/// A file whose picture, tiled, is the photograph; empty for the drawn one.
extern std::string photoFile;

/// Pictures of different `variant` differ in every pixel but show the same.
Pixels makePixels(Scene scene, Size size, uint32_t variant);

}  // namespace bench
