// Looks, and the .cube files that hold them.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <string>

namespace test {

using Color = std::array<double, 3>;  ///< red, green, blue on the scale 0..1
using Look = Color (*)(const Color&);

inline Color swapped(const Color& c) { return {c[1], c[2], c[0]}; }
inline Color negative(const Color& c) { return {1 - c[0], 1 - c[1], 1 - c[2]}; }

/// A warm film look: softer colours, more contrast with lifted blacks, highlights towards orange,
/// shadows towards teal.
inline Color warmFilm(const Color& c) {
  constexpr Color kShadows{0.02, 0.05, 0.07}, kHighlights{1.0, 0.95, 0.82};
  const double luminance = 0.2126 * c[0] + 0.7152 * c[1] + 0.0722 * c[2];
  Color result;
  for (size_t x = 0; x < 3; ++x) {
    const double soft = luminance + 0.85 * (c[x] - luminance);
    const double curve = 0.6 * soft * soft * (3 - 2 * soft) + 0.4 * std::pow(soft, 0.9);
    result[x] = std::clamp(kShadows[x] + curve * (kHighlights[x] - kShadows[x]), 0.0, 1.0);
  }
  return result;
}

/// A logistic contrast curve, 2.5 times as steep as the identity in the middle.
inline Color steepContrast(const Color& c) {
  const auto logistic = [](double v) { return 1 / (1 + std::exp(-10 * (v - 0.5))); };
  Color result;
  for (size_t x = 0; x < 3; ++x) {
    result[x] = (logistic(c[x]) - logistic(0)) / (logistic(1) - logistic(0));
  }
  return result;
}

/// The text of a file: `header`, LUT_3D_SIZE and the rows for inputs from `low` to `high`.
inline std::string cubeText(Look look, int size, const std::string& header = "", double low = 0,
                            double high = 1, const char* newline = "\n") {
  std::string text = header + "LUT_3D_SIZE " + std::to_string(size) + newline;
  const auto input = [&](int i) { return low + (high - low) * i / (size - 1); };
  for (int b = 0; b < size; ++b) {
    for (int g = 0; g < size; ++g) {
      for (int r = 0; r < size; ++r) {
        const Color output = look({input(r), input(g), input(b)});
        char row[64];
        snprintf(row, sizeof row, "%.6f %.6f %.6f%s", output[0], output[1], output[2], newline);
        text += row;
      }
    }
  }
  return text;
}

}  // namespace test
