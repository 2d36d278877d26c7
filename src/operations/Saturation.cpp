#include <algorithm>

#include "operations/Operations.h"
#include "picture/Channels.h"
#include "picture/PixelRows.h"

namespace {

using namespace pixels;

/// From this factor on, every channel that differs from the mean is already driven to 0 or 255.
constexpr int32_t kFullFactor = 255 * 255;

struct Saturation {
  int32_t factor;  ///< in 255ths

  [[nodiscard]] int32_t channel(int32_t v, int32_t mean) const noexcept {
    return clampedChannel(mean + (v - mean) * factor / 255);
  }
  uint32_t operator()(uint32_t word) const noexcept {
    const Rgb v = unpack(word);
    const int32_t mean = (v.red + v.green + v.blue) / 3;
    return pack({channel(v.red, mean), channel(v.green, mean), channel(v.blue, mean)});
  }
};

}  // namespace

REALpictureStruct* SaturationPicture(REALpictureStruct* self, HostLong amount) noexcept {
  const int64_t factor = std::clamp<int64_t>(int64_t{amount} + 255, -kFullFactor, kFullFactor);
  return mappedPicture(self, Saturation{static_cast<int32_t>(factor)});
}
