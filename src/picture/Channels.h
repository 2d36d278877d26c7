// How computed values become channels.
#pragma once

#include <cstdint>

namespace pixels {

/// Truncated toward zero, then clamped to 0..255; NaN gives 0.
inline int32_t clampedChannel(double value) noexcept {
  // The comparisons in this form are also false for NaN, and compile to one instruction each.
  const double positive = value > 0.0 ? value : 0.0;
  return static_cast<int32_t>(positive < 255.0 ? positive : 255.0);
}

/// Truncated toward zero to a 32-bit integer (saturating; NaN gives 0), of which the low 8 bits.
inline int32_t wrappedChannel(double value) noexcept {
  const double number = value == value ? value : 0.0;
  const double low = number > -2147483648.0 ? number : -2147483648.0;
  return static_cast<int32_t>(low < 2147483647.0 ? low : 2147483647.0) & 0xFF;
}

/// Clamped to 0..255.
constexpr int32_t clampedChannel(int32_t value) noexcept {
  return value < 0 ? 0 : value > 255 ? 255 : value;
}

}  // namespace pixels
