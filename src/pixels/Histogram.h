// Counting of channel values.
#pragma once

#include <cstdint>

#include "pixels/Pixels.h"

namespace pixels {

/// Counters of each channel's 256 values, over any number of pictures.
class Histogram {
 public:
  static constexpr int32_t kLevels = 256;
  using Counters = uint32_t[kLevels];

  /// Adds the picture's pixels; their number.
  int64_t count(PictureEditor& reader) noexcept;

  [[nodiscard]] const Counters& red() const noexcept { return red_; }
  [[nodiscard]] const Counters& green() const noexcept { return green_; }
  [[nodiscard]] const Counters& blue() const noexcept { return blue_; }

 private:
  Counters red_{}, green_{}, blue_{};
};

}  // namespace pixels
