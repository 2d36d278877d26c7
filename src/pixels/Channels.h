// How computed values become channels.
#pragma once

#include <cstdint>

namespace pixels {

/// Clamped to 0..255.
constexpr int32_t clampedChannel(int32_t value) noexcept {
  return value < 0 ? 0 : value > 255 ? 255 : value;
}

// A rule turns any computed value into a channel: truncation toward zero to a 32-bit integer, which
// saturates (NaN gives 0), and then what the rule says.

/// Clamps the integer to 0..255.
struct ClampingRule {
  static int32_t any(double value) noexcept {
    // The comparisons are false for NaN.
    const double positive = value > 0.0 ? value : 0.0;
    return static_cast<int32_t>(positive < 255.0 ? positive : 255.0);
  }
  /// The same for values from 0 to far within the integer range, where it costs half as much.
  static int32_t bounded(double value) noexcept {
    const auto level = static_cast<int32_t>(value);
    return level > 255 ? 255 : level;
  }
};

/// Keeps the low 8 bits of the integer.
struct WrappingRule {
  static int32_t any(double value) noexcept {
    const double number = value == value ? value : 0.0;
    const double high = number < 2147483647.0 ? number : 2147483647.0;
    return static_cast<int32_t>(high > -2147483648.0 ? high : -2147483648.0) & 0xFF;
  }
};

}  // namespace pixels
